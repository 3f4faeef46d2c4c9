// Any bytes as a file: the queries by reader and by path agree, and leave nothing open.
#include "fuzz/KrFuzzing.h"
#include "platform/KrPlatform.h"
#include "reader/KrRiffReader.h"
#include "tests/support/KrMemoryFileSystem.h"

#include "KrRiffUtils/KrRiffUtils.h"

#include <array>

using namespace KrTest;

namespace
{
using KrAnswers = std::array<int, 14>;

// Statuses and values of all four queries, as one list.
template <class Source>
KrAnswers AskAll(Source source)
{
    KrAnswers answers{};
    size_t at = 0;
    EKrScanMode mode = EKrScanMode::Unknown;
    int horizontal = 0;
    int vertical = 0;
    answers[at++] = KrRiffUtils::GetAviScanMode(source, mode);
    answers[at++] = static_cast<int>(mode);
    answers[at++] = KrRiffUtils::GetAviPixelAspectRatio(source, horizontal, vertical);
    answers[at++] = horizontal;
    answers[at++] = vertical;
    for (const int flavour : {1, 2})
    {
        mode = EKrScanMode::Unknown;
        const int status = KrRiffUtils::GetAviScanModeFromPrivateChunk(source, flavour, mode);
        EXPECT_EQ(status != 0, mode != EKrScanMode::Unknown);
        answers[at++] = static_cast<int>(mode);
        answers[at++] =
            KrRiffUtils::GetAviPixelAspectRatioFromPrivateChunk(source, flavour, horizontal, vertical);
        answers[at++] = horizontal;
        answers[at++] = vertical;
    }
    return answers;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    CKrMemoryFileSystem files;
    const KrPlatform::CFileSystemScope scope(files);
    files.Set(L"a.avi", KrFuzz::BytesOf(data, size));
    CKrRiffReader reader(files);
    const int opened = reader.Open(L"a.avi");
    const KrAnswers byReader = AskAll(static_cast<IKrRiffReader*>(&reader));
    const KrAnswers byPath = AskAll(static_cast<const wchar_t*>(L"a.avi"));
    EXPECT_EQ(byReader, byPath);
    reader.Close();
    EXPECT_EQ(KrRiffUtils::ClearCache(L"a.avi"), opened);
    EXPECT_EQ(files.OpenFiles(), 0u);
    return 0;
}
