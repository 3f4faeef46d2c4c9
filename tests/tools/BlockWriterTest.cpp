// kravi's only thread: it writes blocks while their source is read. Runs under the thread sanitizer.
#include "tests/support/KrTempFolder.h"
#include "tools/command/KrProgress.h"
#include "tools/command/KrToolError.h"
#include "tools/copier/KrBlockWriter.h"
#include "tools/output/KrOutputFile.h"

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>

using namespace KrTest;
using namespace KrTool;

namespace
{
constexpr size_t kBlock = 4 << 20;

class BlockWriter : public testing::Test
{
protected:
    CKrTempFolder m_folder;
    const std::filesystem::path m_path = m_folder.PathOf(L"copy.avi");
    CKrProgress m_progress{EKrProgressMode::None, "rewrap"};
    CKrOutputFile m_output{m_path.string(), false};
};

// No two stretches are alike, and few bytes are made one by one: a sanitizer looks at each.
KrBytes MixedBytes(size_t size)
{
    std::mt19937 random(1);
    KrBytes pattern(10'007);
    std::ranges::generate(pattern, [&] { return static_cast<uint8_t>(random()); });
    KrBytes bytes;
    for (uint8_t round = 0; bytes.size() < size; ++round)
    {
        bytes.push_back(round);
        bytes.insert(bytes.end(), pattern.begin(), pattern.end());
    }
    bytes.resize(size);
    return bytes;
}

// Files above the limit cannot be written while this exists.
class CFileSizeLimit
{
public:
    explicit CFileSizeLimit(rlim_t bytes) : m_oldHandler(std::signal(SIGXFSZ, SIG_IGN))
    {
        ::getrlimit(RLIMIT_FSIZE, &m_old);
        const rlimit limit{bytes, m_old.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~CFileSizeLimit()
    {
        ::setrlimit(RLIMIT_FSIZE, &m_old);
        std::signal(SIGXFSZ, m_oldHandler);
    }
    CFileSizeLimit(const CFileSizeLimit&) = delete;
    CFileSizeLimit& operator=(const CFileSizeLimit&) = delete;

private:
    rlimit m_old{};
    void (*m_oldHandler)(int);
};
} // namespace

TEST_F(BlockWriter, WhatIsPut_IsTheFile)
{
    const KrBytes bytes = MixedBytes(6 * kBlock + 12'345);
    CKrBlockWriter writer(m_output, m_progress);
    std::mt19937 random(7);
    for (size_t at = 0; at < bytes.size();)
    {
        const std::span<const uint8_t> left = std::span(bytes).subspan(at);
        if (random() % 2 == 0)
        {
            const std::span<const uint8_t> part =
                left.first(std::min<size_t>(left.size(), random() % 3'000'000));
            writer.Put(part);
            at += part.size();
            continue;
        }
        const std::span<uint8_t> free = writer.Free();
        const size_t count = std::min<size_t>({free.size(), left.size(), 1 + random() % 100'000});
        std::copy_n(left.begin(), count, free.begin());
        writer.Commit(count);
        at += count;
    }
    EXPECT_EQ(writer.Position(), bytes.size());
    writer.Finish();
    m_output.Commit();
    std::ifstream written(m_path, std::ios::binary);
    KrBytes content(std::filesystem::file_size(m_path));
    written.read(reinterpret_cast<char*>(content.data()), static_cast<std::streamsize>(content.size()));
    EXPECT_TRUE(content.size() == bytes.size() &&
                std::memcmp(content.data(), bytes.data(), bytes.size()) == 0);
}

TEST_F(BlockWriter, RangesOfAFile_AreCopiedUnlessItIsAnother)
{
    const KrBytes bytes = MixedBytes(kBlock);
    const std::string path = std::filesystem::path(m_folder.Write(L"a.avi", bytes)).string();
    const std::string other = std::filesystem::path(m_folder.Write(L"b.avi", bytes)).string();
    const CKrRangeSource source(path, IdentityAt(path));
    const std::span<const uint8_t> all(bytes);
    CKrBlockWriter writer(m_output, m_progress);
    writer.Put(all.first(100));
    EXPECT_EQ(writer.PutFrom(CKrRangeSource(path, IdentityAt(other)), 100, 1000), 0u)
        << "another file took its name";
    EXPECT_EQ(writer.PutFrom(CKrRangeSource(path, {}), 100, 1000), 0u) << "nobody knows which file it was";
    const uint64_t done = writer.PutFrom(source, 100, bytes.size() - 100);
    EXPECT_TRUE(done == bytes.size() - 100 || done == 0) << "the system may have no such copies";
    writer.Put(all.subspan(100 + done));
    writer.Finish();
    m_output.Commit();
    std::ifstream written(m_path, std::ios::binary);
    KrBytes content(std::filesystem::file_size(m_path));
    written.read(reinterpret_cast<char*>(content.data()), static_cast<std::streamsize>(content.size()));
    EXPECT_EQ(std::memcmp(content.data(), bytes.data(), bytes.size()), 0);
}

TEST_F(BlockWriter, WriteThatFails_ThrowsForTheCaller)
{
    const KrBytes bytes = MixedBytes(kBlock);
    CKrBlockWriter writer(m_output, m_progress);
    const CFileSizeLimit limit(2 * kBlock);
    EXPECT_THROW(
        {
            for (int block = 0; block < 20; ++block)
                writer.Put(bytes);
        },
        CKrToolError);
}

TEST_F(BlockWriter, WithoutItsEnd_WaitsForNothing)
{
    const KrBytes bytes = MixedBytes(2 * kBlock + 1);
    CKrBlockWriter writer(m_output, m_progress);
    writer.Put(bytes);
}
