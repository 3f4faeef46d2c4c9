// Unloading the library during a recording: the worker keeps it loaded. After this test it stays loaded.
#include "tests/abi/KrHostObjects.h"
#include "tests/module/KrLoadedLibrary.h"
#include "tests/support/KrAviChecker.h"
#include "tests/support/KrTempFolder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace KrTest;

namespace
{
using CreateWriter = int (*)(IKrAviWriter**);
constexpr int kRounds = 100;

IKrAviWriter* StartRecording(const CKrLoadedLibrary& library, const std::wstring& path)
{
    const auto create = reinterpret_cast<CreateWriter>(library.Function(kCreateWriter));
    IKrAviWriter* writer = nullptr;
    SKrMediaInfo info{};
    info.videoStreamCount = 1;
    info.width = info.height = 16;
    info.frameRate = 2;
    info.scanMode = 2;
    if (create == nullptr || create(&writer) == 0 || writer->OpenFileFromInfo(path.c_str(), &info) == 0)
        return nullptr;
    return writer;
}
} // namespace

TEST(LiveWriter, UnloadedDuringIt_Continues)
{
    const CKrTempFolder folder;
    uint8_t bytes[500] = {1, 2, 3};
    CHostSample sample(bytes, sizeof bytes);
    std::vector<IKrAviWriter*> writers;
    for (int round = 0; round < kRounds; ++round)
    {
        EXPECT_EQ(IsLoaded(KR_LIBRARY_PATH), round > 0) << "by the recordings alone";
        const CKrLoadedLibrary library(KR_LIBRARY_PATH);
        writers.push_back(StartRecording(library, folder.PathOf(std::to_wstring(round) + L".avi")));
        ASSERT_NE(writers.back(), nullptr);
        ASSERT_EQ(writers.back()->AddVideoSample(&sample), 1);
        ASSERT_EQ(writers.back()->AddVideoSample(&sample), 1);
    } // here the library is unloaded, while the worker writes or waits

    const CKrLoadedLibrary library(KR_LIBRARY_PATH); // so that the writers can be closed
    for (IKrAviWriter* const writer : writers)
    {
        EXPECT_EQ(writer->AddVideoSample(&sample), 1);
        EXPECT_EQ(writer->CloseFile(), 1);
        EXPECT_EQ(writer->Release(), 0u);
    }
    EXPECT_EQ(sample.m_references, 1);
    SKrWritten written;
    written.width = written.height = 16;
    written.bitCount = 8;
    written.codec.clear();
    written.scanMode = 2;
    written.aspectHorizontal = written.aspectVertical = 1;
    const SKrCheckedAvi checked = CheckWrittenFile(folder.PathOf(L"99.avi"), written);
    EXPECT_EQ(checked.problems, std::vector<std::string>{});
    EXPECT_EQ(checked.video.size(), 3u);
}
