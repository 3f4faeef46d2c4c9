// Any bytes as a file: opened, walked, searched, loaded and queried, through the reader's interface.
#include "fuzz/KrFuzzing.h"
#include "tests/reader/HostileFileSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    KrTest::CKrHostileFile file(KrFuzz::BytesOf(data, size));
    if (file.Status() != 0)
        file.UseEverything();
    return 0;
}
