// Readers of the C interface: the open file, bytes and indexes.
#include "bindings/c/KrPaths.h"
#include "bindings/c/KrReaderHandle.h"

static_assert(sizeof(kr_index_entry) == sizeof(SKrStreamIndexEntry) &&
                  offsetof(kr_index_entry, position) == offsetof(SKrStreamIndexEntry, position) &&
                  offsetof(kr_index_entry, size) == offsetof(SKrStreamIndexEntry, size) &&
                  offsetof(kr_index_entry, flags) == offsetof(SKrStreamIndexEntry, flags),
              "entries are handed out as they are");

kr_result kr_reader_create(kr_reader** out)
{
    return KrCallFree("kr_reader_create", [&] { return KrMake(out); });
}

kr_result kr_reader_free(kr_reader* reader)
{
    return KrFree("kr_reader_free", reader,
                  [](CKrReaderHandle& object)
                  {
                      static_cast<void>(object.Close()); // in use: it ends with the call that uses it
                      return SKrOutcome(KR_OK);
                  });
}

kr_result kr_reader_open(kr_reader* reader, const char* path)
{
    return KrCall("kr_reader_open", reader, kOutside,
                  [&](CKrReaderHandle& object) -> SKrOutcome
                  {
                      const auto wide = KrWidePath(path);
                      return wide ? object.Open(*wide) : SKrOutcome(KR_ERROR_ARGUMENT);
                  });
}

kr_result kr_reader_open_growing(kr_reader* reader, const char* path)
{
    return KrCall("kr_reader_open_growing", reader, kOutside,
                  [&](CKrReaderHandle& object) -> SKrOutcome
                  {
                      const auto wide = KrWidePath(path);
                      return wide ? object.OpenGrowing(*wide) : SKrOutcome(KR_ERROR_ARGUMENT);
                  });
}

kr_result kr_reader_open_input(kr_reader* reader, const kr_input* input)
{
    return KrCall("kr_reader_open_input", reader, kOutside,
                  [&](CKrReaderHandle& object) -> SKrOutcome
                  {
                      if (!KrIsRecord(input) || input->get_size == nullptr || input->read_at == nullptr)
                          return KR_ERROR_ARGUMENT;
                      return object.OpenInput(*input);
                  });
}

kr_result kr_reader_refresh(kr_reader* reader)
{
    return KrCall("kr_reader_refresh", reader, kOutside,
                  [](CKrReaderHandle& object) { return object.Refresh(); });
}

kr_result kr_reader_growing_state(kr_reader* reader, uint32_t* state)
{
    return KrCall("kr_reader_growing_state", reader, kOutside,
                  [&](CKrReaderHandle& object) -> SKrOutcome
                  {
                      if (state == nullptr)
                          return KR_ERROR_ARGUMENT;
                      if (object.Size() == 0)
                          return KR_ERROR_CLOSED;
                      *state = object.Reader().GetGrowingState();
                      return KR_OK;
                  });
}

kr_result kr_reader_close(kr_reader* reader)
{
    return KrCall("kr_reader_close", reader, kOutside,
                  [](CKrReaderHandle& object) { return object.Close(); });
}

kr_result kr_reader_size(kr_reader* reader, uint64_t* size)
{
    return KrCall("kr_reader_size", reader, kOutside,
                  [&](CKrReaderHandle& object) -> SKrOutcome
                  {
                      if (size == nullptr)
                          return KR_ERROR_ARGUMENT;
                      const uint64_t now = object.Size();
                      if (now == 0)
                          return KR_ERROR_CLOSED;
                      *size = now;
                      return KR_OK;
                  });
}

kr_result kr_reader_read(kr_reader* reader, uint64_t position, void* buffer, uint32_t count, uint32_t* copied)
{
    return KrCall("kr_reader_read", reader, kOutside,
                  [&](CKrReaderHandle& object) -> SKrOutcome
                  {
                      if (buffer == nullptr || copied == nullptr)
                          return KR_ERROR_ARGUMENT;
                      return object.Read(position, static_cast<uint8_t*>(buffer), count, *copied);
                  });
}

kr_result kr_reader_load_index(kr_reader* reader, uint32_t stream, uint64_t first, kr_index** out)
{
    return KrCall("kr_reader_load_index", reader, kOutside,
                  [&](CKrReaderHandle& object) -> SKrOutcome
                  {
                      if (out == nullptr)
                          return KR_ERROR_ARGUMENT;
                      auto entries = std::make_unique<CArray<SKrStreamIndexEntry>>();
                      const SKrOutcome outcome = object.Alone(
                          [&]() -> SKrOutcome
                          {
                              if (object.Size() == 0)
                                  return KR_ERROR_CLOSED;
                              if (object.Reader().LoadStreamIndex(stream, first, *entries) != 0)
                                  return KR_OK;
                              const bool exists = stream < object.Reader().GetStreamCount();
                              return object.FailedOr(exists ? KR_ERROR_NO_INDEX : KR_ERROR_NO_STREAM);
                          });
                      return outcome.Failed() ? outcome : KrMake(out, std::move(entries));
                  });
}

kr_result kr_index_entries(kr_index* index, const kr_index_entry** entries, uint64_t* count)
{
    return KrCall("kr_index_entries", index, EKrCallableFrom::Anywhere,
                  [&](CKrIndexHandle& object) -> SKrOutcome
                  {
                      if (entries == nullptr || count == nullptr)
                          return KR_ERROR_ARGUMENT;
                      const CArray<SKrStreamIndexEntry>& loaded = object.Entries();
                      *count = static_cast<uint64_t>(loaded.GetSize());
                      *entries =
                          *count != 0 ? reinterpret_cast<const kr_index_entry*>(loaded.GetData()) : nullptr;
                      return KR_OK;
                  });
}

kr_result kr_index_free(kr_index* index)
{
    return KrFree("kr_index_free", index, [](CKrIndexHandle&) { return SKrOutcome(KR_OK); });
}

kr_result kr_reader_last_error(kr_reader* reader, kr_error* out)
{
    return KrCall("kr_reader_last_error", reader, EKrCallableFrom::Anywhere,
                  [&](CKrReaderHandle& object) { return KrLastError(object, out); });
}
