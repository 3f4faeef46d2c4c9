// What a reader, a writer and an index of the C interface have in common.
#ifndef KR_BINDINGS_C_KRHANDLED_H
#define KR_BINDINGS_C_KRHANDLED_H

#include "KrRiffUtils/kr_riff.h"
#include "bindings/c/KrCallbackThreads.h"
#include "bindings/c/KrOutcome.h"
#include "platform/KrSync.h"

#include <cstdint>

enum class EKrHandleKind : uint8_t
{
    Reader = 1,
    Writer = 2,
    Index = 3
};

// Its last failure, and which of its callbacks run.
class CKrHandled
{
public:
    CKrHandled() = default;
    virtual ~CKrHandled() = default;
    CKrHandled(const CKrHandled&) = delete;
    CKrHandled& operator=(const CKrHandled&) = delete;

    [[nodiscard]] CKrCallbackThreads& CallbackThreads() { return m_callbackThreads; }

    void SetLastFailure(const SKrOutcome& outcome)
    {
        m_lastFailure = uint64_t{outcome.systemError} << 32 | static_cast<uint32_t>(outcome.result);
    }
    [[nodiscard]] SKrOutcome LastFailure() const
    {
        const uint64_t failure = m_lastFailure;
        return {static_cast<kr_result>(static_cast<uint32_t>(failure)), static_cast<uint32_t>(failure >> 32)};
    }

    // The system's number of a read that failed, noted where the file is read and taken where the operation
    // ends. 0: none failed since.
    void NoteReadError(uint32_t osError) { m_readError = osError; }
    [[nodiscard]] uint32_t TakeReadError() { return m_readError.exchange(0); }

private:
    CKrCallbackThreads m_callbackThreads;
    KrAtomic<uint64_t> m_lastFailure = 0; // both parts of an outcome
    KrAtomic<uint32_t> m_readError = 0;
};

#endif
