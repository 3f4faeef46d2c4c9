#include "bindings/c/KrReaderHandle.h"

#include "bindings/c/KrPaths.h"

#include <utility>

SKrOutcome CKrReaderHandle::FailedOr(kr_result otherwise)
{
    const uint32_t readError = TakeReadError();
    return readError != 0 ? SKrOutcome(KR_ERROR_READ, readError) : SKrOutcome(otherwise);
}

// Opens a file. `path` is that of a file of the system, or null.
template <class Step>
SKrOutcome CKrReaderHandle::OpenBy(Step&& open, const std::wstring* path)
{
    const bool isOpen = open() != 0;
    m_size = m_reader->GetFileLength();
    if (isOpen)
        return KR_OK;
    if (path != nullptr && !m_files.OpenedLast())
        return KrOutcomeOf(WhyNotRead(path->c_str()));
    return FailedOr(KR_ERROR_FORMAT);
}

SKrOutcome CKrReaderHandle::Open(const std::wstring& path)
{
    std::shared_ptr<CKrInput> ended; // outside the lock
    return Locked(
        [&]
        {
            ended.swap(m_input);
            return OpenBy([&] { return m_reader->Open(path.c_str()); }, &path);
        });
}

SKrOutcome CKrReaderHandle::OpenGrowing(const std::wstring& path)
{
    std::shared_ptr<CKrInput> ended;
    return Locked(
        [&]
        {
            ended.swap(m_input);
            return OpenBy([&] { return m_reader->OpenGrowing(path.c_str()); }, &path);
        });
}

SKrOutcome CKrReaderHandle::OpenInput(const kr_input& callbacks)
{
    const auto input = std::make_shared<CKrInput>(callbacks, CallbackThreads());
    std::shared_ptr<CKrInput> ended;
    return Locked(
        [&]() -> SKrOutcome
        {
            ended.swap(m_input);
            m_reader->Close();
            const std::wstring path = CKrHandleFiles::PathOf(input);
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
    return Locked(
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
    return Locked(
        [&]() -> SKrOutcome
        {
            ended.swap(m_input);
            m_reader->Close();
            m_size = 0;
            return KR_OK;
        });
}

// The library's raw read refuses one position in four billion, which lies between two others here.
uint32_t CKrReaderHandle::ReadAnywhere(uint64_t position, uint8_t* buffer, uint32_t count)
{
    if (static_cast<uint32_t>(position) != UINT32_MAX || count == 0)
        return m_reader->ReadAt(position, buffer, count);
    uint8_t two[2];
    if (m_reader->ReadAt(position - 1, two, 2) != 2)
        return 0;
    *buffer = two[1];
    return 1 + (count > 1 ? m_reader->ReadAt(position + 1, buffer + 1, count - 1) : 0);
}

SKrOutcome CKrReaderHandle::Read(uint64_t position, uint8_t* buffer, uint32_t count, uint32_t& copied)
{
    const uint32_t got = ReadAnywhere(position, buffer, count);
    if (got < count || count == 0)
    {
        const uint64_t size = m_size;
        if (size == 0)
            return KR_ERROR_CLOSED;
        if (position < size && got < count && got < size - position)
        {
            const uint32_t readError = TakeReadError(); // 0: the file has become shorter
            return {KR_ERROR_READ, readError};
        }
    }
    copied = got;
    return KR_OK;
}
