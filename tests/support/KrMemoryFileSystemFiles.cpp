#include "tests/support/KrMemoryFileSystemFiles.h"

#include "platform/KrFileRange.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace KrTest
{
class CKrMemoryView final : public IKrMappedView
{
public:
    CKrMemoryView(KrDiskPointer disk, KrNodePointer node, uint64_t position, size_t length)
        : m_disk(std::move(disk)), m_node(std::move(node)), m_position(position),
          m_bytes(m_node->content.Range(position, length))
    {
        m_node->views.insert(this);
        ++m_disk->openViews;
        m_disk->mostOpenViews = std::max(m_disk->mostOpenViews, m_disk->openViews);
    }

    ~CKrMemoryView() override
    {
        const std::scoped_lock lock(m_disk->mutex);
        PutInto(m_node->content);
        m_node->views.erase(this);
        --m_disk->openViews;
    }

    uint8_t* Data() override { return m_bytes.data(); }

    [[nodiscard]] uint64_t End() const { return m_position + m_bytes.size(); }

    [[nodiscard]] bool Overlaps(uint64_t position, uint64_t length) const
    {
        return position < m_position + m_bytes.size() && m_position < position + length;
    }

    // Writes to the file are visible in the view.
    void Take(uint64_t position, KrByteSpan bytes)
    {
        if (!Overlaps(position, bytes.size()))
            return;
        const uint64_t start = std::max(position, m_position);
        const uint64_t end = std::min(position + bytes.size(), m_position + m_bytes.size());
        std::memcpy(m_bytes.data() + (start - m_position), bytes.data() + (start - position), end - start);
    }

    // What is put into the view is seen by those who read the file.
    void GiveTo(uint64_t position, std::span<uint8_t> bytes)
    {
        if (!Overlaps(position, bytes.size()))
            return;
        const uint64_t start = std::max(position, m_position);
        const uint64_t end = std::min(position + bytes.size(), m_position + m_bytes.size());
        std::memcpy(bytes.data() + (start - position), m_bytes.data() + (start - m_position), end - start);
    }

    void PutInto(CKrFileContent& content) const { content.Put(m_position, m_bytes); }

private:
    KrDiskPointer m_disk;
    KrNodePointer m_node;
    uint64_t m_position;
    KrBytes m_bytes;
};

namespace
{
constexpr uint32_t kBadPosition = 22;
constexpr uint32_t kDiskFull = 28;
constexpr size_t kHolePiece = 4096;   // zeros in blocks of this size are not stored at the end of a file
constexpr size_t kSmallestHole = 128; // below it the bytes cost less than the bookkeeping

class CMemoryFile final : public IKrFile
{
public:
    CMemoryFile(KrDiskPointer disk, KrNodePointer node) : m_disk(std::move(disk)), m_node(std::move(node))
    {
        ++m_node->readers;
        ++m_disk->openFiles;
    }

    ~CMemoryFile() override
    {
        const std::scoped_lock lock(m_disk->mutex);
        --m_node->readers;
        --m_disk->openFiles;
    }

    // A file open for reading cannot be written: no lock is needed.
    std::optional<uint64_t> Size() override { return m_node->content.Size(); }

    bool Seek(uint64_t position) override { return KrPlatform::IsFilePosition(position); }

    SKrTransfer ReadAt(uint64_t position, void* buffer, size_t count) override
    {
        if (!KrPlatform::IsFilePosition(position))
            return {0, kBadPosition};
        return {m_node->content.Read(position, buffer, count), 0};
    }

private:
    KrDiskPointer m_disk;
    KrNodePointer m_node;
};

// A file that may be written meanwhile. What is in views is in the file.
class CFollowedFile final : public IKrFile
{
public:
    CFollowedFile(KrDiskPointer disk, KrNodePointer node) : m_disk(std::move(disk)), m_node(std::move(node))
    {
        ++m_disk->openFiles;
    }

    ~CFollowedFile() override
    {
        const std::scoped_lock lock(m_disk->mutex);
        --m_disk->openFiles;
        m_node->readers -= m_isReader ? 1 : 0;
    }

    std::optional<uint64_t> Size() override
    {
        const std::scoped_lock lock(m_disk->mutex);
        return m_node->content.Size();
    }

    bool Seek(uint64_t position) override { return KrPlatform::IsFilePosition(position); }

    SKrTransfer ReadAt(uint64_t position, void* buffer, size_t count) override
    {
        if (!KrPlatform::IsFilePosition(position))
            return {0, kBadPosition};
        const std::scoped_lock lock(m_disk->mutex);
        const size_t got = m_node->content.Read(position, buffer, count);
        for (CKrMemoryView* const view : m_node->views)
            view->GiveTo(position, {static_cast<uint8_t*>(buffer), got});
        return {got, 0};
    }

    bool ShareWithReadersOnly() override
    {
        const std::scoped_lock lock(m_disk->mutex);
        if (m_node->writers > 0)
            return false;
        m_node->readers += m_isReader ? 0 : 1;
        m_isReader = true;
        return true;
    }

private:
    KrDiskPointer m_disk;
    KrNodePointer m_node;
    bool m_isReader = false;
};

class CMemoryWritableFile final : public IKrWritableFile
{
public:
    CMemoryWritableFile(KrDiskPointer disk, KrNodePointer node)
        : m_disk(std::move(disk)), m_node(std::move(node))
    {
        ++m_node->writers;
        ++m_disk->openFiles;
        ++m_disk->openWritableFiles;
    }

    ~CMemoryWritableFile() override
    {
        const std::scoped_lock lock(m_disk->mutex);
        --m_node->writers;
        --m_disk->openFiles;
        --m_disk->openWritableFiles;
    }

    SKrTransfer WriteAt(uint64_t position, std::span<const KrByteSpan> parts) override
    {
        const std::scoped_lock lock(m_disk->mutex);
        SKrTransfer total;
        for (const KrByteSpan part : parts)
        {
            if (part.empty())
                continue;
            const uint64_t at = position + total.bytes;
            if (!KrPlatform::IsFilePosition(at))
                return {total.bytes, kBadPosition};
            const uint64_t room = m_disk->capacity - std::min(m_disk->capacity, at);
            const auto written = static_cast<size_t>(std::min<uint64_t>(part.size(), room));
            Put(at, part.first(written));
            for (CKrMemoryView* const view : m_node->views)
                view->Take(at, part.first(written));
            total.bytes += written;
            if (written < part.size())
                return {total.bytes, kDiskFull};
        }
        return total;
    }

    SKrFlushOutcome Flush() override { return {true, 0}; }

    std::unique_ptr<IKrMappedView> Map(uint64_t position, size_t length) override
    {
        const std::scoped_lock lock(m_disk->mutex);
        if (!KrPlatform::IsRangeInside(position, length, m_node->content.Size()))
            return nullptr;
        for (const CKrMemoryView* const view : m_node->views)
        {
            if (view->Overlaps(position, length))
                throw std::logic_error("views that overlap");
        }
        return std::make_unique<CKrMemoryView>(m_disk, m_node, position, length);
    }

    bool CutTo(uint64_t size) override
    {
        const std::scoped_lock lock(m_disk->mutex);
        if (!KrPlatform::IsFilePosition(size) || size > std::max(m_disk->capacity, m_node->content.Size()))
            return false;
        for (const CKrMemoryView* const view : m_node->views)
        {
            if (view->End() > size)
                throw std::logic_error("a view past the new end");
        }
        m_node->content.Resize(size);
        m_node->reserved = size;
        return true;
    }

    bool ReserveTo(uint64_t size) override
    {
        const std::scoped_lock lock(m_disk->mutex);
        if (size > m_disk->capacity)
            return false;
        m_node->reserved = std::max(m_node->reserved, size);
        return true;
    }

private:
    static bool IsZero(KrByteSpan bytes)
    {
        static constexpr uint8_t zeros[kHolePiece] = {};
        return bytes.size() <= sizeof zeros && std::memcmp(bytes.data(), zeros, bytes.size()) == 0;
    }

    // Zeros past the end become a hole.
    void Put(uint64_t position, KrByteSpan bytes)
    {
        CKrFileContent& content = m_node->content;
        while (!bytes.empty())
        {
            size_t count = std::min(bytes.size(), kHolePiece);
            if (position >= content.Size() && count >= kSmallestHole && IsZero(bytes.first(count)))
                content.Resize(position + count);
            else
                content.Put(position, bytes.first(count));
            position += count;
            bytes = bytes.subspan(count);
        }
    }

    KrDiskPointer m_disk;
    KrNodePointer m_node;
};
} // namespace

std::unique_ptr<IKrFile> MakeMemoryFile(KrDiskPointer disk, KrNodePointer node)
{
    return std::make_unique<CMemoryFile>(std::move(disk), std::move(node));
}

std::unique_ptr<IKrWritableFile> MakeWritableMemoryFile(KrDiskPointer disk, KrNodePointer node)
{
    return std::make_unique<CMemoryWritableFile>(std::move(disk), std::move(node));
}

std::unique_ptr<IKrFile> MakeFollowedMemoryFile(KrDiskPointer disk, KrNodePointer node)
{
    return std::make_unique<CFollowedFile>(std::move(disk), std::move(node));
}

CKrFileContent ContentWithViews(const CKrMemoryFileSystem::SKrNode& node)
{
    CKrFileContent content = node.content;
    for (const CKrMemoryView* const view : node.views)
        view->PutInto(content);
    return content;
}
} // namespace KrTest
