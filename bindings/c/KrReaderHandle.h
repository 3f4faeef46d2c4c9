// The readers of the C interface.
#ifndef KR_BINDINGS_C_KRREADERHANDLE_H
#define KR_BINDINGS_C_KRREADERHANDLE_H

#include "base/KrRef.h"
#include "base/KrTurn.h"
#include "bindings/c/KrCall.h"
#include "bindings/c/KrHandleFiles.h"
#include "bindings/c/KrHandled.h"
#include "reader/KrRiffReader.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

// A reader in which one thread at a time is at work: the others are told so instead of waiting. Nobody else
// enters the reader's own lock, which is left while callbacks run. The size of the open file is kept beside
// it, so that asking for it takes no lock.
class CKrReaderHandle final : public CKrHandled
{
public:
    CKrReaderHandle() : m_files(*this), m_reader(CKrRef<CKrRiffReader>::Adopt(new CKrRiffReader(m_files)))
    {
        CallbackThreads().LeaveDuringCallbacks(m_reader->Lock(), m_turn);
    }

    [[nodiscard]] SKrOutcome Open(const std::wstring& path);
    [[nodiscard]] SKrOutcome OpenGrowing(const std::wstring& path);
    [[nodiscard]] SKrOutcome OpenInput(const kr_input& callbacks);
    [[nodiscard]] SKrOutcome Refresh();
    [[nodiscard]] SKrOutcome Close();
    [[nodiscard]] SKrOutcome Read(uint64_t position, uint8_t* buffer, uint32_t count, uint32_t& copied);

    [[nodiscard]] CKrRiffReader& Reader() { return *m_reader; }
    [[nodiscard]] uint64_t Size() const { return m_size; } // 0: no file is open

    // Runs a step that needs the reader for itself, or answers that another thread is at work in it.
    template <class Step>
    [[nodiscard]] SKrOutcome Alone(Step&& step)
    {
        if (!m_turn.TryTake())
            return KR_ERROR_BUSY;
        const std::lock_guard turn(m_turn, std::adopt_lock);
        const CKrReading reading(Readings());
        return step();
    }

    // The outcome of a reading step that did not succeed, where no read of it failed: `otherwise`.
    [[nodiscard]] SKrOutcome FailedOr(kr_result otherwise);

private:
    template <class Step>
    [[nodiscard]] SKrOutcome OpenBy(Step&& open, const std::wstring* path);
    [[nodiscard]] std::shared_ptr<IKrFile> OpenedFile();
    void SetOpenedFile(std::shared_ptr<IKrFile> file, uint64_t size);

    // Before the reader, which uses them to its end, and the input is released after that.
    CKrHandleFiles m_files;
    CKrTurn m_turn;                    // who is at work in the reader
    std::shared_ptr<CKrInput> m_input; // the open one; in m_turn
    CKrRef<CKrRiffReader> m_reader;
    KrAtomic<uint64_t> m_size = 0;
    CKrMutex m_fileLock;             // held to copy a pointer; no lock follows
    std::shared_ptr<IKrFile> m_file; // the open one
};

class CKrIndexHandle final : public CKrHandled
{
public:
    explicit CKrIndexHandle(std::unique_ptr<CArray<SKrStreamIndexEntry>> entries)
        : m_entries(std::move(entries))
    {
    }

    [[nodiscard]] const CArray<SKrStreamIndexEntry>& Entries() const { return *m_entries; }

private:
    std::unique_ptr<CArray<SKrStreamIndexEntry>> m_entries;
};

template <>
struct SKrHandleTraits<kr_reader>
{
    using Object = CKrReaderHandle;
    static constexpr EKrHandleKind kKind = EKrHandleKind::Reader;
};

template <>
struct SKrHandleTraits<kr_index>
{
    using Object = CKrIndexHandle;
    static constexpr EKrHandleKind kKind = EKrHandleKind::Index;
};

#endif
