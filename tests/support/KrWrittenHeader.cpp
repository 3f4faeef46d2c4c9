#include "tests/support/KrWrittenHeader.h"

#include "tests/support/KrByteWriter.h"

#include <algorithm>

namespace KrTest
{
namespace
{
constexpr uint32_t kRates[8][2] = {{24000, 1001}, {24, 1}, {25, 1},       {30000, 1001},
                                   {30, 1},       {50, 1}, {60000, 1001}, {60, 1}};

class CHeader
{
public:
    CHeader(const CKrFileContent& file, const SKrWritten& from, const SKrCheckedAvi& found)
        : m_file(file), m_from(from), m_found(found)
    {
    }

    KrBytes Whole()
    {
        KrBytes riff = HeaderList();
        Append(riff, PrivateChunks());
        const uint64_t sector = m_from.bytesPerSector;
        const uint64_t end = 12 + riff.size() + 12;
        if (end % sector != 0)
        {
            const auto size = static_cast<uint32_t>(RoundUpTo(end + 8, sector) - end - 8);
            Append(riff, Chunk("JUNK", KrBytes(size)));
        }
        CKrTestByteWriter out;
        out.FourCc("RIFF").U32(U32(4)).FourCc("AVI ").Raw(riff); // the walk checks the size
        out.FourCc("LIST").U32(U32(12 + riff.size() + 4)).FourCc("movi");
        return out.Bytes();
    }

private:
    std::string VideoId() const { return m_from.codec.empty() ? "00db" : "00dc"; }

    uint32_t U32(uint64_t position) const
    {
        uint8_t bytes[4] = {};
        m_file.Read(position, bytes, 4);
        return bytes[0] | bytes[1] << 8 | bytes[2] << 16 | uint32_t{bytes[3]} << 24;
    }

    static uint32_t Largest(const std::vector<SKrWrittenChunk>& chunks)
    {
        uint32_t largest = 0;
        for (const SKrWrittenChunk& chunk : chunks)
            largest = std::max(largest, chunk.size + 8);
        return largest;
    }

    static void Append(KrBytes& to, const KrBytes& bytes) { to.insert(to.end(), bytes.begin(), bytes.end()); }

    static KrBytes Chunk(const std::string& id, const KrBytes& data)
    {
        return CKrTestByteWriter().FourCc(id).U32(static_cast<uint32_t>(data.size())).Raw(data).Bytes();
    }

    static KrBytes List(const std::string& type, const KrBytes& content)
    {
        return Chunk("LIST", CKrTestByteWriter().FourCc(type).Raw(content).Bytes());
    }

    uint32_t Frames() const
    {
        return m_from.hasDirectChunks ? U32(32 + 16)
                                      : static_cast<uint32_t>(m_found.video.size()) - m_from.lostFrames;
    }

    KrBytes HeaderList()
    {
        const auto& rate = kRates[m_from.frameRate];
        const uint32_t largestVideo = Largest(m_found.video);
        const uint32_t largestAudio = Largest(m_found.audio);
        CKrTestByteWriter main;
        main.U32(1000000 / (rate[0] / rate[1])).U32(m_found.maxBytesPerSec).U32(m_from.bytesPerSector);
        main.U32(0x810)
            .U32(Frames())
            .U32(0)
            .U32(m_from.pcm ? 2 : 1)
            .U32(std::max(largestVideo, largestAudio));
        main.U32(m_from.width).U32(m_from.height).Raw(KrBytes(16));

        CKrTestByteWriter video;
        video.FourCc("vids").Raw(Codec()).U32(0).U32(0).U32(0).U32(rate[1]).U32(rate[0]).U32(0).U32(Frames());
        video.U32(largestVideo).Raw(KrBytes(16));
        CKrTestByteWriter bitmap;
        bitmap.U32(40).U32(m_from.width).U32(m_from.height).U16(1).U16(m_from.bitCount).Raw(Codec());
        bitmap.U32(m_from.bitCount / 8 * m_from.width * m_from.height).Raw(KrBytes(16));
        KrBytes list = Chunk("avih", main.Bytes());
        Append(list, Stream(list.size(), video.Bytes(), bitmap.Bytes(), m_found.videoIndexes, VideoId()));
        if (m_from.pcm)
        {
            const SKrPcmFormat& pcm = *m_from.pcm;
            CKrTestByteWriter audio;
            audio.FourCc("auds").Raw(KrBytes(16)).U32(1).U32(pcm.samplesPerSec).U32(0).U32(AudioSamples());
            audio.U32(largestAudio).U32(0).U32(pcm.BlockAlign()).Raw(KrBytes(8));
            CKrTestByteWriter wave;
            wave.U16(1).U16(pcm.channels).U32(pcm.samplesPerSec).U32(pcm.samplesPerSec * pcm.BlockAlign());
            wave.U16(pcm.BlockAlign()).U16(pcm.bitsPerSample).U16(0);
            Append(list, Stream(list.size(), audio.Bytes(), wave.Bytes(), m_found.audioIndexes, "01wb"));
        }
        KrBytes extended = CKrTestByteWriter().U32(Frames()).Bytes();
        extended.resize(248);
        Append(list, List("odml", Chunk("dmlh", extended)));
        return List("hdrl", list);
    }

    KrBytes Codec() const
    {
        return m_from.codec.empty() ? KrBytes(4) : KrBytes(m_from.codec.begin(), m_from.codec.end());
    }

    uint32_t AudioSamples() const
    {
        if (m_from.hasDirectChunks)
            return U32(AudioLengthPlace());
        uint64_t bytes = 0;
        for (const SKrWrittenChunk& chunk : m_found.audio)
            bytes += chunk.size;
        return static_cast<uint32_t>(bytes / m_from.pcm->BlockAlign());
    }

    // dwLength of the audio 'strh': after the video 'strl' of a fixed size.
    static uint64_t AudioLengthPlace() { return 12 + 12 + 64 + (12 + 64 + 48 + 32256) + 12 + 8 + 32; }

    // A 'strl' that starts after `before` bytes of the header list.
    KrBytes Stream(size_t before, const KrBytes& header, const KrBytes& format,
                   const std::vector<SKrWrittenIndex>& indexes, const std::string& id)
    {
        KrBytes content = Chunk("strh", header);
        Append(content, Chunk("strf", format));
        const size_t end = 12 + 12 + before + 12 + content.size();
        if (end % 4 != 0)
            Append(content, Chunk("JUNK", KrBytes(RoundUpTo(end + 8, 4) - end - 8)));
        Append(content, SuperIndex(indexes, id));
        return List("strl", content);
    }

    KrBytes SuperIndex(const std::vector<SKrWrittenIndex>& indexes, const std::string& id)
    {
        const size_t used = std::min<size_t>(indexes.size(), kSuperIndexEntries);
        CKrTestByteWriter out;
        out.U16(4).U8(0).U8(0).U32(static_cast<uint32_t>(used)).FourCc(id).Raw(KrBytes(12));
        for (size_t number = 0; number < used; ++number)
            out.U64(indexes[number].position).U32(kStdIndexSize).U32(Duration(indexes[number], id, number));
        KrBytes data = out.Bytes();
        data.resize(24 + 16 * kSuperIndexEntries);
        return Chunk("indx", data);
    }

    uint32_t Duration(const SKrWrittenIndex& index, const std::string& id, size_t number) const
    {
        if (id != "01wb")
            return static_cast<uint32_t>(std::min<size_t>(index.chunks.size(), kStdIndexEntries));
        if (m_from.hasDirectChunks)
            return U32(AudioLengthPlace() - 40 + 64 + 26 + 10 + 32 + 16 * number + 12);
        uint32_t samples = 0;
        for (const SKrWrittenChunk& chunk : index.chunks)
            samples += chunk.size / m_from.pcm->BlockAlign();
        return samples;
    }

    KrBytes PrivateChunks() const
    {
        CKrTestByteWriter aspect;
        aspect.U32Be(m_from.aspectHorizontal).U32Be(m_from.aspectVertical);
        CKrTestByteWriter krlA;
        krlA.FourCc("kori")
            .FourCc("n-av")
            .U8('i')
            .Raw(KrBytes(8))
            .U32(0x000F0000)
            .U8(m_from.scanMode)
            .Raw(aspect.Bytes());
        KrBytes krlABytes = krlA.Bytes();
        krlABytes.resize(508);
        CKrTestByteWriter prmA;
        prmA.FourCc("PARf").U32Be(20).U32Be(0x00010000).Raw(aspect.Bytes());
        CKrTestByteWriter ctsI;
        ctsI.U32(0x00020000).Raw(KrBytes(8)).Raw(KrBytes(12, 0xFF)).U8(m_from.scanMode);
        KrBytes ctsIBytes = ctsI.Bytes();
        ctsIBytes.resize(196);
        KrBytes chunks = Chunk("KrlA", krlABytes);
        Append(chunks, Chunk("PrmA", prmA.Bytes()));
        Append(chunks, Chunk("CtsI", ctsIBytes));
        return chunks;
    }

    const CKrFileContent& m_file;
    const SKrWritten& m_from;
    const SKrCheckedAvi& m_found;
};
} // namespace

KrBytes WrittenHeader(const CKrFileContent& file, const SKrWritten& from, const SKrCheckedAvi& found)
{
    return CHeader(file, from, found).Whole();
}
} // namespace KrTest
