// What kravi verify looks for: one table of checks, which the verb lists and the documents follow.
#ifndef KR_TOOLS_VERIFY_KRCHECKS_H
#define KR_TOOLS_VERIFY_KRCHECKS_H

#include <cstddef>
#include <cstdint>
#include <span>

namespace KrTool
{
enum class EKrSeverity : uint8_t
{
    Error,   // readers fail or lose data
    Warning, // some programs trip over it
    Note     // worth knowing
};

// In the order of the table.
enum class EKrCheck : uint8_t
{
    RiffMissing,
    ReaderRefuses,
    SegmentType,
    SegmentBeyondFile,
    SegmentSizeUnset,
    SegmentOverlap,
    SegmentGap,
    SegmentBeyond1Gib,
    SegmentBeyond2Gib,
    TrailingData,
    ChunkOutsideSegment,
    ChunkCut,
    ChunkOverrunsList,
    ListOverrunsList,
    ListSizeUnset,
    ListUnknown,
    ListTooDeep,
    ChunkUnknown,
    ChunkMisplaced,
    ChunkRepeated,
    HeaderOrder,
    UnknownData,
    ZeroRun,
    PaddingMissing,
    PaddingByFiller,
    HdrlMissing,
    MoviMissing,
    MoviFirstNotData,
    RecList,
    ChunkEmpty,
    ChunkEmptyRun,
    DataOutsideMovi,
    DataNoStream,
    DataKind,
    ChunksTooMany,
    SegmentsTooMany,
    StreamsTooMany,

    AvihMissing,
    AvihShort,
    AvihStreams,
    AvihFrames,
    AvihFrameTime,
    AvihNoIndexFlag,
    AvihMustUseIndex,
    AvihPictureSize,
    AvihBufferSmall,
    StrhMissing,
    StrhShort,
    StrhWide,
    StrhType,
    StrhRateZero,
    StrhLength,
    StrhBufferSmall,
    StrhSampleSize,
    StrhAudioRate,
    StrfMissing,
    StrfShort,
    StrfOwnSize,
    StrfPictureSize,
    StrfTopDown,
    StrfBitCount,
    StrfAudioZero,
    StrfBlockAlign,
    StrfByteRate,
    StrfExtraSize,
    AudioChunkSplit,
    StreamEmpty,
    DmlhMissing,
    DmlhShort,
    DmlhFrames,

    IndexMissing,
    Idx1Absent,
    Idx1Rest,
    Idx1Marker,
    Idx1OffsetsAbsolute,
    Idx1OffsetsMarked,
    Idx1BaseUnusual,
    Idx1OffsetZero,
    Idx1OffsetRepeated,
    Idx1EntryNoChunk,
    Idx1EntryInChunk,
    Idx1SizeDiffers,
    Idx1IdDiffers,
    Idx1IdUnknown,
    Idx1OutOfOrder,
    Idx1ChunkMissing,
    Idx1NoKeyFrame,
    Idx1FirstNotKey,
    Idx1SoundNotKey,

    IndxMissing,
    IndxNoneForSegments,
    IndxShort,
    IndxShape,
    IndxReserved,
    IndxIdDiffers,
    IndxEmpty,
    IndxCount,
    IndxEntryZero,
    IndxEntryRepeated,
    IndxEntryNoIndex,
    IndxEntrySize,
    IndxDuration,
    IndxOutOfOrder,
    IxUnreferenced,
    IxShort,
    IxShape,
    IxWide,
    IxIdDiffers,
    IxCount,
    IxOffsetAtHeader,
    IxOffsetRepeated,
    IxEntryNoChunk,
    IxEntryInChunk,
    IxSizeDiffers,
    IxOtherStream,
    IxOutOfOrder,
    IxChunkMissing,
    IxNoKeyFrame,
    IndexKeyDiffers,

    PrivateMissing,
    PrivateSize,
    PrivateUnreadable,
    PrivateScanMode,
    PrivateModesDiffer,
    PrivateAspectsDiffer,
    PrivateAspectZero,
    PrivatePlace,

    Count
};

inline constexpr size_t kCheckCount = static_cast<size_t>(EKrCheck::Count);

struct SKrCheck
{
    EKrCheck check;
    const char* code; // stable: scripts look for it
    EKrSeverity severity;
    const char* meaning;
    const char* hint;
};

// All checks, in the order of the enumeration.
std::span<const SKrCheck> AllChecks();
const SKrCheck& CheckOf(EKrCheck check);
const char* SeverityName(EKrSeverity severity);
} // namespace KrTool

#endif
