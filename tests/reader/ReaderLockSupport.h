// The results of a thread that uses a reader held by another.
#ifndef KR_TESTS_READER_READERLOCKSUPPORT_H
#define KR_TESTS_READER_READERLOCKSUPPORT_H

#include "tests/reader/ReaderOpenSupport.h"

#include <cstring>
#include <functional>
#include <thread>

namespace KrTest
{
// Runs a function on another thread and waits for it.
inline void OnAnotherThread(const std::function<void()>& work)
{
    std::jthread(work).join();
}

// The refusals of a busy reader, one for each operation that only tries the lock and returns a result.
struct SKrRefusals
{
    int firstSegment = -1;
    SKrReported nextSegment;
    int firstSubChunk = -1;
    SKrReported nextSubChunk;
    const SKrRiffChunkInfo* lastSegment = nullptr;
    int firstChunk = -1;
    SKrReported nextChunk;
    int videoIndex = -1;
    intptr_t videoEntries = 0;
    int audioIndex = -1;
    SKrAudioChunkPattern pattern = {kUntouched, kUntouched, kUntouched, kUntouched};

    [[nodiscard]] bool All() const
    {
        return firstSegment == 0 && nextSegment.status == 0 && nextSegment.NothingWritten() &&
               firstSubChunk == 0 && nextSubChunk.status == 0 && nextSubChunk.NothingWritten() &&
               lastSegment == nullptr && firstChunk == 0 && nextChunk.status == 0 &&
               nextChunk.NothingWritten() && videoIndex == 0 && videoEntries == 1 && audioIndex == 0 &&
               pattern.kind == kUntouched;
    }

    [[nodiscard]] bool None() const
    {
        return firstSegment == 1 && !nextSegment.NothingWritten() && firstSubChunk == 1 &&
               !nextSubChunk.NothingWritten() && lastSegment != nullptr && firstChunk == 1 &&
               !nextChunk.NothingWritten() && videoIndex == 1 && audioIndex == 1 &&
               pattern.kind != kUntouched;
    }
};

// Calls all operations on the calling thread. `parent` is a node of the reader.
[[nodiscard]] inline SKrRefusals AskEverything(IKrRiffReader& reader, SKrRiffChunkNode* parent)
{
    SKrRefusals refusals;
    refusals.firstSegment = reader.FindFirstRiffSegment();
    refusals.nextSegment = NextSegment(reader);
    refusals.firstSubChunk = reader.FindFirstSubChunk(parent);
    refusals.nextSubChunk = NextSubChunk(reader);
    refusals.lastSegment = reader.GetLastRiffSegment();
    refusals.firstChunk = StartSearch(reader, {"00dc"});
    refusals.nextChunk = NextMatch(reader);
    CArray<SKrChunkIndexEntry> entries;
    entries.SetSize(1);
    refusals.videoIndex = reader.LoadVideoIndex(entries);
    refusals.videoEntries = entries.GetSize();
    CArray<SKrChunkIndexEntry> audio;
    refusals.audioIndex = reader.LoadAudioIndex(audio, &refusals.pattern);
    return refusals;
}
} // namespace KrTest

#endif
