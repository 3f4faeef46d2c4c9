#include "writer/KrAviWriter.h"

#include "siblings/KrWinUtils/KrWinUtils.h"

#include "KrOsTypes.h"

#include <string>
#include <utility>

namespace
{
constexpr int kWorkerKind = 15;
constexpr uint32_t kDestructorWait = 1000; // milliseconds
constexpr uint32_t kSubmissionPause = 1;   // milliseconds
constexpr uint32_t kDefaultBytesPerSector = 512;
constexpr uint8_t kBitCountFromInfo = 8; // kept: whatever the source has
constexpr uint16_t kWaveFormatPcm = 1;

SKrAviVideoParams ParamsOf(const SKrMediaInfo& info)
{
    SKrAviVideoParams params{};
    params.displayWidth = static_cast<uint16_t>(info.width);
    params.displayHeight = static_cast<uint16_t>(info.height);
    params.bitCount = kBitCountFromInfo;
    params.reservedA = info.reservedA;
    params.aspectMode = info.aspectMode;
    params.frameRate = info.frameRate;
    params.scanMode = info.scanMode;
    params.reservedB = info.reservedB;
    params.width = static_cast<int32_t>(info.width);
    params.height = static_cast<int32_t>(info.height);
    return params;
}

WAVEFORMATEX PcmFormatOf(const SKrMediaInfo& info)
{
    WAVEFORMATEX format{};
    format.wFormatTag = kWaveFormatPcm;
    format.nChannels = info.channels;
    format.nSamplesPerSec = info.samplesPerSec;
    format.wBitsPerSample = info.bitsPerSample;
    format.nBlockAlign = static_cast<uint16_t>(info.bitsPerSample / 8 * info.channels);
    format.nAvgBytesPerSec = format.nBlockAlign * info.samplesPerSec;
    return format;
}
} // namespace

CKrAviWriter::CKrAviWriter(const SKrWriterSurroundings& surroundings)
    : m_fileSystem(surroundings.fileSystem), m_clock(surroundings.clock),
      m_createWorkerThread(surroundings.createWorkerThread), m_pacer(surroundings.clock)
{
}

CKrAviWriter::~CKrAviWriter()
{
    CloseFile();
    if (m_worker)
        m_worker->StopAndWait(kDestructorWait);
}

uint32_t CKrAviWriter::Release()
{
    const uint32_t left = DropReference();
    if (left != 0)
        return left;
    if (IsOnWorker())
        LeaveToWorker();
    else
        delete this;
    return 0;
}

int CKrAviWriter::OpenFile(const wchar_t* path, const SKrAviVideoParams* params, uint32_t codecFourCC,
                           const WAVEFORMATEX* audioFormat)
{
    if (path == nullptr || *path == L'\0' || m_callers.HaveThisThread())
        return 0;
    const CKrCallers::CScope caller(m_callers);
    const std::lock_guard guard(m_openCloseLock);
    static_cast<void>(Close());
    return Open(path, params, codecFourCC, audioFormat) ? 1 : 0;
}

// Under m_openCloseLock, with no file open.
bool CKrAviWriter::Open(const wchar_t* path, const SKrAviVideoParams* params, uint32_t codecFourCC,
                        const WAVEFORMATEX* audioFormat)
{
    std::optional<SKrWriterSetup> setup = MakeWriterSetup(params, codecFourCC, audioFormat);
    if (!setup || !CreateAndBegin(path, *setup))
        return false;
    StartWorker();
    StartAccepting();
    return true;
}

// Makes the file and writes its headers. What fails on the way leaves no file behind.
bool CKrAviWriter::CreateAndBegin(const wchar_t* path, SKrWriterSetup& setup)
{
    if (KrFileUtils::DoesFileExist(path) != 0 && !m_fileSystem.Delete(path))
        return false;
    m_faults.Reset();
    std::unique_ptr<CKrGrowingFile> file;
    try
    {
        file = MakeFile(path, setup);
        if (file == nullptr)
            return false;
        PrepareWorker();
        if (!file->Begin())
        {
            file.reset();
            m_fileSystem.Delete(path);
            return false;
        }
    }
    catch (...)
    {
        file.reset();
        m_fileSystem.Delete(path);
        throw;
    }
    TakeOver(std::move(file), setup);
    return true;
}

std::unique_ptr<CKrGrowingFile> CKrAviWriter::MakeFile(const wchar_t* path, SKrWriterSetup& setup)
{
    std::unique_ptr<IKrWritableFile> created = m_fileSystem.CreateForWriting(path);
    if (created == nullptr)
        return nullptr;
    setup.bytesPerSector = SectorSizeFor(path);
    return std::make_unique<CKrGrowingFile>(std::move(created), setup, m_faults);
}

void CKrAviWriter::TakeOver(std::unique_ptr<CKrGrowingFile> file, const SKrWriterSetup& setup)
{
    const CKrLockScope step(m_stepLock);
    m_pacer.Reset();
    m_work.Reset();
    {
        const std::lock_guard guard(m_fileLock);
        m_file = std::move(file);
    }
    const std::lock_guard guard(m_queueLock);
    m_queue.Begin(setup);
    m_hasAudio = setup.HasAudio();
}

uint32_t CKrAviWriter::SectorSizeFor(const wchar_t* path) const
{
    const uint32_t size = m_fileSystem.BytesPerSector(KrFileUtils::GetPurePath(path).c_str());
    return size != 0 ? size : kDefaultBytesPerSector;
}

// The thread is made for the first file and serves the later ones too.
void CKrAviWriter::PrepareWorker()
{
    if (m_worker)
        return;
    IKrWorkerThread* worker = nullptr;
    if (m_createWorkerThread(kWorkerKind, &worker) == 0 || worker == nullptr)
        return;
    m_worker = CKrRef<IKrWorkerThread>::Adopt(worker);
    m_worker->SetPriority(0);
    m_worker->UseDefaults();
    m_worker->SetWorkRoutine(&WorkRoutine, this);
}

void CKrAviWriter::StartWorker()
{
    const bool started = m_worker && m_worker->Start() != 0;
    if (started)
        m_moduleHold.Take();
    const std::lock_guard guard(m_queueLock);
    m_workerRunning = started;
}

// After the worker was started: a submission that came before would do the worker's part itself.
void CKrAviWriter::StartAccepting()
{
    {
        const std::lock_guard guard(m_fileLock);
        m_acceptingChunks = true;
    }
    const std::lock_guard guard(m_queueLock);
    m_accepting = true;
}

// Ends the submissions; what was accepted before is still written. Answers whether a worker has to be
// stopped.
bool CKrAviWriter::StopAccepting()
{
    {
        const std::lock_guard guard(m_fileLock);
        m_acceptingChunks = false;
    }
    const std::lock_guard guard(m_queueLock);
    m_accepting = false;
    return std::exchange(m_workerRunning, false);
}

int CKrAviWriter::CloseFile()
{
    if (m_callers.HaveThisThread())
        return 0;
    const CKrCallers::CScope caller(m_callers);
    const std::lock_guard guard(m_openCloseLock);
    return Close() ? 1 : 0;
}

// Under m_openCloseLock. False when the file that was open is not all that it should be.
bool CKrAviWriter::Close()
{
    if (StopAccepting())
    {
        m_worker->Stop();
        m_work.WakeForStop();
        m_worker->WaitForEnd(kKrWaitForEver);
        m_moduleHold.Drop();
    }
    else if (m_file != nullptr)
    {
        FinishQueue();
    }
    if (m_file == nullptr)
        return true;
    FinishIndexes(); // after a worker too, which may have failed to write 'idx1'
    CloseTheFile();
    ReleaseQueued();
    return !m_faults.Any();
}

void CKrAviWriter::CloseTheFile()
{
    const CKrLockScope step(m_stepLock);
    const std::lock_guard guard(m_fileLock);
    m_file->Close();
    m_file.reset();
}

int CKrAviWriter::OpenFileFromInfo(const wchar_t* path, const SKrMediaInfo* info)
{
    if (path == nullptr || *path == L'\0' || info == nullptr || info->videoStreamCount == 0)
        return 0;
    const SKrAviVideoParams params = ParamsOf(*info);
    const WAVEFORMATEX format = PcmFormatOf(*info);
    return OpenFile(path, &params, 0, info->audioStreamCount > 0 ? &format : nullptr);
}

int CKrAviWriter::AddVideoSample(IKrMediaSample* sample)
{
    return AddSample(EKrStream::Video, sample);
}

int CKrAviWriter::AddAudioSample(IKrMediaSample* sample)
{
    return AddSample(EKrStream::Audio, sample);
}

int CKrAviWriter::AddSample(EKrStream stream, IKrMediaSample* sample)
{
    if (m_faults.writeFailed || sample == nullptr)
        return 0;
    const CKrCallers::CScope caller(m_callers);
    const uint32_t length = sample->GetDataLength();
    if (length < 1)
        return 0;
    CKrSampleList samples; // made, and if need be released, outside the lock
    samples.push_back({CKrRef<IKrMediaSample>::Share(sample), length});
    bool hasWorker = false;
    {
        const std::lock_guard guard(m_queueLock);
        if (!m_accepting || (stream == EKrStream::Audio && !m_hasAudio))
            return 0;
        m_queue.Push(stream, samples);
        hasWorker = m_workerRunning;
    }
    if (hasWorker)
        m_work.Add();
    else if (!DoWorkersPart())
        return 0;
    m_clock.Sleep(kSubmissionPause);
    return 1;
}

int CKrAviWriter::WriteVideoChunk(const void* data, int32_t length)
{
    return WriteChunk(EKrStream::Video, data, length);
}

int CKrAviWriter::WriteAudioChunk(const void* data, int32_t length)
{
    return WriteChunk(EKrStream::Audio, data, length);
}

int CKrAviWriter::WriteChunk(EKrStream stream, const void* data, int32_t length)
{
    if (data == nullptr || length < 1)
        return 0;
    const std::lock_guard guard(m_fileLock);
    if (!m_acceptingChunks || !m_file->Has(stream))
        return 0;
    return m_file->WriteDirect(stream, {static_cast<const uint8_t*>(data), static_cast<size_t>(length)}) ? 1
                                                                                                         : 0;
}

void CKrAviWriter::ReleaseQueued()
{
    CKrSampleList released; // outside the lock: a sample's release may call anything
    const std::lock_guard guard(m_queueLock);
    released = m_queue.TakeAll();
}
