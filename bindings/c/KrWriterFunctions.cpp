// Writers of the C interface.
#include "bindings/c/KrPaths.h"
#include "bindings/c/KrWriterHandle.h"

static_assert(sizeof(kr_recording_options) == sizeof(SKrRecordingOptions) &&
                  offsetof(kr_recording_options, queue_limit) == offsetof(SKrRecordingOptions, queueLimit) &&
                  offsetof(kr_recording_options, preallocation) ==
                      offsetof(SKrRecordingOptions, preallocation),
              "the records are the same");
static_assert(sizeof(kr_recording_status) == sizeof(SKrRecordingStatus) &&
                  offsetof(kr_recording_status, frames_written) ==
                      offsetof(SKrRecordingStatus, framesWritten) &&
                  offsetof(kr_recording_status, frames_in_index) ==
                      offsetof(SKrRecordingStatus, framesInIndex),
              "the records are the same");

namespace
{
constexpr auto kSubmission = EKrCallableFrom::ReleaseCallback;

// A step with the bytes of a sample or chunk, where they are such.
template <class Step>
kr_result WithBytes(const char* operation, kr_writer* writer, EKrCallableFrom callable, const void* data,
                    uint32_t length, Step&& step)
{
    return KrCall(operation, writer, callable,
                  [&](CKrWriterHandle& object) -> SKrOutcome
                  {
                      if (data == nullptr || length == 0 || length > INT32_MAX)
                          return KR_ERROR_ARGUMENT;
                      return step(object, KrByteSpan(static_cast<const uint8_t*>(data), length));
                  });
}
} // namespace

kr_result kr_writer_create(kr_writer** out)
{
    return KrCallFree("kr_writer_create", [&] { return KrMake(out); });
}

kr_result kr_writer_free(kr_writer* writer)
{
    return KrFree("kr_writer_free", writer, [](CKrWriterHandle& object) { return object.Close(); });
}

kr_result kr_recording_options_default(kr_recording_options* options)
{
    return KrCallFree("kr_recording_options_default",
                      [&]() -> SKrOutcome
                      {
                          if (!KrIsRecord(options))
                              return KR_ERROR_ARGUMENT;
                          kr_recording_options defaults = {};
                          defaults.chunk_spacing_ms = 5;
                          defaults.submission_delay_ms = 1;
                          defaults.queue_wait_ms = KR_FOR_EVER;
                          defaults.audio_wait_ms = KR_FOR_EVER;
                          KrFillRecord(options, defaults);
                          return KR_OK;
                      });
}

kr_result kr_writer_set_options(kr_writer* writer, const kr_recording_options* options)
{
    return KrCall("kr_writer_set_options", writer, kOutside,
                  [&](CKrWriterHandle& object) -> SKrOutcome
                  {
                      SKrRecordingOptions copy = {};
                      if (options != nullptr && options->size != sizeof copy)
                          return KR_ERROR_ARGUMENT; // larger: of a version that knows more
                      if (options != nullptr)
                          std::memcpy(&copy, options, sizeof copy);
                      const int done =
                          object.Writer().SetRecordingOptions(options != nullptr ? &copy : nullptr);
                      return done != 0 ? KR_OK : KR_ERROR_ARGUMENT;
                  });
}

kr_result kr_writer_open(kr_writer* writer, const char* path, const kr_clip* clip)
{
    return KrCall("kr_writer_open", writer, kOutside,
                  [&](CKrWriterHandle& object) -> SKrOutcome
                  {
                      const auto wide = KrWidePath(path);
                      return wide && KrIsRecord(clip) ? object.Open(*wide, *clip)
                                                      : SKrOutcome(KR_ERROR_ARGUMENT);
                  });
}

kr_result kr_writer_open_output(kr_writer* writer, const kr_output* output, const kr_clip* clip)
{
    return KrCall("kr_writer_open_output", writer, kOutside,
                  [&](CKrWriterHandle& object) -> SKrOutcome
                  {
                      if (!KrIsRecord(output) || output->write_at == nullptr || !KrIsRecord(clip))
                          return KR_ERROR_ARGUMENT;
                      return object.OpenOutput(*output, *clip);
                  });
}

kr_result kr_writer_add_video(kr_writer* writer, const void* data, uint32_t length, kr_release_fn release,
                              void* context)
{
    return WithBytes("kr_writer_add_video", writer, kSubmission, data, length,
                     [&](CKrWriterHandle& object, KrByteSpan bytes)
                     { return object.Add(EKrStream::Video, bytes, release, context); });
}

kr_result kr_writer_add_audio(kr_writer* writer, const void* data, uint32_t length, kr_release_fn release,
                              void* context)
{
    return WithBytes("kr_writer_add_audio", writer, kSubmission, data, length,
                     [&](CKrWriterHandle& object, KrByteSpan bytes)
                     { return object.Add(EKrStream::Audio, bytes, release, context); });
}

kr_result kr_writer_copy_video(kr_writer* writer, const void* data, uint32_t length)
{
    return WithBytes("kr_writer_copy_video", writer, kSubmission, data, length,
                     [](CKrWriterHandle& object, KrByteSpan bytes)
                     { return object.AddCopy(EKrStream::Video, bytes); });
}

kr_result kr_writer_copy_audio(kr_writer* writer, const void* data, uint32_t length)
{
    return WithBytes("kr_writer_copy_audio", writer, kSubmission, data, length,
                     [](CKrWriterHandle& object, KrByteSpan bytes)
                     { return object.AddCopy(EKrStream::Audio, bytes); });
}

kr_result kr_writer_write_video_chunk(kr_writer* writer, const void* data, uint32_t length)
{
    return WithBytes("kr_writer_write_video_chunk", writer, kOutside, data, length,
                     [](CKrWriterHandle& object, KrByteSpan bytes)
                     { return object.WriteChunk(EKrStream::Video, bytes); });
}

kr_result kr_writer_write_audio_chunk(kr_writer* writer, const void* data, uint32_t length)
{
    return WithBytes("kr_writer_write_audio_chunk", writer, kOutside, data, length,
                     [](CKrWriterHandle& object, KrByteSpan bytes)
                     { return object.WriteChunk(EKrStream::Audio, bytes); });
}

kr_result kr_writer_status(kr_writer* writer, kr_recording_status* out)
{
    return KrCall("kr_writer_status", writer, EKrCallableFrom::Anywhere,
                  [&](CKrWriterHandle& object) -> SKrOutcome
                  {
                      if (!KrIsRecord(out))
                          return KR_ERROR_ARGUMENT;
                      SKrRecordingStatus status = object.Status();
                      status.size = out->size;
                      std::memcpy(out, &status, sizeof status);
                      return KR_OK;
                  });
}

kr_result kr_writer_close(kr_writer* writer)
{
    return KrCall("kr_writer_close", writer, kOutside,
                  [](CKrWriterHandle& object) { return object.Close(); });
}

kr_result kr_writer_last_error(kr_writer* writer, kr_error* out)
{
    return KrCall("kr_writer_last_error", writer, EKrCallableFrom::Anywhere,
                  [&](CKrWriterHandle& object) { return KrLastError(object, out); });
}
