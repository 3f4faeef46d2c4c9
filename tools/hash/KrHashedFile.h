// The checksums of a file's streams: equal for files with the same material.
#ifndef KR_TOOLS_HASH_KRHASHEDFILE_H
#define KR_TOOLS_HASH_KRHASHEDFILE_H

#include "tools/avi/KrAviFacts.h"
#include "tools/avi/KrAviFile.h"
#include "tools/avi/KrChunkCopier.h"
#include "tools/avi/KrDigest.h"
#include "tools/avi/KrStreamChunks.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace KrTool
{
class CKrProgress;
class CKrReport;

struct SKrHashedStream
{
    EKrStreamKind kind = EKrStreamKind::Video;
    SKrStreamChunks chunks;
    uint32_t blockAlign = 0; // bytes of a sample frame of audio; 0: unknown
    uint64_t bytes = 0;
    SKrDigest content; // of the chunks' bytes, in order
    SKrDigest lengths; // of the chunks' lengths, each as a little-endian 64-bit number; not of audio
};

class CKrHashedFile
{
public:
    // Told about each frame with its number, its length and its checksums.
    using OnFrame =
        std::function<void(const SKrHashedStream&, uint64_t frame, uint64_t bytes, const SKrDigest&)>;

    // Opens the file and finds the chunks of all its streams.
    CKrHashedFile(const std::string& path, CKrReport& report, CKrProgress& progress);

    // Reads everything. `onFrame` may be empty.
    void Hash(const OnFrame& onFrame);

    [[nodiscard]] const CKrAviFile& File() const { return m_file; }
    [[nodiscard]] const std::vector<SKrHashedStream>& Streams() const { return m_streams; }

private:
    void AddStream(EKrStreamKind kind, uint32_t number);
    void AddStreamsWithoutHeaders();
    void HashStream(SKrHashedStream& stream, const OnFrame& onFrame);

    CKrReport& m_report;
    CKrProgress& m_progress;
    CKrAviFile m_file;
    SKrAviFacts m_facts;
    CKrChunkCopier m_copier;
    std::vector<SKrHashedStream> m_streams;
    uint64_t m_done = 0; // bytes
};
} // namespace KrTool

#endif
