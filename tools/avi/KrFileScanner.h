// One pass over a file, damaged or not, from header to header. It reports lists, chunks, padding and gaps, so
// that each byte is given to one of them.
#ifndef KR_TOOLS_AVI_KRFILESCANNER_H
#define KR_TOOLS_AVI_KRFILESCANNER_H

#include "tools/avi/KrChunkFinder.h"
#include "tools/avi/KrChunkKinds.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace KrTool
{
// Which sizes a scan trusts where they contradict each other.
enum class EKrTrust
{
    ListSizes,  // known lists end by size, unless a chunk that overruns them leads to another
    ChunkSizes, // lists end by size, except for chunks that overrun them; a segment ends all before it
    Followers   // lists of any size are entered, and a chunk's size is correct if its follower confirms it
};

struct SKrScanRules
{
    EKrTrust trust = EKrTrust::ListSizes;
    GuessSet chunks = 0;           // accepted as chunks or lists where they occur
    bool reportsZeros = false;     // separately from gaps
    size_t levels = kDeepestLevel; // entered, including the file itself
    bool entersAnyList = false;    // with ListSizes: also lists of types that AVI files do not have
    SKrSearchRules search;
};

// A list that the scan is in. The first one is the file itself.
struct SKrScannedList
{
    EKrListKind kind = EKrListKind::File;
    uint32_t type = 0;
    uint32_t size = 0;       // as stored
    uint64_t position = 0;   // of the header
    uint64_t end = 0;        // of what is scanned
    uint64_t claimedEnd = 0; // by its own size
    bool isUnset = false;    // its size was never written
    bool isOpen = false;     // the size is wrong: anything that cannot be inside ends the list
    bool hasChildren = false;
};

struct SKrScannedChunk
{
    SKrChunkGuess guess;
    uint64_t position = 0; // of the header
    uint64_t end = 0;      // of what is there
};

// Events of a scan, in file order. `around`: the lists around the position, the innermost last; it has no
// children yet when the first one is reported.
class IKrScanListener
{
public:
    using Lists = std::span<const SKrScannedList>;

    virtual ~IKrScanListener() = default;

    // A list or segment begins; it is not among those around it.
    virtual void OnList(const SKrScannedList& list, Lists around) = 0;
    virtual void OnListEnd(const SKrScannedList&, Lists /*around*/, uint64_t /*position*/) {}

    // A segment extends past the start of the next one.
    virtual void OnSegmentOverlap(const SKrScannedList& /*segment*/, uint64_t /*position*/) {}

    // A chunk with its header; also a list that is not entered.
    virtual void OnChunk(const SKrScannedChunk& chunk, Lists around) = 0;

    // The next chunk ends, according to its size, at `claimedEnd`: outside its list or, if truncated, outside
    // the file.
    virtual void OnOverrun(const SKrScannedChunk&, Lists /*around*/, uint64_t /*claimedEnd*/, bool /*isCut*/)
    {
    }

    // The size of the next chunk leads into the middle of one of the chunks that follow each other inside it;
    // it ends where the first of them begins.
    virtual void OnWrongSize(const SKrScannedChunk& /*chunk*/) {}

    // A chunk with truncated data. The gap after it begins with its header.
    virtual void OnLostChunk(const SKrChunkGuess&) {}

    virtual void OnPadding(uint64_t /*position*/) {}
    virtual void OnMissingPadding(uint64_t /*position*/, uint32_t /*idThere*/) {}

    // Eight zero bytes or more.
    virtual void OnZeros(uint64_t /*from*/, uint64_t /*to*/, Lists /*around*/) {}

    // Bytes that belong to no chunk.
    virtual void OnGap(uint64_t from, uint64_t to, bool isZeros, Lists around) = 0;

    // Whether the listener is full: the rest is then one gap.
    [[nodiscard]] virtual bool IsFull() const { return false; }
};

class CKrFileScanner
{
public:
    // `rules` must outlive the scanner.
    CKrFileScanner(const CKrByteSource& file, const SKrScanRules& rules, IKrScanListener& listener,
                   CKrProgress& progress);

    // Only moves forward, so that overlapping lists cost nothing. `step`: shown as progress.
    void Run(const std::string& step);

private:
    void Step();
    [[nodiscard]] bool TakeList(const SKrChunkGuess& guess);
    void EnterSegment(const SKrChunkGuess& guess);
    void EnterList(const SKrChunkGuess& guess, const SKrListKind& kind);
    void Enter(const SKrScannedList& list);
    void LeaveList(uint64_t position);
    void LeaveEndedLists();

    [[nodiscard]] bool TakeChunk(const SKrChunkGuess& guess);
    void TakeByLists(const SKrChunkGuess& guess);
    [[nodiscard]] bool TakeByChunks(const SKrChunkGuess& guess);
    void TakeByFollowers(const SKrChunkGuess& guess);
    void TakeDoubtful(const SKrChunkGuess& guess);
    void Report(const SKrChunkGuess& guess, uint64_t end);
    void ReportOverrun(const SKrChunkGuess& guess, uint64_t end, bool isCut);

    [[nodiscard]] uint64_t ClaimedEnd(const SKrChunkGuess& guess) const;
    [[nodiscard]] bool IsCut(uint64_t end) const;
    uint64_t ResolveEnd(const SKrChunkGuess& guess);
    uint64_t ProvenEnd(const SKrChunkGuess& guess);
    [[nodiscard]] bool LeadsOn(uint64_t end);
    [[nodiscard]] bool IsRow(uint64_t position, uint64_t end);
    void ExtendLists(uint64_t end);
    void CloseOpenLists(uint32_t places);
    void MoveTo(uint64_t position, bool isOddChunk);
    void Align(bool isOddChunk);
    uint64_t PositionAfter(uint64_t end, uint32_t size);

    void PassZeros();
    void PassGap(uint64_t to);

    [[nodiscard]] bool TrustsLists() const { return m_rules.trust == EKrTrust::ListSizes; }
    SKrScannedList& Top() { return m_lists.back(); }

    const uint64_t m_length;
    const SKrScanRules& m_rules;
    IKrScanListener& m_listener;
    CKrProgress& m_progress;
    CKrChunkFinder m_finder;
    std::vector<SKrScannedList> m_lists;
    uint64_t m_position = 0;
};
} // namespace KrTool

#endif
