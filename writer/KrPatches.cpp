#include "writer/KrPatches.h"

#include "format/KrBytes.h"

#include <array>
#include <mutex>

void CKrPatches::Put32(const SKrPatchPlace& place, uint32_t value, EKrPatch kind)
{
    std::array<uint8_t, 4> bytes;
    PutLe32(bytes.data(), value);
    Put(place, bytes, kind);
}

void CKrPatches::Put(const SKrPatchPlace& place, KrByteSpan bytes, EKrPatch kind)
{
    if (!place)
        return;
    if (!m_deferred)
    {
        place.view->Put(place.offset, bytes);
        return;
    }
    SKrPatch patch{place, {bytes.begin(), bytes.end()}};
    const std::lock_guard guard(m_lock);
    if (kind == EKrPatch::Name)
        m_waiting.names.push_back(std::move(patch));
    else
        m_waiting.counts[{place.view.get(), place.offset}] = std::move(patch);
}

void CKrPatches::SetFramesInIndex(uint64_t frames)
{
    if (!m_deferred)
    {
        m_framesInIndex = frames;
        return;
    }
    const std::lock_guard guard(m_lock);
    m_waiting.hasFrames = true;
    m_waiting.framesInIndex = frames;
}

CKrPatches::SKrWaiting CKrPatches::TakeWaiting()
{
    const std::lock_guard guard(m_lock);
    return std::exchange(m_waiting, {});
}

// In front of what was put meanwhile. Takes no memory.
void CKrPatches::PutBack(SKrWaiting& waiting)
{
    const std::lock_guard guard(m_lock);
    m_waiting.names.splice(m_waiting.names.begin(), waiting.names);
    m_waiting.counts.merge(waiting.counts); // what is in both stays as it was put last
    if (!m_waiting.hasFrames)
    {
        m_waiting.hasFrames = waiting.hasFrames;
        m_waiting.framesInIndex = waiting.framesInIndex;
    }
}

void CKrPatches::ApplyCounts(const SKrWaiting& waiting)
{
    for (const auto& [key, patch] : waiting.counts)
        patch.place.view->Put(patch.place.offset, patch.bytes);
    if (waiting.hasFrames)
        m_status.SetFramesInIndex(waiting.framesInIndex);
}

void CKrPatches::Publish(const std::function<bool()>& flush)
{
    SKrWaiting waiting = TakeWaiting();
    if (!flush())
    {
        PutBack(waiting);
        return;
    }
    const bool hasNames = !waiting.names.empty();
    for (const SKrPatch& patch : waiting.names)
        patch.place.view->Put(patch.place.offset, patch.bytes);
    waiting.names.clear();
    if (hasNames && !flush())
        PutBack(waiting);
    else
        ApplyCounts(waiting);
}

void CKrPatches::PublishUnflushed()
{
    const SKrWaiting waiting = TakeWaiting();
    for (const SKrPatch& patch : waiting.names)
        patch.place.view->Put(patch.place.offset, patch.bytes);
    ApplyCounts(waiting);
}
