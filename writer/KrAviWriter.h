// The library's writer. Opening, closing and submissions lie in KrAviWriter.cpp, what the worker does in
// KrAviWriterWorker.cpp.
//
// Three locks, entered in this order: m_stepLock by whoever moves samples from the queue to the file, m_lock
// around the queue and the open file, m_fileLock around each use of the file.
#ifndef KR_WRITER_KRAVIWRITER_H
#define KR_WRITER_KRAVIWRITER_H

#include "KrRiffUtils/IKrAviWriter.h"
#include "core/KrObject.h"
#include "core/KrReentrantLock.h"
#include "core/KrRef.h"
#include "platform/KrModuleHold.h"
#include "platform/KrPlatform.h"
#include "platform/KrSync.h"
#include "siblings/KrKernel/KrWorkerThread.h"
#include "writer/KrGrowingFile.h"
#include "writer/KrPacer.h"
#include "writer/KrSampleQueue.h"
#include "writer/KrWorkSignal.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <stop_token>
#include <vector>

// What a writer stands on.
struct SKrWriterSurroundings
{
    IKrFileSystem& fileSystem = KrPlatform::FileSystem();
    IKrClock& clock = KrPlatform::Clock();
    int (*createWorkerThread)(int kind, IKrWorkerThread** out) = &KrCreateWorkerThread;
};

class CKrAviWriter final : public CKrObject<IKrAviWriter>
{
public:
    explicit CKrAviWriter(const SKrWriterSurroundings& surroundings = {});
    ~CKrAviWriter() override;

    int OpenFile(const wchar_t* path, const SKrAviVideoParams* params, uint32_t codecFourCC,
                 const WAVEFORMATEX* audioFormat) override;
    int AddVideoSample(IKrMediaSample* sample) override;
    int AddAudioSample(IKrMediaSample* sample) override;
    int CloseFile() override;
    int OpenFileFromInfo(const wchar_t* path, const SKrMediaInfo* info) override;
    int WriteVideoChunk(const void* data, int32_t length) override;
    int WriteAudioChunk(const void* data, int32_t length) override;

private:
    enum class EKrRoom
    {
        Reserve,      // a segment is started where the chunk needs one
        AlreadyThere, // reserved before, together with others
        TakeAnyway    // no look at the limit
    };

    [[nodiscard]] bool CreateAndBegin(const wchar_t* path, SKrWriterSetup& setup);
    [[nodiscard]] uint32_t SectorSizeFor(const wchar_t* path) const;
    void PrepareWorker();
    void StartWorker();
    [[nodiscard]] bool StopAccepting();
    void CloseTheFile();
    int AddSample(EKrStream stream, IKrMediaSample* sample);
    int WriteChunk(EKrStream stream, const void* data, int32_t length);
    [[nodiscard]] bool Takes(EKrStream stream) const;

    static uint32_t WorkRoutine(void* context, std::stop_token stop);
    void Work(const std::stop_token& stop);
    template <class Step>
    void FailWhereMemoryIsShort(Step step);
    void FinishQueue();
    void FinishIndexes();
    [[nodiscard]] bool RunStep();
    [[nodiscard]] bool RunFinalStep();
    [[nodiscard]] bool WriteNext();
    [[nodiscard]] bool WriteAllVideo();
    [[nodiscard]] bool WriteNextBatch();
    [[nodiscard]] bool Drain();
    [[nodiscard]] bool WriteRemaining();
    [[nodiscard]] bool ReserveGroup(const SKrBatch& batch);
    [[nodiscard]] bool WriteSample(EKrStream stream, IKrMediaSample& sample, EKrRoom room);
    [[nodiscard]] bool WriteLocked(EKrStream stream, KrByteSpan data, EKrRoom room);
    void MeasureDataRate();
    void ReleaseQueued();

    IKrFileSystem& m_fileSystem;
    IKrClock& m_clock;
    int (*const m_createWorkerThread)(int kind, IKrWorkerThread** out);

    CKrReentrantLock m_stepLock;
    CKrReentrantLock m_lock;
    CKrMutex m_fileLock;

    // Guarded by m_lock
    CKrSampleQueue m_queue;
    bool m_accepting = false;     // between a successful open and the close that follows
    bool m_workerRunning = false; // else each submission does the worker's part itself
    bool m_hasAudio = false;

    std::unique_ptr<CKrGrowingFile> m_file; // changed under all three locks; used under m_fileLock
    KrAtomic<bool> m_writeFailed = false;
    CKrPacer m_pacer;                     // under m_stepLock
    std::vector<uint32_t> m_groupLengths; // under m_stepLock
    CKrWorkSignal m_work;
    CKrRef<IKrWorkerThread> m_worker; // null when none could be made
    CKrModuleHold m_moduleHold;       // while the worker runs
};

#endif
