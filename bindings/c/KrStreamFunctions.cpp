// Readers of the C interface: streams, formats and what private chunks declare.
#include "KrRiffUtils/KrRiffUtils.h"
#include "bindings/c/KrPaths.h"
#include "bindings/c/KrReaderHandle.h"

static_assert(sizeof(kr_stream) == sizeof(SKrStreamProperties) &&
                  offsetof(kr_stream, dropped_entries) == offsetof(SKrStreamProperties, droppedEntries),
              "the records are the same");

namespace
{
constexpr uint32_t kBothFlavours = 0, kLastFlavour = 2;

// The outcome of a query that found a value or not.
SKrOutcome FoundOr(CKrReaderHandle& object, bool found)
{
    return found ? SKrOutcome(KR_OK) : object.FailedOr(KR_NOT_DECLARED);
}

// `source` is a reader or a path.
template <class Source>
bool FindScanMode(Source source, uint32_t flavour, EKrScanMode& mode)
{
    return flavour == kBothFlavours
               ? KrRiffUtils::GetAviScanMode(source, mode) != 0
               : KrRiffUtils::GetAviScanModeFromPrivateChunk(source, static_cast<int>(flavour), mode) != 0;
}

template <class Source>
bool FindPixelAspect(Source source, uint32_t flavour, int32_t* horizontal, int32_t* vertical)
{
    int x = 0;
    int y = 0;
    const bool found = flavour == kBothFlavours ? KrRiffUtils::GetAviPixelAspectRatio(source, x, y) != 0
                                                : KrRiffUtils::GetAviPixelAspectRatioFromPrivateChunk(
                                                      source, static_cast<int>(flavour), x, y) != 0;
    if (found)
    {
        *horizontal = x;
        *vertical = y;
    }
    return found;
}

// Runs a query of an open reader, which would wait for another thread.
template <class Query>
SKrOutcome Ask(CKrReaderHandle& object, Query&& query)
{
    return object.Alone(
        [&]() -> SKrOutcome
        {
            if (object.Size() == 0)
                return KR_ERROR_CLOSED;
            return FoundOr(object, query(static_cast<IKrRiffReader*>(&object.Reader())));
        });
}

// Why there is no answer about a stream.
SKrOutcome WhyNoStream(CKrReaderHandle& object, uint32_t stream)
{
    if (object.Size() == 0)
        return KR_ERROR_CLOSED;
    return object.FailedOr(stream < object.Reader().GetStreamCount() ? KR_ERROR_READ : KR_ERROR_NO_STREAM);
}
} // namespace

kr_result kr_reader_stream_count(kr_reader* reader, uint32_t* count)
{
    return KrCall("kr_reader_stream_count", reader, kOutside,
                  [&](CKrReaderHandle& object) -> SKrOutcome
                  {
                      if (count == nullptr)
                          return KR_ERROR_ARGUMENT;
                      if (object.Size() == 0)
                          return KR_ERROR_CLOSED;
                      const CKrReading reading(object.Readings());
                      const uint32_t streams = object.Reader().GetStreamCount();
                      const SKrOutcome outcome = streams != 0 ? SKrOutcome(KR_OK) : object.FailedOr(KR_OK);
                      if (!outcome.Failed())
                          *count = streams;
                      return outcome;
                  });
}

kr_result kr_reader_stream(kr_reader* reader, uint32_t stream, kr_stream* out)
{
    return KrCall("kr_reader_stream", reader, kOutside,
                  [&](CKrReaderHandle& object) -> SKrOutcome
                  {
                      if (!KrIsRecord(out))
                          return KR_ERROR_ARGUMENT;
                      const CKrReading reading(object.Readings());
                      SKrStreamProperties properties = {};
                      properties.size = sizeof properties;
                      if (object.Reader().GetStreamProperties(stream, &properties) == 0)
                          return WhyNoStream(object, stream);
                      properties.size = out->size;
                      std::memcpy(out, &properties, sizeof properties);
                      return KR_OK;
                  });
}

kr_result kr_reader_stream_format(kr_reader* reader, uint32_t stream, void* buffer, uint32_t size,
                                  uint32_t* copied)
{
    return KrCall("kr_reader_stream_format", reader, kOutside,
                  [&](CKrReaderHandle& object) -> SKrOutcome
                  {
                      if (buffer == nullptr || copied == nullptr)
                          return KR_ERROR_ARGUMENT;
                      const CKrReading reading(object.Readings());
                      const uint32_t read = object.Reader().ReadStreamFormat(stream, buffer, size);
                      SKrStreamProperties properties = {};
                      properties.size = sizeof properties;
                      const bool isEmpty = read == 0 &&
                                           object.Reader().GetStreamProperties(stream, &properties) != 0 &&
                                           (size == 0 || properties.formatSize == 0);
                      if (read == 0 && !isEmpty)
                          return WhyNoStream(object, stream);
                      *copied = read;
                      return KR_OK;
                  });
}

kr_result kr_reader_video(kr_reader* reader, kr_video* out)
{
    return KrCall("kr_reader_video", reader, kOutside,
                  [&](CKrReaderHandle& object) -> SKrOutcome
                  {
                      if (!KrIsRecord(out))
                          return KR_ERROR_ARGUMENT;
                      SKrAviVideoParams format = {};
                      uint16_t bitCount = 0;
                      int valid = 0;
                      kr_video video = {};
                      video.frames = object.Reader().GetVideoStreamInfo(&format, &video.compression,
                                                                        &bitCount, &valid, &video.chunk_id);
                      if (object.Size() == 0)
                          return KR_ERROR_CLOSED;
                      if (valid == 0)
                          return KR_ERROR_NO_STREAM;
                      video.width = static_cast<uint32_t>(format.width);
                      video.height = static_cast<uint32_t>(format.height);
                      video.display_width = format.displayWidth;
                      video.display_height = format.displayHeight;
                      video.bit_count = bitCount;
                      video.aspect_mode = format.aspectMode;
                      video.frame_rate = format.frameRate;
                      video.scan_mode = format.scanMode;
                      KrFillRecord(out, video);
                      return KR_OK;
                  });
}

kr_result kr_reader_audio(kr_reader* reader, kr_audio* out)
{
    return KrCall("kr_reader_audio", reader, kOutside,
                  [&](CKrReaderHandle& object) -> SKrOutcome
                  {
                      if (!KrIsRecord(out))
                          return KR_ERROR_ARGUMENT;
                      SKrWaveFormatInfo format = {};
                      int valid = 0;
                      kr_audio audio = {};
                      const int found = object.Reader().GetAudioStreamInfo(&format, &valid, &audio.chunk_id,
                                                                           &audio.duration);
                      if (object.Size() == 0)
                          return KR_ERROR_CLOSED;
                      if (found == 0 || valid == 0)
                          return KR_ERROR_NO_STREAM;
                      audio.format_tag = format.formatTag;
                      audio.channels = format.channels;
                      audio.samples_per_sec = format.samplesPerSec;
                      audio.bytes_per_sec = format.avgBytesPerSec;
                      audio.block_align = format.blockAlign;
                      audio.bits_per_sample = format.bitsPerSample;
                      KrFillRecord(out, audio);
                      return KR_OK;
                  });
}

kr_result kr_reader_scan_mode(kr_reader* reader, uint32_t flavour, int32_t* scan_mode)
{
    return KrCall("kr_reader_scan_mode", reader, kOutside,
                  [&](CKrReaderHandle& object) -> SKrOutcome
                  {
                      if (scan_mode == nullptr || flavour > kLastFlavour)
                          return KR_ERROR_ARGUMENT;
                      EKrScanMode mode = EKrScanMode::Unknown;
                      const SKrOutcome outcome = Ask(object, [&](IKrRiffReader* source)
                                                     { return FindScanMode(source, flavour, mode); });
                      if (outcome.result == KR_OK)
                          *scan_mode = static_cast<int32_t>(mode);
                      return outcome;
                  });
}

kr_result kr_reader_pixel_aspect(kr_reader* reader, uint32_t flavour, int32_t* horizontal, int32_t* vertical)
{
    return KrCall("kr_reader_pixel_aspect", reader, kOutside,
                  [&](CKrReaderHandle& object) -> SKrOutcome
                  {
                      if (horizontal == nullptr || vertical == nullptr || flavour > kLastFlavour)
                          return KR_ERROR_ARGUMENT;
                      return Ask(object, [&](IKrRiffReader* source)
                                 { return FindPixelAspect(source, flavour, horizontal, vertical); });
                  });
}

kr_result kr_query_scan_mode(const char* path, uint32_t flavour, int32_t* scan_mode)
{
    return KrCallFree("kr_query_scan_mode",
                      [&]() -> SKrOutcome
                      {
                          const auto wide = KrWidePath(path);
                          if (!wide || scan_mode == nullptr || flavour > kLastFlavour)
                              return KR_ERROR_ARGUMENT;
                          EKrScanMode mode = EKrScanMode::Unknown;
                          if (!FindScanMode(wide->c_str(), flavour, mode))
                              return KR_NOT_DECLARED;
                          *scan_mode = static_cast<int32_t>(mode);
                          return KR_OK;
                      });
}

kr_result kr_query_pixel_aspect(const char* path, uint32_t flavour, int32_t* horizontal, int32_t* vertical)
{
    return KrCallFree("kr_query_pixel_aspect",
                      [&]() -> SKrOutcome
                      {
                          const auto wide = KrWidePath(path);
                          if (!wide || horizontal == nullptr || vertical == nullptr || flavour > kLastFlavour)
                              return KR_ERROR_ARGUMENT;
                          const bool found = FindPixelAspect(wide->c_str(), flavour, horizontal, vertical);
                          return found ? KR_OK : KR_NOT_DECLARED;
                      });
}

kr_result kr_clear_cache(const char* path)
{
    return KrCallFree("kr_clear_cache",
                      [&]() -> SKrOutcome
                      {
                          if (path == nullptr)
                              return KrRiffUtils::ClearCache(nullptr) != 0 ? KR_OK : KR_NOT_DECLARED;
                          const auto wide = KrWidePath(path);
                          if (!wide)
                              return KR_ERROR_ARGUMENT;
                          return KrRiffUtils::ClearCache(wide->c_str()) != 0 ? KR_OK : KR_NOT_DECLARED;
                      });
}
