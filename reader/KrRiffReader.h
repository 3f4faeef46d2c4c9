// The implementation of IKrRiffReader. Its operations stand in KrRiffReader.cpp (the open file, walks,
// searches, raw reads, files that another process is writing) and KrRiffReaderStreams.cpp (streams and
// indexes).
#ifndef KR_READER_KRRIFFREADER_H
#define KR_READER_KRRIFFREADER_H

#include "KrRiffUtils/IKrRiffReader.h"
#include "base/KrObject.h"
#include "base/KrReentrantLock.h"
#include "platform/KrPlatform.h"
#include "platform/KrSync.h"
#include "reader/KrChunkSearch.h"
#include "reader/KrChunkTree.h"
#include "reader/KrFileCursor.h"
#include "reader/KrGrowth.h"
#include "reader/KrStreamIndexes.h"
#include "reader/KrStreamState.h"
#include "reader/KrStreamTable.h"

#include <cstdint>
#include <memory>
#include <string>

class CKrRiffReader final : public CKrObject<IKrRiffReader>
{
public:
    explicit CKrRiffReader(IKrFileSystem& fileSystem);
    ~CKrRiffReader() override;

    // The lock of a reader of this class; null for any other object. Never asks for the compiler's run-time
    // type information: a host's object may come from another compiler, whose tables ours cannot read.
    static CKrReentrantLock* FindLock(IKrRiffReader* reader);

    CKrReentrantLock& Lock() { return m_lock; }

    // For tests: the result of the last parse and of the loads since.
    const SKrStreamState& StreamState() const { return m_state; }

    int Open(const wchar_t* path) override;
    void Close() override;
    uint64_t GetFileLength() override;
    int FindFirstRiffSegment() override;
    int FindNextRiffSegment(uint32_t* formType, uint32_t* size, uint64_t* dataOffset,
                            SKrRiffChunkNode** node) override;
    int FindFirstSubChunk(SKrRiffChunkNode* node) override;
    int FindNextSubChunk(uint32_t* ckid, uint32_t* type, uint32_t* size, uint64_t* dataOffset,
                         SKrRiffChunkNode** node) override;
    uint32_t ReadChunkData(const SKrRiffChunkInfo* chunk, uint8_t* buffer, uint32_t bufferSize) override;
    uint32_t ReadAt(uint64_t position, void* buffer, uint32_t count) override;
    SKrRiffChunkInfo* GetLastRiffSegment() override;
    int FindFirstChunk(const CDWordArray* fourccs, uint64_t startPosition) override;
    int FindNextChunk(uint32_t* ckid, uint32_t* fccType, uint32_t* size, uint64_t* dataOffset,
                      SKrRiffChunkInfo** record) override;
    void EndChunkSearch() override;
    uint32_t GetVideoStreamInfo(SKrAviVideoParams* format, uint32_t* compression, uint16_t* bitCount,
                                int* formatValid, uint32_t* videoChunkId) override;
    int GetAudioStreamInfo(SKrWaveFormatInfo* format, int* formatValid, uint32_t* audioChunkId,
                           double* duration) override;
    int LoadVideoIndex(CArray<SKrChunkIndexEntry>& out) override;
    int LoadAudioIndex(CArray<SKrChunkIndexEntry>& out, SKrAudioChunkPattern* pattern) override;
    uint32_t GetStreamCount() override;
    int GetStreamProperties(uint32_t stream, SKrStreamProperties* properties) override;
    uint32_t ReadStreamFormat(uint32_t stream, void* buffer, uint32_t size) override;
    int LoadStreamIndex(uint32_t stream, uint64_t first, CArray<SKrStreamIndexEntry>& out) override;
    int OpenGrowing(const wchar_t* path) override;
    int Refresh() override;
    uint32_t GetGrowingState() override;

private:
    // Undoes an Open that did not succeed, also when it ends with an exception.
    class CDetachUnlessOpened
    {
    public:
        explicit CDetachUnlessOpened(CKrRiffReader& reader) : m_reader(reader) {}
        ~CDetachUnlessOpened()
        {
            if (!m_opened)
                m_reader.Detach();
        }
        CDetachUnlessOpened(const CDetachUnlessOpened&) = delete;
        CDetachUnlessOpened& operator=(const CDetachUnlessOpened&) = delete;

        void Opened() { m_opened = true; }

    private:
        CKrRiffReader& m_reader;
        bool m_opened = false;
    };

    [[nodiscard]] bool ParseFile();
    [[nodiscard]] bool ParseOldIndexThatCame();
    void TakeGrowth();
    void TakeChunkIds();
    void Attach(std::unique_ptr<IKrFile> file, uint64_t size);
    void Detach();
    [[nodiscard]] std::shared_ptr<IKrFile> OpenedFile();
    [[nodiscard]] SKrStreamFacts Facts();
    void PublishFacts();

    IKrFileSystem& m_fileSystem;

    // Guards everything up to m_idsSoughtAt. Taken after the cache's lock, never before it.
    CKrReentrantLock m_lock;
    std::wstring m_path; // of the open file
    SKrStreamState m_state;
    CKrFileCursor m_cursor;
    CKrChunkTree m_tree;
    CKrChunkSearch m_search;
    CKrStreamIndexes m_indexes;
    std::unique_ptr<CKrGrowth> m_growth; // null: not opened as growing
    bool m_parsedOldIndex = false;       // the parse found 'idx1' of the growing file
    uint64_t m_idsSoughtAt = 0;          // size of the growing file when chunk ids were looked for last

    // After 'hdrl'; 0 when no header list was found. Kept: a Close that finds the reader busy sets it to 0,
    // so it changes without the lock.
    KrAtomic<uint32_t> m_firstChunkPosition = 0;

    // EKrGrowingState of the last Refresh; asked for without a lock.
    KrAtomic<uint32_t> m_growingState = 0;

    // Guards what the operations that do not take m_lock read. Held to copy a pointer or the facts; no other
    // lock is taken under it.
    CKrMutex m_sharedLock;
    std::shared_ptr<IKrFile> m_file; // null: closed. Changed under both locks, read under either.
    SKrStreamFacts m_facts;          // under m_sharedLock
    CKrStreamTable m_streams;        // has a lock of its own
};

#endif
