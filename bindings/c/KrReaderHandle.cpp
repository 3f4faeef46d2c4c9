#include "bindings/c/KrReaderHandle.h"

#include "bindings/c/KrPaths.h"

#include <mutex>
#include <utility>

SKrOutcome CKrReaderHandle::FailedOr(kr_result otherwise)
{
    const CKrReading* const reading = Reading();
    return reading != nullptr && reading->error != 0 ? SKrOutcome(KR_ERROR_READ, reading->error)
                                                     : SKrOutcome(otherwise);
}

// Opens a file. `path` is that of a file of the system, or null.
template <class Step>
SKrOutcome CKrReaderHandle::OpenBy(Step&& open, const std::wstring* path)
{
    // Whatever ends it, also an exception: the reader has no file then.
    struct SClosedUnlessOpened
    {
        ~SClosedUnlessOpened()
        {
            const std::shared_ptr<IKrFile> unused = object.m_files.TakeOpened();
            if (!isOpened)
                object.SetOpenedFile(nullptr, 0);
        }
        CKrReaderHandle& object;
        bool isOpened = false;
    };
    SClosedUnlessOpened guard{*this};
    m_files.StartOpen();
    if (open() != 0)
    {
        guard.isOpened = true;
        if (m_files.OpenedLast()) // else this very file is open
            SetOpenedFile(m_files.TakeOpened(), m_reader->GetFileLength());
        return KR_OK;
    }
    if (path != nullptr && !m_files.OpenedLast())
        return KrOutcomeOf(WhyNotRead(path->c_str()));
    return FailedOr(KR_ERROR_FORMAT);
}

SKrOutcome CKrReaderHandle::Open(const std::wstring& path)
{
    std::shared_ptr<CKrInput> ended; // outside of the turn
    return Alone(
        [&]
        {
            ended.swap(m_input);
            return OpenBy([&] { return m_reader->Open(path.c_str()); }, &path);
        });
}

SKrOutcome CKrReaderHandle::OpenGrowing(const std::wstring& path)
{
    std::shared_ptr<CKrInput> ended;
    return Alone(
        [&]
        {
            ended.swap(m_input);
            return OpenBy([&] { return m_reader->OpenGrowing(path.c_str()); }, &path);
        });
}

SKrOutcome CKrReaderHandle::OpenInput(const kr_input& callbacks)
{
    const auto input = std::make_shared<CKrInput>(callbacks, *this);
    const std::wstring path = CKrHandleFiles::PathOf(input);
    std::shared_ptr<CKrInput> ended; // from here on nothing but the open itself needs memory
    return Alone(
        [&]() -> SKrOutcome
        {
            ended.swap(m_input);
            m_reader->Close();
            const SKrOutcome outcome = OpenBy([&] { return m_reader->Open(path.c_str()); }, nullptr);
            if (outcome.Failed())
                return outcome;
            input->Take();
            m_input = input;
            return outcome;
        });
}

SKrOutcome CKrReaderHandle::Refresh()
{
    return Alone(
        [&]() -> SKrOutcome
        {
            if (m_size == 0)
                return KR_ERROR_CLOSED;
            const int news = m_reader->Refresh();
            m_size = m_reader->GetFileLength();
            if (news < 0)
                return FailedOr(KR_ERROR_READ);
            return news != 0 ? KR_OK : KR_NOTHING_NEW;
        });
}

SKrOutcome CKrReaderHandle::Close()
{
    std::shared_ptr<CKrInput> ended;
    return Alone(
        [&]() -> SKrOutcome
        {
            ended.swap(m_input);
            m_reader->Close();
            SetOpenedFile(nullptr, 0);
            return KR_OK;
        });
}

// Not through the reader, whose read neither reports an error nor takes every position.
SKrOutcome CKrReaderHandle::Read(uint64_t position, uint8_t* buffer, uint32_t count, uint32_t& copied)
{
    const std::shared_ptr<IKrFile> file = OpenedFile();
    if (file == nullptr)
        return KR_ERROR_CLOSED;
    if (!KrPlatform::IsFilePosition(position))
    {
        copied = 0; // past the end of any file
        return KR_OK;
    }
    const SKrTransfer read = file->ReadAt(position, buffer, count);
    if (read.Failed())
        return {KR_ERROR_READ, read.osError};
    copied = static_cast<uint32_t>(read.bytes);
    return KR_OK;
}

std::shared_ptr<IKrFile> CKrReaderHandle::OpenedFile()
{
    const std::lock_guard guard(m_fileLock);
    return m_file;
}

// In the turn. A read under way keeps the old file until it ends.
void CKrReaderHandle::SetOpenedFile(std::shared_ptr<IKrFile> file, uint64_t size)
{
    m_size = size;
    const std::lock_guard guard(m_fileLock);
    m_file.swap(file);
}
