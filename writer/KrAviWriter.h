// The library's writer: the public operations, and the worker thread from start to end. Samples and direct
// chunks go to CKrInterleaver.
#ifndef KR_WRITER_KRAVIWRITER_H
#define KR_WRITER_KRAVIWRITER_H

#include "KrRiffUtils/IKrAviWriter.h"
#include "base/KrObject.h"
#include "base/KrRef.h"
#include "base/KrTurn.h"
#include "platform/KrModuleHold.h"
#include "platform/KrPlatform.h"
#include "platform/KrSync.h"
#include "siblings/KrKernel/KrWorkerThread.h"
#include "writer/KrCallers.h"
#include "writer/KrGrowingFile.h"
#include "writer/KrInterleaver.h"
#include "writer/KrRecordingRules.h"
#include "writer/KrWorkSignal.h"

#include <cstdint>
#include <memory>
#include <stop_token>

struct SKrWriterServices
{
    IKrFileSystem& fileSystem = KrPlatform::FileSystem();
    IKrClock& clock = KrPlatform::Clock();
    int (*createWorkerThread)(int kind, IKrWorkerThread** out) = &KrCreateWorkerThread;
};

class CKrAviWriter final : public CKrObject<IKrAviWriter>
{
public:
    explicit CKrAviWriter(const SKrWriterServices& services = {});
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
    int SetRecordingOptions(const SKrRecordingOptions* options) override;
    int GetRecordingStatus(SKrRecordingStatus* status) override;

private:
    [[nodiscard]] bool Open(const wchar_t* path, const SKrAviVideoParams* params, uint32_t codecFourCC,
                            const WAVEFORMATEX* audioFormat);
    [[nodiscard]] bool Close();
    [[nodiscard]] bool CreateAndBegin(const wchar_t* path, SKrWriterSetup& setup);
    void FlushName(const wchar_t* path);
    [[nodiscard]] std::unique_ptr<CKrGrowingFile> MakeFile(const wchar_t* path, SKrWriterSetup& setup);
    [[nodiscard]] uint32_t SectorSizeFor(const wchar_t* path) const;
    void PrepareWorker();
    void StartWorker();
    int AddSample(EKrStream stream, IKrMediaSample* sample);
    int WriteChunk(EKrStream stream, const void* data, int32_t length);

    static uint32_t WorkRoutine(void* context, std::stop_token stop);
    void Work(const std::stop_token& stop);
    [[nodiscard]] bool IsOnWorker() const;
    void LeaveToWorker();

    IKrFileSystem& m_fileSystem;
    IKrClock& m_clock;
    int (*const m_createWorkerThread)(int kind, IKrWorkerThread** out);

    CKrCallers m_callers;
    CKrTurn m_openCloseTurn;   // one open or close at a time; taken before all others
    SKrRecordingRules m_rules; // of the next open; in m_openCloseTurn
    CKrInterleaver m_interleaver;

    CKrWorkSignal m_work;
    CKrRef<IKrWorkerThread> m_worker;      // null when none could be created; in m_openCloseTurn
    CKrModuleHold m_moduleHold;            // while the worker runs
    KrAtomic<uint64_t> m_workerThread = 0; // its number while it runs
    bool m_isLeftToWorker = false;         // of the worker's thread alone
};

#endif
