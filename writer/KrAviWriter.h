// The library's writer. Opening, closing and submissions lie in KrAviWriter.cpp, what the worker does in
// KrAviWriterWorker.cpp.
//
// The host's samples are called under no lock that a submission or a direct chunk waits for. Locks are
// entered in this order: m_openCloseLock, m_stepLock, then either m_queueLock or m_fileLock. A submission
// takes m_queueLock alone, for a few instructions; a direct chunk takes m_fileLock alone, for its write.
#ifndef KR_WRITER_KRAVIWRITER_H
#define KR_WRITER_KRAVIWRITER_H

#include "KrRiffUtils/IKrAviWriter.h"
#include "base/KrObject.h"
#include "base/KrReentrantLock.h"
#include "base/KrRef.h"
#include "platform/KrModuleHold.h"
#include "platform/KrPlatform.h"
#include "platform/KrSync.h"
#include "siblings/KrKernel/KrWorkerThread.h"
#include "writer/KrCallers.h"
#include "writer/KrGrowingFile.h"
#include "writer/KrPacer.h"
#include "writer/KrRecordingFaults.h"
#include "writer/KrSampleQueue.h"
#include "writer/KrWorkSignal.h"

#include <cstdint>
#include <memory>
#include <span>
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

    // The last one may come from a sample that the worker releases: the worker then completes the file.
    uint32_t Release() override;

    int OpenFile(const wchar_t* path, const SKrAviVideoParams* params, uint32_t codecFourCC,
                 const WAVEFORMATEX* audioFormat) override;
    int AddVideoSample(IKrMediaSample* sample) override;
    int AddAudioSample(IKrMediaSample* sample) override;
    int CloseFile() override;
    int OpenFileFromInfo(const wchar_t* path, const SKrMediaInfo* info) override;
    int WriteVideoChunk(const void* data, int32_t length) override;
    int WriteAudioChunk(const void* data, int32_t length) override;

private:
    [[nodiscard]] bool Open(const wchar_t* path, const SKrAviVideoParams* params, uint32_t codecFourCC,
                            const WAVEFORMATEX* audioFormat);
    [[nodiscard]] bool Close();
    [[nodiscard]] bool CreateAndBegin(const wchar_t* path, SKrWriterSetup& setup);
    [[nodiscard]] std::unique_ptr<CKrGrowingFile> MakeFile(const wchar_t* path, SKrWriterSetup& setup);
    void TakeOver(std::unique_ptr<CKrGrowingFile> file, const SKrWriterSetup& setup);
    [[nodiscard]] uint32_t SectorSizeFor(const wchar_t* path) const;
    void PrepareWorker();
    void StartWorker();
    void StartAccepting();
    [[nodiscard]] bool StopAccepting();
    void CloseTheFile();
    int AddSample(EKrStream stream, IKrMediaSample* sample);
    int WriteChunk(EKrStream stream, const void* data, int32_t length);

    static uint32_t WorkRoutine(void* context, std::stop_token stop);
    [[nodiscard]] bool IsOnWorker() const;
    void LeaveToWorker();
    void Work(const std::stop_token& stop);
    template <class Step>
    void FailWhereMemoryIsShort(Step step);
    void FinishQueue();
    void FinishIndexes();
    [[nodiscard]] bool DoWorkersPart();
    [[nodiscard]] bool RunStep();
    [[nodiscard]] bool RunFinalStep();
    [[nodiscard]] bool WriteNext();
    [[nodiscard]] bool WriteAllVideo();
    [[nodiscard]] bool WriteNextBatch();
    [[nodiscard]] bool Drain();
    [[nodiscard]] bool WriteRemaining();
    [[nodiscard]] bool WriteGroup(SKrBatch& batch);
    [[nodiscard]] bool ReserveGroup(const SKrBatch& batch);
    [[nodiscard]] bool WriteSample(EKrStream stream, IKrMediaSample& sample, EKrSegmentBudget budget,
                                   std::span<const uint32_t> rest = {});
    [[nodiscard]] bool WriteLocked(EKrStream stream, KrByteSpan data, EKrSegmentBudget budget,
                                   std::span<const uint32_t> rest);
    void MeasureDataRate();
    void ReleaseQueued();

    IKrFileSystem& m_fileSystem;
    IKrClock& m_clock;
    int (*const m_createWorkerThread)(int kind, IKrWorkerThread** out);

    CKrCallers m_callers;

    CKrMutex m_openCloseLock; // one open or close at a time

    // Held by whoever moves samples from the queue to the file, also while it calls them: the worker, or
    // without one each submission, whose samples may submit more.
    CKrReentrantLock m_stepLock;

    CKrMutex m_queueLock; // guards what follows
    CKrSampleQueue m_queue;
    bool m_accepting = false;     // between a successful open and the close that follows
    bool m_workerRunning = false; // else each submission does the worker's part itself
    bool m_hasAudio = false;      // changed under m_stepLock too, read under either

    CKrMutex m_fileLock; // guards what follows, while a chunk is written or the file flushed
    std::unique_ptr<CKrGrowingFile> m_file; // changed under m_stepLock too: there it may be looked for
    bool m_acceptingChunks = false;         // direct ones

    SKrRecordingFaults m_faults;
    CKrPacer m_pacer;                     // under m_stepLock
    std::vector<uint32_t> m_groupLengths; // under m_stepLock
    bool m_isStepping = false;            // under m_stepLock: a submission without a worker is at work
    bool m_stepAgain = false;             // under m_stepLock: another came from inside a sample
    CKrWorkSignal m_work;
    CKrRef<IKrWorkerThread> m_worker;      // null when none could be made; under m_openCloseLock
    CKrModuleHold m_moduleHold;            // while the worker runs
    KrAtomic<uint64_t> m_workerThread = 0; // its number while it runs
    bool m_isLeftToWorker = false;         // of the worker's thread alone
};

#endif
