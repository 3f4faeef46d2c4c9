// Files of other kinds, which people give by mistake.
#ifndef KR_TOOLS_AVI_KROTHERFORMATS_H
#define KR_TOOLS_AVI_KROTHERFORMATS_H

#include <string>

namespace KrTool
{
class CKrByteSource;

// "not an AVI file (it is RIFF 'WAVE')", "not an AVI file (it is MP4 or QuickTime)"; empty for AVI files,
// damaged ones too, and for what nobody knows.
std::string OtherFormatText(const CKrByteSource& file);
} // namespace KrTool

#endif
