// How each function of the C interface runs: handle, callback rule, exceptions, last error, log.
#ifndef KR_BINDINGS_C_KRCALL_H
#define KR_BINDINGS_C_KRCALL_H

#include "bindings/c/KrHandleTable.h"
#include "bindings/c/KrHandled.h"
#include "bindings/c/KrOutcome.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

static_assert(sizeof(void*) == sizeof(uint64_t), "handles are numbers of 64 bits");

// The kind of object behind a handle type of the C interface; specialised where the object is defined.
template <class Handle>
struct SKrHandleTraits;

template <class Handle>
[[nodiscard]] uint64_t KrHandleNumber(const Handle* handle)
{
    return reinterpret_cast<uint64_t>(handle);
}

// Keeps a handle's object alive.
class CKrPin
{
public:
    explicit CKrPin(SKrHandleSlot* slot) : m_slot(slot) {}
    ~CKrPin()
    {
        if (m_slot != nullptr)
            CKrHandleTable::OfProcess().Unpin(*m_slot);
    }
    CKrPin(const CKrPin&) = delete;
    CKrPin& operator=(const CKrPin&) = delete;

    [[nodiscard]] CKrHandled* Get() const { return m_slot != nullptr ? m_slot->object.get() : nullptr; }

private:
    SKrHandleSlot* m_slot;
};

// Runs a step of which no exception may reach the host.
template <class Step>
[[nodiscard]] SKrOutcome KrGuarded(Step&& step) noexcept
{
    try
    {
        return step();
    }
    catch (const std::bad_alloc&)
    {
        return KR_ERROR_MEMORY;
    }
    catch (...)
    {
        return KR_ERROR_INTERNAL;
    }
}

// An operation without a handle.
template <class Step>
kr_result KrCallFree(const char* operation, Step&& step) noexcept
{
    const SKrOutcome outcome = KrGuarded(step);
    if (outcome.Failed())
        KrReportFailure(operation, outcome);
    return outcome.result;
}

// An operation on a handle's object.
template <class Handle, class Step>
kr_result KrCall(const char* operation, Handle* handle, EKrCallableFrom callable, Step&& step) noexcept
{
    using Object = typename SKrHandleTraits<Handle>::Object;
    const CKrPin pin(CKrHandleTable::OfProcess().Pin(KrHandleNumber(handle), SKrHandleTraits<Handle>::kKind));
    if (pin.Get() == nullptr)
    {
        KrReportFailure(operation, KR_ERROR_HANDLE);
        return KR_ERROR_HANDLE;
    }
    Object& object = static_cast<Object&>(*pin.Get());
    const SKrOutcome outcome = object.CallbackThreads().Permit(callable)
                                   ? KrGuarded([&] { return step(object); })
                                   : SKrOutcome(KR_ERROR_CALLBACK);
    if (outcome.Failed())
    {
        object.SetLastFailure(outcome);
        KrReportFailure(operation, outcome);
    }
    return outcome.result;
}

// Makes an object and its handle.
template <class Handle, class... Arguments>
[[nodiscard]] SKrOutcome KrMake(Handle** out, Arguments&&... arguments)
{
    using Object = typename SKrHandleTraits<Handle>::Object;
    if (out == nullptr)
        return KR_ERROR_ARGUMENT;
    const uint64_t number = CKrHandleTable::OfProcess().Add(
        std::make_unique<Object>(std::forward<Arguments>(arguments)...), SKrHandleTraits<Handle>::kKind);
    if (number == 0)
        return KR_ERROR_MEMORY;
    *out = reinterpret_cast<Handle*>(number); // NOLINT(performance-no-int-to-ptr)
    return KR_OK;
}

// Frees a handle after a last step on its object, whose outcome is the result. Where the step is not allowed
// the handle stays.
template <class Handle, class Step>
kr_result KrFree(const char* operation, Handle* handle, Step&& last) noexcept
{
    using Object = typename SKrHandleTraits<Handle>::Object;
    CKrHandleTable& table = CKrHandleTable::OfProcess();
    return KrCall(operation, handle, EKrCallableFrom::Outside,
                  [&](Object& object) -> SKrOutcome
                  {
                      const CKrPin own(table.Retire(KrHandleNumber(handle), SKrHandleTraits<Handle>::kKind));
                      return own.Get() != nullptr ? last(object) : SKrOutcome(KR_ERROR_HANDLE);
                  });
}

// Copies what is known of a record into the caller's, which may be larger, and keeps its size.
template <class Record>
void KrFillRecord(Record* out, Record& filled)
{
    filled.size = out->size;
    std::memcpy(out, &filled, sizeof filled);
}

template <class Record>
[[nodiscard]] bool KrIsRecord(const Record* record)
{
    return record != nullptr && record->size >= sizeof(Record);
}

// What an object's last failure was.
[[nodiscard]] inline SKrOutcome KrLastError(const CKrHandled& object, kr_error* out)
{
    if (!KrIsRecord(out))
        return KR_ERROR_ARGUMENT;
    const SKrOutcome last = object.LastFailure();
    kr_error error = {};
    error.result = last.result;
    error.system_error = last.systemError;
    KrFillRecord(out, error);
    return KR_OK;
}

#endif
