#include "tools/hash/KrHashedFile.h"

#include "format/KrBytes.h"
#include "tools/avi/KrFileFindings.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrReport.h"
#include "tools/command/KrText.h"
#include "tools/command/KrToolError.h"

namespace KrTool
{
namespace
{
// Hashes a frame's bytes for the stream and, if requested, for the frame itself.
struct SFrameSink
{
    CKrDigest& stream;
    CKrDigest* frame;

    void Write(const void* data, size_t size)
    {
        stream.Add(data, size);
        if (frame != nullptr)
            frame->Add(data, size);
    }
};
} // namespace

CKrHashedFile::CKrHashedFile(const std::string& path, CKrReport& report, CKrProgress& progress)
    : m_report(report), m_progress(progress), m_file(path), m_facts(ReadFacts(m_file, progress)),
      m_copier(m_file, progress)
{
    ReportFileFindings(m_file, m_facts, report);
    for (const SKrAviStream& stream : m_facts.streams)
    {
        AddStream(stream.Kind(), stream.number);
    }
    if (m_facts.streams.empty())
        AddStreamsWithoutHeaders();
    if (m_streams.empty())
        throw CKrToolError(path, "the file has no streams");
}

void CKrHashedFile::AddStream(EKrStreamKind kind, uint32_t number)
{
    SKrHashedStream stream;
    stream.kind = kind;
    stream.chunks = ChunksOfStream(m_file, m_facts, kind, number, m_report, m_progress);
    if (kind == EKrStreamKind::Audio && number < m_facts.streams.size())
    {
        const SKrAudioFormat format = AudioFormat(m_facts.streams[number]);
        stream.blockAlign = format.IsUncompressed() ? format.blockAlign : 0;
    }
    m_streams.push_back(std::move(stream));
}

void CKrHashedFile::AddStreamsWithoutHeaders()
{
    for (const EKrStreamKind kind : {EKrStreamKind::Video, EKrStreamKind::Audio})
    {
        if (const auto number = DefaultStream(m_file, m_facts, kind))
            AddStream(kind, *number);
    }
}

void CKrHashedFile::Hash(const OnFrame& onFrame)
{
    uint64_t total = 0;
    for (const SKrHashedStream& stream : m_streams)
        total += TotalBytes(stream.chunks.chunks);
    m_progress.Begin("reading", total, EKrUnit::Byte);
    for (SKrHashedStream& stream : m_streams)
    {
        const bool isVideo = stream.kind == EKrStreamKind::Video;
        const uint64_t cutBefore = m_copier.CutChunks();
        const uint64_t blankBefore = m_copier.BlankChunks();
        HashStream(stream, isVideo ? onFrame : OnFrame());
        if (isVideo)
            ReportBlankFrames(m_facts, stream.chunks.stream, m_copier.BlankChunks() - blankBefore, m_report);
        if (const uint64_t cut = m_copier.CutChunks() - cutBefore; cut != 0)
            m_report.Finding(
                Format("cut by the end of the file: {} of stream {}",
                       Counted(cut, isVideo ? "frame" : std::string(KindName(stream.kind)) + " chunk"),
                       stream.chunks.stream));
    }
    m_progress.End();
}

void CKrHashedFile::HashStream(SKrHashedStream& stream, const OnFrame& onFrame)
{
    CKrDigest content;
    CKrDigest lengths;
    CKrDigest ofFrame;
    SFrameSink sink{content, onFrame ? &ofFrame : nullptr};
    for (size_t number = 0; number < stream.chunks.chunks.size(); ++number)
    {
        const uint64_t bytes = m_copier.Copy(stream.chunks.chunks[number], sink);
        uint8_t length[sizeof(bytes)];
        PutLe64(length, bytes);
        lengths.Add(length, sizeof(length));
        stream.bytes += bytes;
        if (onFrame)
            onFrame(stream, number, bytes, ofFrame.Finish());
        m_done += bytes;
        m_progress.Advance(m_done);
    }
    stream.content = content.Finish();
    if (stream.kind != EKrStreamKind::Audio)
        stream.lengths = lengths.Finish();
}
} // namespace KrTool
