// A host's own implementation of the parts of the reader interface that the queries use.
#ifndef KR_TESTS_RIFFUTILS_KRHOSTREADER_H
#define KR_TESTS_RIFFUTILS_KRHOSTREADER_H

#include "KrRiffUtils/IKrRiffReader.h"
#include "tests/support/KrByteWriter.h"
#include "tests/support/KrFileContent.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <vector>

namespace KrTest
{
// Segments with their direct children in memory. Records the operations that are called, and checks the
// guarantees for every implementation. Lives on the stack of a test: it counts references and never deletes
// itself. Walks belong to the calling thread, so that several may be under way at once.
class CHostReader : public IKrRiffReader
{
public:
    KR_IMPLEMENT_INTERFACE_DESTRUCTOR(CHostReader)

    struct SKrHostChunk
    {
        std::string id;
        KrBytes data;
        bool hasNode = true;
        size_t readable = SIZE_MAX; // most bytes that a read returns
    };
    struct SKrHostSegment
    {
        std::vector<SKrHostChunk> children{};
        bool walkFails = false;
        bool hasNode = true;
    };

    explicit CHostReader(std::vector<SKrHostSegment> segments) : m_segments(std::move(segments))
    {
        for (const SKrHostSegment& segment : m_segments)
        {
            m_segmentNodes.push_back({{FourCcValue("RIFF"), 4, FourCcValue("AVI "), 8}});
            std::vector<SKrRiffChunkNode>& nodes = m_childNodes.emplace_back();
            for (const SKrHostChunk& child : segment.children)
                nodes.push_back({{FourCcValue(child.id), static_cast<uint32_t>(child.data.size()), 0,
                                  m_nextOffset += 1000}});
        }
    }
    virtual ~CHostReader() = default;

    // Set before the first call.
    uint64_t length = 100'000;
    std::function<void()> inFirstSegment; // called in FindFirstRiffSegment

    int referencesTaken() const { return m_addRefs; }
    int referencesGiven() const { return m_releases; }
    std::vector<std::string> Log() const
    {
        const std::scoped_lock lock(m_mutex);
        return m_log;
    }

    uint32_t AddRef() override { return static_cast<uint32_t>(++m_addRefs) + 1; }
    uint32_t Release() override
    {
        ++m_releases;
        return 1;
    }

    uint64_t GetFileLength() override
    {
        Note("GetFileLength");
        return length;
    }
    int FindFirstRiffSegment() override
    {
        Note("FindFirstRiffSegment");
        if (inFirstSegment)
            inFirstSegment();
        t_segment = 0;
        return m_segments.empty() ? 0 : 1;
    }
    int FindNextRiffSegment(uint32_t* formType, uint32_t* size, uint64_t* dataOffset,
                            SKrRiffChunkNode** node) override
    {
        Note("FindNextRiffSegment");
        EXPECT_TRUE(formType != nullptr && size != nullptr && dataOffset != nullptr && node != nullptr);
        if (m_segments[t_segment].hasNode)
            *node = &m_segmentNodes[t_segment];
        return ++t_segment < m_segments.size() ? 1 : 0;
    }
    int FindFirstSubChunk(SKrRiffChunkNode* node) override
    {
        Note("FindFirstSubChunk");
        t_parent = static_cast<size_t>(node - m_segmentNodes.data());
        t_child = 0;
        EXPECT_LT(t_parent, m_segments.size());
        return m_segments[t_parent].walkFails || m_segments[t_parent].children.empty() ? 0 : 1;
    }
    int FindNextSubChunk(uint32_t* ckid, uint32_t* type, uint32_t* size, uint64_t* dataOffset,
                         SKrRiffChunkNode** node) override
    {
        Note("FindNextSubChunk");
        EXPECT_TRUE(ckid != nullptr && type != nullptr && size != nullptr && dataOffset != nullptr);
        SKrRiffChunkNode& child = m_childNodes[t_parent][t_child];
        *ckid = child.chunk.ckid;
        *type = 0;
        *size = child.chunk.cksize;
        *dataOffset = child.chunk.offset;
        if (node != nullptr && m_segments[t_parent].children[t_child].hasNode)
            *node = &child;
        return ++t_child < m_childNodes[t_parent].size() ? 1 : 0;
    }
    uint32_t ReadChunkData(const SKrRiffChunkInfo* chunk, uint8_t* buffer, uint32_t bufferSize) override
    {
        Note("ReadChunkData");
        EXPECT_GE(bufferSize, chunk->cksize);
        for (size_t segment = 0; segment < m_segments.size(); ++segment)
        {
            for (size_t index = 0; index < m_childNodes[segment].size(); ++index)
            {
                if (m_childNodes[segment][index].chunk.offset != chunk->offset)
                    continue;
                if (chunk->cksize <= 512)
                {
                    EXPECT_EQ(chunk, &m_childNodes[segment][index].chunk) << "the node's own record";
                    EXPECT_EQ(bufferSize, chunk->cksize);
                }
                const SKrHostChunk& child = m_segments[segment].children[index];
                const size_t count = std::min<size_t>({chunk->cksize, child.readable, child.data.size()});
                std::copy_n(child.data.begin(), count, buffer);
                return static_cast<uint32_t>(count);
            }
        }
        ADD_FAILURE() << "no such chunk";
        return 0;
    }

    // No query may call these.
    int Open(const wchar_t*) override { return Unexpected(); }
    void Close() override { Unexpected(); }
    uint32_t ReadAt(uint64_t, void*, uint32_t) override { return static_cast<uint32_t>(Unexpected()); }
    SKrRiffChunkInfo* GetLastRiffSegment() override
    {
        Unexpected();
        return nullptr;
    }
    int FindFirstChunk(const CDWordArray*, uint64_t) override { return Unexpected(); }
    int FindNextChunk(uint32_t*, uint32_t*, uint32_t*, uint64_t*, SKrRiffChunkInfo**) override
    {
        return Unexpected();
    }
    void EndChunkSearch() override { Unexpected(); }
    uint32_t GetVideoStreamInfo(SKrAviVideoParams*, uint32_t*, uint16_t*, int*, uint32_t*) override
    {
        return static_cast<uint32_t>(Unexpected());
    }
    int GetAudioStreamInfo(SKrWaveFormatInfo*, int*, uint32_t*, double*) override { return Unexpected(); }
    int LoadVideoIndex(CArray<SKrChunkIndexEntry>&) override { return Unexpected(); }
    int LoadAudioIndex(CArray<SKrChunkIndexEntry>&, SKrAudioChunkPattern*) override { return Unexpected(); }

    // A host that was built before these were there has no such operations.
    uint32_t GetStreamCount() override { return static_cast<uint32_t>(Unexpected()); }
    int GetStreamProperties(uint32_t, SKrStreamProperties*) override { return Unexpected(); }
    uint32_t ReadStreamFormat(uint32_t, void*, uint32_t) override
    {
        return static_cast<uint32_t>(Unexpected());
    }
    int LoadStreamIndex(uint32_t, uint64_t, CArray<SKrStreamIndexEntry>&) override { return Unexpected(); }
    int OpenGrowing(const wchar_t*) override { return Unexpected(); }
    int Refresh() override { return Unexpected(); }
    uint32_t GetGrowingState() override { return static_cast<uint32_t>(Unexpected()); }

private:
    void Note(const char* operation)
    {
        const std::scoped_lock lock(m_mutex);
        m_log.emplace_back(operation);
    }
    static int Unexpected()
    {
        ADD_FAILURE() << "a query has no use for this operation";
        return 0;
    }

    std::vector<SKrHostSegment> m_segments;
    std::vector<SKrRiffChunkNode> m_segmentNodes;
    std::vector<std::vector<SKrRiffChunkNode>> m_childNodes;
    uint64_t m_nextOffset = 0;
    std::atomic<int> m_addRefs = 0;
    std::atomic<int> m_releases = 0;
    mutable std::mutex m_mutex; // guards m_log
    std::vector<std::string> m_log;

    static inline thread_local size_t t_segment = 0;
    static inline thread_local size_t t_parent = 0;
    static inline thread_local size_t t_child = 0;
};
} // namespace KrTest

#endif
