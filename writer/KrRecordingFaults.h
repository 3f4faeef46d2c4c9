// What went wrong while a file was written.
#ifndef KR_WRITER_KRRECORDINGFAULTS_H
#define KR_WRITER_KRRECORDINGFAULTS_H

#include "platform/KrSync.h"

// Each is set by the thread that detects it and kept until the next file.
struct SKrRecordingFaults
{
    KrAtomic<bool> writeFailed = false; // the recording has stopped
    KrAtomic<bool> flushFailed = false;
    KrAtomic<bool> samplePassedOver = false; // it could not be locked
    KrAtomic<bool> viewMissing = false;      // of headers or of an index, whose fields stay as they were
    KrAtomic<bool> chunkNotIndexed = false;  // a queued one that is in no OpenDML index

    [[nodiscard]] bool Any() const
    {
        return writeFailed || flushFailed || samplePassedOver || viewMissing || chunkNotIndexed;
    }

    void Reset()
    {
        writeFailed = false;
        flushFailed = false;
        samplePassedOver = false;
        viewMissing = false;
        chunkNotIndexed = false;
    }
};

#endif
