// Opens built files through the public interface and queries the content of their headers.
#ifndef KR_TESTS_READER_HEADERPARSESUPPORT_H
#define KR_TESTS_READER_HEADERPARSESUPPORT_H

#include "KrRiffUtils/KrRiffUtils.h"
#include "base/KrRef.h"
#include "tests/support/KrByteWriter.h"
#include "tests/support/KrSimpleAvi.h"
#include "tests/support/KrTempFolder.h"

#include <cstdint>
#include <cstring>
#include <string>

namespace KrTest
{
// The four characters of an id, or "none" for 0.
[[nodiscard]] inline std::string IdText(uint32_t id)
{
    std::string text;
    for (int shift = 0; shift < 32; shift += 8)
        text += static_cast<char>(id >> shift & 0xFF);
    return id == 0 ? "none" : text;
}

// The results of GetVideoStreamInfo. Fields that the reader does not write keep bytes of 0x5A.
struct SKrVideoAnswer
{
    SKrAviVideoParams format;
    uint32_t compression = 0x5A5A5A5A;
    uint16_t bitCount = 0x5A5A;
    int valid = 0x5A5A5A5A;
    uint32_t chunkId = 0x5A5A5A5A;
    uint32_t frames = 0;

    SKrVideoAnswer() { std::memset(&format, 0x5A, sizeof format); }
    [[nodiscard]] std::string Id() const { return IdText(chunkId); }
};

// The results of GetAudioStreamInfo.
struct SKrAudioAnswer
{
    SKrWaveFormatInfo format;
    int valid = 0x5A5A5A5A;
    uint32_t chunkId = 0x5A5A5A5A;
    double duration = -1;
    int status = 0;

    SKrAudioAnswer() { std::memset(&format, 0x5A, sizeof format); }
    [[nodiscard]] std::string Id() const { return status == 0 ? "none" : IdText(chunkId); }
};

[[nodiscard]] inline SKrVideoAnswer AskVideo(IKrRiffReader& reader)
{
    SKrVideoAnswer answer;
    answer.frames = reader.GetVideoStreamInfo(&answer.format, &answer.compression, &answer.bitCount,
                                              &answer.valid, &answer.chunkId);
    return answer;
}

[[nodiscard]] inline SKrAudioAnswer AskAudio(IKrRiffReader& reader)
{
    SKrAudioAnswer answer;
    answer.status =
        reader.GetAudioStreamInfo(&answer.format, &answer.valid, &answer.chunkId, &answer.duration);
    return answer;
}

// A file on disk and a reader after an Open of it.
class CKrParsedFile
{
public:
    explicit CKrParsedFile(const CKrFileContent& content)
    {
        if (KrCreateRiffReader(m_reader.Put()) == 1)
            m_status = m_reader->Open(m_folder.Write(L"parsed.avi", content).c_str());
    }
    explicit CKrParsedFile(const SKrSimpleAvi& avi) : CKrParsedFile(BuildSimpleAvi(avi).content) {}

    [[nodiscard]] int Status() const { return m_status; }
    [[nodiscard]] IKrRiffReader& Reader() const { return *m_reader; }
    [[nodiscard]] SKrVideoAnswer Video() const { return AskVideo(*m_reader); }
    [[nodiscard]] SKrAudioAnswer Audio() const { return AskAudio(*m_reader); }

private:
    CKrTempFolder m_folder;
    CKrRef<IKrRiffReader> m_reader; // destroyed before the folder
    int m_status = -1;
};
} // namespace KrTest

#endif
