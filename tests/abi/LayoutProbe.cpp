// Needs the tables of all interfaces, so that a compiler prints them on request.
#include "KrRiffUtils/KrRiffUtils.h"

void DeleteAll(IKrUnknown* unknown, IKrRiffReader* reader, IKrAviWriter* writer, IKrPoolElement* element,
               IKrMediaSample* sample, IKrdsMediaSamplePool* pool);

#if defined(_MSC_VER)
void DeleteAll(IKrUnknown* unknown, IKrRiffReader* reader, IKrAviWriter* writer, IKrPoolElement* element,
               IKrMediaSample* sample, IKrdsMediaSamplePool* pool)
{
    delete unknown;
    delete reader;
    delete writer;
    delete element;
    delete sample;
    delete pool;
}
#endif
