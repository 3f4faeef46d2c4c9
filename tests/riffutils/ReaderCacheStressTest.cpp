// Many threads with queries and clears at once: every query is correct whatever the others clear.
#include "tests/riffutils/KrQueries.h"
#include "tests/support/KrOsTestFiles.h"
#include "tests/support/KrTempFolder.h"

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

using namespace KrTest;

namespace
{
constexpr size_t kFiles = 3;

class ReaderCacheStress : public testing::Test
{
protected:
    ReaderCacheStress()
    {
        for (size_t file = 0; file < kFiles; ++file)
        {
            const auto mode = static_cast<uint8_t>(file);
            const std::wstring name = std::to_wstring(file) + L".avi";
            m_paths.push_back(m_folder.Write(name, BuildSimpleAvi(SmallAviWithKrlA(mode, mode + 5)).content));
        }
    }
    ~ReaderCacheStress() override { KrRiffUtils::ClearCache(nullptr); } // before the folder is removed

    // One step of a thread; the steps of a thread go through all files and kinds of call.
    void Step(size_t number)
    {
        const size_t file = number % kFiles;
        const wchar_t* const path = m_paths[file].c_str();
        const int mode = static_cast<int>(file);
        switch (number / kFiles % 6)
        {
        case 0:
            Count(AskMode(path) == Mode(mode));
            break;
        case 1:
            Count(AskAspect(path) == Aspect(mode + 5, 1));
            break;
        case 2:
            Count(AskMode(path, 2) == kNoMode);
            break;
        case 3:
            Count(AskAspect(path, 1) == Aspect(mode + 5, 1));
            break;
        case 4:
            KrRiffUtils::ClearCache(path); // 0 or 1, depending on the others
            break;
        default:
            Count(KrRiffUtils::ClearCache(nullptr) == 1);
            break;
        }
    }

    void Count(bool right) { ++(right ? m_right : m_wrong); }

    CKrTempFolder m_folder;
    std::vector<std::wstring> m_paths;
    std::atomic<size_t> m_right = 0;
    std::atomic<size_t> m_wrong = 0;
};
} // namespace

TEST_F(ReaderCacheStress, OneSecondOfEverything_AnswersRightlyAndLeavesNothingOpen)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(1);
    {
        std::vector<std::jthread> threads;
        for (size_t thread = 0; thread < 6; ++thread)
        {
            threads.emplace_back(
                [this, end, thread]
                {
                    // Strides without a common factor combine the threads' steps in all ways.
                    for (size_t step = thread * 5; std::chrono::steady_clock::now() < end; step += thread + 1)
                        Step(step);
                });
        }
    }
    EXPECT_EQ(m_wrong, 0u);
    EXPECT_GE(m_right, 18u);
    EXPECT_EQ(KrRiffUtils::ClearCache(nullptr), 1);
    for (const std::wstring& path : m_paths)
        EXPECT_TRUE(CKrForeignWriter(path).IsOpen()) << "a reader was left open";
}
