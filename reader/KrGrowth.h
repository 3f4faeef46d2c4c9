// What changes in a file that another process is writing.
#ifndef KR_READER_KRGROWTH_H
#define KR_READER_KRGROWTH_H

#include "reader/KrFileLayout.h"
#include "reader/KrGrowingIndex.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <vector>

class CKrStreamIndexes;
class IKrFile;

enum class EKrGrowingState : uint32_t
{
    NotGrowing = 0, // not opened as growing
    BeingWritten = 1,
    Complete = 2,
    Abandoned = 3
};

enum class EKrNews
{
    None,
    More,
    Failed
};

// Follows one open file. What it tells is that of the last look that succeeded: one that fails changes
// nothing. Each look reads the headers as a whole, the last segment's, and the head of the index chunk that
// each stream fills now: as many calls for a short file as for a long one. Guarded by the reader's lock.
class CKrGrowth
{
public:
    CKrGrowth(IKrFile& file, CKrStreamIndexes& indexes) : m_file(file), m_indexes(indexes) {}

    // The first look. False when the file cannot be read, or its 'hdrl' is not complete.
    [[nodiscard]] bool Start(uint64_t fileSize);

    // The writer's share mode is asked for when there is nothing new, and kept once nobody writes any more.
    // What is new stays new until Told is called, also over a refresh that fails.
    [[nodiscard]] EKrNews Refresh();
    void Told() { m_isTold = true; }

    [[nodiscard]] uint64_t Size() const { return m_now.size; }
    [[nodiscard]] uint32_t TotalFrames() const { return m_now.totalFrames; }
    [[nodiscard]] const KrSegments& Segments() const { return m_now.segments; }
    [[nodiscard]] const std::shared_ptr<const KrStreamLists>& Streams() const { return m_now.streams; }
    [[nodiscard]] EKrGrowingState State() const { return m_state; }

private:
    struct SLook // all that one look finds
    {
        uint64_t size = 0;
        std::vector<uint8_t> header; // from the start of the file to that of the first data
        uint32_t totalFrames = 0;
        KrSegments segments;
        std::shared_ptr<const KrStreamLists> streams;
    };

    struct SStoredSizes // of the last segment, as they stand in the file
    {
        uint32_t riff = 0;
        uint32_t movi = 0;
    };

    [[nodiscard]] EKrNews Look();
    [[nodiscard]] bool ReadHeader(SLook& look);
    [[nodiscard]] bool ParseHeader(SLook& look) const;
    [[nodiscard]] bool ReadSizes(const SLook& look, SStoredSizes& stored);
    [[nodiscard]] bool ReadIndexHeads(const SLook& look);
    [[nodiscard]] bool FollowSegments(SLook& look, const SStoredSizes& stored, bool& changed);
    [[nodiscard]] bool CheckIndexes(const SLook& look);
    [[nodiscard]] bool AddIndexes(const SLook& look);
    [[nodiscard]] bool FindEndState();
    [[nodiscard]] static std::span<const uint8_t> IndexIn(const SLook& look, uint32_t stream);

    IKrFile& m_file;
    CKrStreamIndexes& m_indexes;
    SLook m_now;
    size_t m_headerSize = 0;
    std::vector<uint8_t> m_spare;                  // memory for the next header
    std::array<uint8_t, 64> m_sizes{};             // of the last segment, with what lies between them
    size_t m_sizesRead = 0;                        // bytes of it
    uint64_t m_sizesAt = 0;                        // where it starts
    std::map<uint32_t, CKrGrowingIndex> m_growing; // by stream
    uint32_t m_nextHead = 0;                       // stream whose turn it is, where there are many
    bool m_isKept = false;                         // nobody writes, and nobody can
    bool m_isTold = false;                         // everything up to the last look
    EKrGrowingState m_state = EKrGrowingState::BeingWritten;
};

#endif
