// A set of ids and a position, then any bytes as a file: the chunk search against every match's own header.
#include "format/KrBytes.h"
#include "fuzz/KrFuzzing.h"
#include "reader/KrRiffReader.h"
#include "tests/support/KrMemoryFileSystem.h"

using namespace KrTest;

namespace
{
constexpr uint32_t kIds[] = {
    0x5453494C /* LIST */, 0x46464952 /* RIFF */, 0x63643030 /* 00dc */, 0x62773130 /* 01wb */,
    0x4B4E554A /* JUNK */, 0x31786469 /* idx1 */, 0x68727473 /* strh */, 0};

// A reported match must be in the file, after the previous match.
void ExpectMatch(const KrBytes& file, uint32_t id, uint32_t size, uint64_t offset, bool isContainer)
{
    const uint64_t header = offset - 8;
    ASSERT_LE(offset, file.size());
    EXPECT_EQ(GetLe32(file.data() + header), id);
    EXPECT_EQ(GetLe32(file.data() + header + 4), size);
    EXPECT_EQ(isContainer, id == kIds[0] || id == kIds[1]);
}

void Search(CKrRiffReader& reader, const KrBytes& file, const CDWordArray& ids, uint64_t start)
{
    uint64_t last = 0;
    for (int more = reader.FindFirstChunk(&ids, start); more != 0;)
    {
        uint32_t id = 0;
        uint32_t type = 0;
        uint32_t size = 0;
        uint64_t offset = 0;
        SKrRiffChunkInfo* record = nullptr;
        more = reader.FindNextChunk(&id, &type, &size, &offset, &record);
        ASSERT_NE(record, nullptr);
        ASSERT_GT(offset, last);
        last = offset;
        ExpectMatch(file, id, size, offset, id == kIds[0] || id == kIds[1]);
        EXPECT_EQ(record->offset, offset);
        KrBytes payload(std::min<size_t>(size, file.size()));
        if (payload.size() == size)
            EXPECT_LE(reader.ReadChunkData(record, payload.data(), size), size);
    }
    reader.EndChunkSearch();
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    KrFuzz::CKrScript script(data, size);
    const uint8_t chosen = script.Byte();
    const uint32_t position = script.Number(2);
    const KrBytes bytes = script.Rest();
    CKrMemoryFileSystem files;
    files.Set(L"a.avi", bytes);
    CKrRiffReader reader(files);
    if (reader.Open(L"a.avi") == 0)
        return 0;
    CDWordArray ids;
    for (size_t bit = 0; bit < std::size(kIds); ++bit)
    {
        if ((chosen >> bit & 1) != 0)
            ids.Add(kIds[bit]);
    }
    Search(reader, bytes, ids, position == 0xFFFF ? ~uint64_t{0} : position);
    return 0;
}
