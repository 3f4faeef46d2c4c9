// Version, texts and log of the C interface.
#include "KrRiffUtils/kr_riff.h"
#include "base/KrImmortal.h"
#include "bindings/c/KrCall.h"
#include "platform/KrSync.h"
#include "writer/KrCallers.h"

#include <cstdio>
#include <mutex>

namespace
{
struct SKrLogTarget
{
    kr_log_fn callback = nullptr;
    void* context = nullptr;
};

class CKrLog
{
public:
    static CKrLog& OfProcess()
    {
        static CKrImmortal<CKrLog> log;
        return log.Get();
    }

    void Set(const SKrLogTarget& target)
    {
        const std::lock_guard guard(m_lock);
        m_target = target;
        m_isSet = target.callback != nullptr;
    }

    void Report(const char* operation, const SKrOutcome& outcome)
    {
        if (!m_isSet || m_callers.HaveThisThread())
            return;
        const SKrLogTarget target = Target();
        if (target.callback == nullptr)
            return;
        char text[160];
        if (outcome.systemError != 0)
            std::snprintf(text, sizeof text, "%s: %s (system error %u)", operation,
                          kr_error_text(outcome.result), static_cast<unsigned>(outcome.systemError));
        else
            std::snprintf(text, sizeof text, "%s: %s", operation, kr_error_text(outcome.result));
        const CKrCallers::CScope scope(m_callers);
        target.callback(target.context, outcome.result, text);
    }

private:
    [[nodiscard]] SKrLogTarget Target()
    {
        const std::lock_guard guard(m_lock);
        return m_target;
    }

    KrAtomic<bool> m_isSet = false;
    CKrMutex m_lock; // held to copy the target; no lock follows
    SKrLogTarget m_target;
    CKrCallers m_callers;
};
} // namespace

void KrReportFailure(const char* operation, const SKrOutcome& outcome) noexcept
{
    CKrLog::OfProcess().Report(operation, outcome);
}

uint32_t kr_version(void)
{
    return KR_RIFF_UTILS_VERSION;
}

const char* kr_error_text(kr_result result)
{
    switch (result)
    {
    case KR_OK:
        return "done";
    case KR_NOT_DECLARED:
        return "not declared by the file";
    case KR_NOTHING_NEW:
        return "nothing new";
    case KR_ERROR_HANDLE:
        return "not a handle of this kind, or freed already";
    case KR_ERROR_ARGUMENT:
        return "invalid argument";
    case KR_ERROR_MEMORY:
        return "out of memory";
    case KR_ERROR_CLOSED:
        return "no file is open";
    case KR_ERROR_BUSY:
        return "another thread is using the reader";
    case KR_ERROR_CALLBACK:
        return "not possible from inside a callback of this handle";
    case KR_ERROR_NOT_FOUND:
        return "file or folder not found";
    case KR_ERROR_ACCESS:
        return "access denied, or not a regular file";
    case KR_ERROR_IN_USE:
        return "the file is in use";
    case KR_ERROR_OPEN:
        return "the file cannot be opened";
    case KR_ERROR_FORMAT:
        return "not an AVI file, or damaged";
    case KR_ERROR_NO_STREAM:
        return "no such stream, or not usable";
    case KR_ERROR_NO_INDEX:
        return "no readable index";
    case KR_ERROR_READ:
        return "reading failed";
    case KR_ERROR_WRITE:
        return "writing failed";
    case KR_ERROR_REFUSED:
        return "sample refused: no room";
    case KR_ERROR_INCOMPLETE:
        return "the file lacks a sample, or an index lacks a chunk";
    case KR_ERROR_INTERNAL:
        return "internal error";
    default:
        return "unknown result";
    }
}

kr_result kr_set_log(kr_log_fn callback, void* context)
{
    return KrCallFree("kr_set_log",
                      [&]() -> SKrOutcome
                      {
                          CKrLog::OfProcess().Set({callback, context});
                          return KR_OK;
                      });
}
