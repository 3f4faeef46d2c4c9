// Shared by the tests of writable files: one of the operating system's, and its content as others see it.
#ifndef KR_TESTS_PLATFORM_WRITABLEFILESSUPPORT_H
#define KR_TESTS_PLATFORM_WRITABLEFILESSUPPORT_H

#include "platform/KrPlatform.h"
#include "tests/support/KrFileContent.h"
#include "tests/support/KrOsTestFiles.h"
#include "tests/support/KrTempFolder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace KrTest
{
class WritableFilesTest : public testing::Test
{
protected:
    std::unique_ptr<IKrWritableFile> Create(const std::wstring& path)
    {
        return m_files.CreateForWriting(path.c_str());
    }

    static uint64_t Write(IKrWritableFile& file, uint64_t position, const std::vector<KrBytes>& parts)
    {
        const std::vector<KrByteSpan> spans(parts.begin(), parts.end());
        const SKrTransfer transfer = file.WriteAt(position, spans);
        EXPECT_EQ(transfer.osError, 0u);
        return transfer.bytes;
    }

    KrBytes ReadBack(const std::wstring& path, uint64_t position, size_t count)
    {
        KrBytes bytes(count);
        const auto file = m_files.OpenForReading(path.c_str());
        if (file == nullptr)
        {
            ADD_FAILURE() << "cannot be opened";
            return {};
        }
        bytes.resize(file->ReadAt(position, bytes.data(), count).bytes);
        return bytes;
    }

    // The content seen by another program that ignores sharing.
    static KrBytes Peek(const std::wstring& path, uint64_t position, size_t count)
    {
        std::ifstream in(Os::StdPath(path), std::ios::binary);
        in.seekg(static_cast<std::streamoff>(position));
        std::string text(count, '\0');
        in.read(text.data(), static_cast<std::streamsize>(count));
        return {text.begin(), text.begin() + static_cast<ptrdiff_t>(in.gcount())};
    }

    CKrTempFolder m_folder;
    IKrFileSystem& m_files = KrPlatform::OsFileSystem();
    const std::wstring m_path = m_folder.PathOf(L"new.bin");
};
} // namespace KrTest

#endif
