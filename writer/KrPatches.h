// Changes of what is in the file already: entries of indexes, counts and sizes.
#ifndef KR_WRITER_KRPATCHES_H
#define KR_WRITER_KRPATCHES_H

#include "platform/KrPlatform.h"
#include "platform/KrSync.h"
#include "writer/KrRecordingStatus.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

// A place in a mapped part of the file; none where that could not be mapped.
struct SKrPatchPlace
{
    std::shared_ptr<IKrMappedView> view;
    size_t offset = 0;

    explicit operator bool() const { return view != nullptr; }
    [[nodiscard]] SKrPatchPlace At(size_t further) const { return {view, offset + further}; }
};

enum class EKrPatch
{
    Name, // says where bytes lie; nobody looks at it before it is counted
    Count // a count, a size, a duration: what makes others look
};

// At once, or so that the disk never holds a name of bytes that it does not hold, or a count of such names:
// names wait until the bytes are on the disk, counts until the names are. One thread puts, another may
// publish.
class CKrPatches
{
public:
    explicit CKrPatches(CKrRecordingStatus& status) : m_status(status) {}

    // From now on patches wait until they are published.
    void Defer() { m_deferred = true; }
    [[nodiscard]] bool AreDeferred() const { return m_deferred; }

    void Put(const SKrPatchPlace& place, KrByteSpan bytes, EKrPatch kind);
    void Put32(const SKrPatchPlace& place, uint32_t value, EKrPatch kind);

    // How many frames the counts that were put so far make readers find. The status is told when they are
    // published, or by whoever asks where they do not wait.
    void SetFramesInIndex(uint64_t frames);
    [[nodiscard]] std::optional<uint64_t> FramesInIndex() const
    {
        return m_deferred ? std::nullopt : std::optional(m_framesInIndex);
    }

    // Publishes what was put before the call, between flushes. `flush` answers whether the disk holds what
    // was written and put before; where it does not, what is left waits for the next time.
    void Publish(const std::function<bool()>& flush);

    // All that waits, whatever the disk holds: at the end of a recording whose flushes fail.
    void PublishUnflushed();

private:
    struct SKrPatch
    {
        SKrPatchPlace place;
        std::vector<uint8_t> bytes;
    };

    // The later of two counts in one place is the one that counts.
    using KrCounts = std::map<std::pair<const IKrMappedView*, size_t>, SKrPatch>;

    struct SKrWaiting
    {
        std::list<SKrPatch> names;
        KrCounts counts;
        bool hasFrames = false;
        uint64_t framesInIndex = 0;
    };

    [[nodiscard]] SKrWaiting TakeWaiting();
    void PutBack(SKrWaiting& waiting);
    void ApplyCounts(const SKrWaiting& waiting);

    CKrRecordingStatus& m_status;
    bool m_deferred = false;      // changes before other threads come
    uint64_t m_framesInIndex = 0; // where nothing waits
    CKrMutex m_lock;              // held for a few instructions, no lock follows; guards what follows
    SKrWaiting m_waiting;
};

#endif
