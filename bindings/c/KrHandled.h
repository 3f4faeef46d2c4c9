// What a reader, a writer and an index of the C interface have in common.
#ifndef KR_BINDINGS_C_KRHANDLED_H
#define KR_BINDINGS_C_KRHANDLED_H

#include "KrRiffUtils/kr_riff.h"
#include "bindings/c/KrCallbackThreads.h"
#include "bindings/c/KrOutcome.h"
#include "platform/KrSync.h"
#include "writer/KrCallers.h"

#include <cstdint>

enum class EKrHandleKind : uint8_t
{
    Reader = 1,
    Writer = 2,
    Index = 3
};

// A step of an operation that reads, on the calling thread.
class CKrReading final : public CKrCallers::CScope
{
public:
    using CScope::CScope;
    uint32_t error = 0; // the system's number of a read that failed in it; 0: none failed
};

// Its last failure, which of its callbacks run, and who reads.
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

    // What the calling thread reads, so that the errors of other threads are none of its own.
    [[nodiscard]] CKrCallers& Readings() { return m_readings; }
    [[nodiscard]] CKrReading* Reading() { return static_cast<CKrReading*>(m_readings.OfThisThread()); }

    // Notes the system's number of a read that failed, where the file is read.
    void NoteReadError(uint32_t osError)
    {
        if (CKrReading* const reading = Reading())
            reading->error = osError;
    }

private:
    CKrCallbackThreads m_callbackThreads;
    KrAtomic<uint64_t> m_lastFailure = 0; // both parts of an outcome
    CKrCallers m_readings;                // all of them CKrReading
};

#endif
