// Reads the headers of a file once and fills the stream state.
#ifndef KR_READER_KRHEADERPARSER_H
#define KR_READER_KRHEADERPARSER_H

#include "KrRiffUtils/KrRiffTypes.h"
#include "format/KrAviHeaders.h"
#include "reader/KrStreamState.h"

#include <cstddef>
#include <cstdint>
#include <vector>

class CKrFileCursor;

// Parses one file into a state that has its initial values.
class CKrHeaderParser
{
public:
    // In a file that grows, containers whose size is not known yet reach to its end.
    CKrHeaderParser(CKrFileCursor& cursor, SKrStreamState& state, bool isGrowing = false)
        : m_cursor(cursor), m_state(state), m_isGrowing(isGrowing)
    {
    }

    // Parses the header list, then finds the ids of the data chunks. False when there is not a single chunk
    // where data chunks should be.
    // Kept: a header list that cannot be parsed does not fail the file, whose data chunks may still be of
    // use.
    [[nodiscard]] bool ParseFile();

private:
    [[nodiscard]] bool ReadRiffHeader(SKrRiffChunkInfo& riff);
    [[nodiscard]] bool FindMovi(const SKrRiffChunkInfo& riff, SKrRiffChunkInfo& movi);
    [[nodiscard]] bool DetectStreamChunks(const SKrRiffChunkInfo* movi);
    [[nodiscard]] bool ParseHeaderList(const SKrRiffChunkInfo& riff, const SKrRiffChunkInfo& hdrl);
    [[nodiscard]] bool ReadMainHeader(const SKrRiffChunkInfo& hdrl, SKrMainHeader& header);
    [[nodiscard]] bool ReadStreamHeader(SKrStreamHeader& header);
    [[nodiscard]] bool FindFormat(const SKrRiffChunkInfo& strl, SKrRiffChunkInfo& strf);
    [[nodiscard]] bool ReadFormat(const SKrRiffChunkInfo& strf, size_t usedBytes,
                                  std::vector<uint8_t>& bytes);

    // What became of one 'strl'.
    enum class EStream
    {
        Taken,   // or of a type that is not parsed: the parse continues after the list
        Skipped, // not usable: the parse continues from inside the list
        Failed   // ends the header list
    };

    struct SStream
    {
        const SKrRiffChunkInfo& riff;
        const SKrRiffChunkInfo& hdrl;
        SKrRiffChunkInfo strl = {};
        uint32_t number = 0;
        SKrStreamHeader header;
    };

    EStream ParseStream(const SKrMainHeader& mainHeader, SStream& stream);
    EStream TakeVideoStream(const SKrMainHeader& mainHeader, const SStream& stream);
    EStream TakeAudioStream(const SStream& stream);

    CKrFileCursor& m_cursor;
    SKrStreamState& m_state;
    const bool m_isGrowing;
};

#endif
