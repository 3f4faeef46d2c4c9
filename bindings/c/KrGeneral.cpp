// Version, texts and log of the C interface.
#include "KrRiffUtils/kr_riff.h"
#include "base/KrImmortal.h"
#include "bindings/c/KrCall.h"
#include "platform/KrSync.h"
#include "writer/KrCallers.h"

#include <cstddef>
#include <cstdio>
#include <mutex>

// Hosts in other languages declare the records again.
static_assert(sizeof(kr_error) == 16 && offsetof(kr_error, result) == 4 &&
                  offsetof(kr_error, system_error) == 8,
              "fixed layout");
static_assert(sizeof(kr_stream) == 64 && sizeof(kr_index_entry) == 16 && sizeof(kr_recording_options) == 48 &&
                  sizeof(kr_recording_status) == 128,
              "fixed layout");
static_assert(sizeof(kr_video) == 64 && offsetof(kr_video, width) == 8 &&
                  offsetof(kr_video, compression) == 24 && offsetof(kr_video, scan_mode) == 40 &&
                  offsetof(kr_video, reserved) == 48,
              "fixed layout");
static_assert(sizeof(kr_audio) == 56 && offsetof(kr_audio, chunk_id) == 28 &&
                  offsetof(kr_audio, duration) == 32 && offsetof(kr_audio, reserved) == 40,
              "fixed layout");
static_assert(sizeof(kr_clip) == 64 && offsetof(kr_clip, codec) == 20 && offsetof(kr_clip, scan_mode) == 32 &&
                  offsetof(kr_clip, audio_channels) == 40 && offsetof(kr_clip, reserved) == 52,
              "fixed layout");
static_assert(sizeof(kr_input) == 40 && offsetof(kr_input, context) == 8 &&
                  offsetof(kr_input, release) == 32 && sizeof(kr_output) == 48 &&
                  offsetof(kr_output, truncate) == 32,
              "fixed layout");

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
