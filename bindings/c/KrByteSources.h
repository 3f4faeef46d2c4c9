// Files that are a host's callbacks: in memory, in a store.
#ifndef KR_BINDINGS_C_KRBYTESOURCES_H
#define KR_BINDINGS_C_KRBYTESOURCES_H

#include "KrRiffUtils/kr_riff.h"
#include "bindings/c/KrHandled.h"
#include "platform/KrPlatform.h"

#include <memory>
#include <vector>

// A host's callbacks, told once that they are not needed any more: by whoever drops the last reference, which
// is under no lock. That is a callback like the others.
template <class Callbacks>
class CKrCallbackOwner
{
public:
    CKrCallbackOwner(const Callbacks& callbacks, CKrHandled& object)
        : m_callbacks(callbacks), m_object(object)
    {
    }
    ~CKrCallbackOwner()
    {
        if (!m_isTaken || m_callbacks.release == nullptr)
            return;
        const CKrCallbackThreads::CScope scope(Threads(), CKrCallbackThreads::EKind::InputOutput);
        m_callbacks.release(m_callbacks.context);
    }
    CKrCallbackOwner(const CKrCallbackOwner&) = delete;
    CKrCallbackOwner& operator=(const CKrCallbackOwner&) = delete;

    // The open succeeded: from now on the host is told of the end.
    void Take() { m_isTaken = true; }

    [[nodiscard]] const Callbacks& Get() const { return m_callbacks; }
    [[nodiscard]] CKrHandled& Object() { return m_object; } // of the handle
    [[nodiscard]] CKrCallbackThreads& Threads() { return m_object.CallbackThreads(); }

private:
    const Callbacks m_callbacks;
    CKrHandled& m_object;
    bool m_isTaken = false;
};

using CKrInput = CKrCallbackOwner<kr_input>;
using CKrOutput = CKrCallbackOwner<kr_output>;

// The input as a file.
class CKrSourceFile final : public IKrFile
{
public:
    explicit CKrSourceFile(std::shared_ptr<CKrInput> input) : m_input(std::move(input)) {}

    std::optional<uint64_t> Size() override;
    bool Seek(uint64_t) override { return true; }
    SKrTransfer ReadAt(uint64_t position, void* buffer, size_t count) override;

private:
    std::shared_ptr<CKrInput> m_input;
};

// The output as a file. A part of it can be mapped right after it was written as one part, which is what the
// writer does with headers and indexes; what is put there is written at once. A write through a view that
// fails makes the next flush fail.
class CKrTargetFile final : public IKrWritableFile
{
public:
    explicit CKrTargetFile(std::shared_ptr<CKrOutput> output) : m_output(std::move(output)) {}

    SKrTransfer WriteAt(uint64_t position, std::span<const KrByteSpan> parts) override;
    SKrFlushOutcome Flush() override;
    std::unique_ptr<IKrMappedView> Map(uint64_t position, size_t length) override;
    bool CutTo(uint64_t size) override;

    // Writes bytes of a view.
    void Patch(uint64_t position, KrByteSpan bytes);

private:
    [[nodiscard]] uint32_t Write(uint64_t position, KrByteSpan bytes);

    std::shared_ptr<CKrOutput> m_output;
    std::vector<uint8_t> m_last; // what was written last, if it was one part of moderate size
    uint64_t m_lastAt = 0;
    KrAtomic<uint32_t> m_patchError = 0;
};

#endif
