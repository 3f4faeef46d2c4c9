// FourCCs as 32-bit values: the first character is the lowest byte, as the little-endian file has it.
#ifndef KR_FORMAT_KRFOURCC_H
#define KR_FORMAT_KRFOURCC_H

#include "format/KrLimits.h"

#include <cstdint>

constexpr uint32_t KrFourCC(const char (&text)[5])
{
    uint32_t value = 0;
    for (int index = 3; index >= 0; --index)
        value = value << 8 | static_cast<uint8_t>(text[index]);
    return value;
}

constexpr uint32_t KrFourCC(char first, char second, char third, char fourth)
{
    return KrFourCC({first, second, third, fourth, 0});
}

// The character at `index`, 0 to 3.
constexpr char KrFourCCChar(uint32_t fourcc, unsigned index)
{
    return static_cast<char>(fourcc >> (8 * index) & 0xFF);
}

// Containers and their types (AVI 1.0, OpenDML 1.02)
inline constexpr uint32_t kFccRiff = KrFourCC("RIFF");
inline constexpr uint32_t kFccList = KrFourCC("LIST");
inline constexpr uint32_t kFccAvi = KrFourCC("AVI ");
inline constexpr uint32_t kFccAvix = KrFourCC("AVIX");
inline constexpr uint32_t kFccHdrl = KrFourCC("hdrl");
inline constexpr uint32_t kFccStrl = KrFourCC("strl");
inline constexpr uint32_t kFccMovi = KrFourCC("movi");
inline constexpr uint32_t kFccOdml = KrFourCC("odml");
inline constexpr uint32_t kFccRec = KrFourCC("rec ");
inline constexpr uint32_t kFccInfo = KrFourCC("INFO");

// Header chunks and stream types
inline constexpr uint32_t kFccAvih = KrFourCC("avih");
inline constexpr uint32_t kFccStrh = KrFourCC("strh");
inline constexpr uint32_t kFccStrf = KrFourCC("strf");
inline constexpr uint32_t kFccStrn = KrFourCC("strn"); // name of a stream
inline constexpr uint32_t kFccStrd = KrFourCC("strd"); // data for its codec
inline constexpr uint32_t kFccVprp = KrFourCC("vprp"); // video properties
inline constexpr uint32_t kFccDmlh = KrFourCC("dmlh");
inline constexpr uint32_t kFccVids = KrFourCC("vids");
inline constexpr uint32_t kFccAuds = KrFourCC("auds");
inline constexpr uint32_t kFccTxts = KrFourCC("txts");

// Texts about the file: date, time code, software
inline constexpr uint32_t kFccIdit = KrFourCC("IDIT");
inline constexpr uint32_t kFccIsmp = KrFourCC("ISMP");
inline constexpr uint32_t kFccIsft = KrFourCC("ISFT");

// Indexes and filler
inline constexpr uint32_t kFccIdx1 = KrFourCC("idx1");
inline constexpr uint32_t kFccIndx = KrFourCC("indx");
inline constexpr uint32_t kFccIx00 = KrFourCC("ix00");
inline constexpr uint32_t kFccIx01 = KrFourCC("ix01");
inline constexpr uint32_t kFccJunk = KrFourCC("JUNK");
inline constexpr uint32_t kFccJunq = KrFourCC("JUNQ");         // in place of 'JUNK', by some programs
inline constexpr uint32_t kFccPad = KrFourCC("PAD ");          // likewise
inline constexpr uint32_t kFccAbsoluteIdx1 = KrFourCC("7Fxx"); // entry that belongs to no chunk

// Codecs
inline constexpr uint32_t kFccMjpg = KrFourCC("MJPG");
inline constexpr uint32_t kFccDib = KrFourCC("DIB "); // by which headers and users name uncompressed frames

// Private information chunks
inline constexpr uint32_t kFccKrlA = KrFourCC("KrlA");
inline constexpr uint32_t kFccPrmA = KrFourCC("PrmA");
inline constexpr uint32_t kFccCtsI = KrFourCC("CtsI");

// Kinds of stream data, the last two characters of a data chunk's id
enum class EKrDataKind : uint16_t
{
    CompressedVideo = 'd' | 'c' << 8,
    UncompressedVideo = 'd' | 'b' << 8,
    Audio = 'w' | 'b' << 8
};

// Data chunk id of a stream below kDataStreamLimit, such as '0adc' for stream 10.
constexpr uint32_t KrDataChunkId(uint32_t stream, EKrDataKind kind)
{
    const uint32_t digit = static_cast<uint8_t>("0123456789abcdef"[stream % kDataStreamLimit]);
    return uint32_t{'0'} | digit << 8 | static_cast<uint32_t>(kind) << 16;
}

// No stream: of a chunk id that names none.
inline constexpr uint32_t kNotAStream = 0xFFFFFFFF;

// The stream that a data chunk belongs to, 0 to 99, as AVI writers number them: in decimal. kNotAStream for
// other ids, those of index chunks among them ('ix00', and '00ix' of some writers).
constexpr uint32_t KrStreamNumber(uint32_t chunkId)
{
    const uint32_t tens = (chunkId & 0xFF) - '0';
    const uint32_t ones = (chunkId >> 8 & 0xFF) - '0';
    const bool isIndex = chunkId >> 16 == (uint32_t{'i'} | uint32_t{'x'} << 8);
    return tens < 10 && ones < 10 && !isIndex ? tens * 10 + ones : kNotAStream;
}

#endif
