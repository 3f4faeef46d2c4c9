// Any bytes as a file: both index loads, twice each, with the same result.
#include "fuzz/KrFuzzing.h"
#include "reader/KrRiffReader.h"
#include "tests/reader/IndexLoadInnerSupport.h"
#include "tests/support/KrMemoryFileSystem.h"

using namespace KrTest;

namespace
{
template <class Load>
void LoadTwice(Load&& load, uint64_t size)
{
    SKrLoadAnswer first;
    try
    {
        first = load();
    }
    catch (const CInvalidArgException&)
    {
        return; // the second pass found more than the first
    }
    const SKrLoadAnswer second = load();
    EXPECT_EQ(first.status, second.status);
    EXPECT_EQ(first.entries, second.entries);
    for (const auto& [position, bytes] : first.entries)
        ASSERT_LT(position, size);
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    CKrMemoryFileSystem files;
    files.Set(L"a.avi", KrFuzz::BytesOf(data, size));
    CKrRiffReader reader(files);
    if (reader.Open(L"a.avi") == 0)
        return 0;
    LoadTwice([&] { return LoadVideoOf(reader); }, size);
    LoadTwice([&] { return LoadAudioOf(reader); }, size);
    return 0;
}
