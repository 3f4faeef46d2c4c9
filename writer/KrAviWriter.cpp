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

int CKrAviWriter::OpenFile(const wchar_t* path, const SKrAviVideoParams* params, uint32_t codecFourCC,
                           const WAVEFORMATEX* audioFormat)
{
    if (path == nullptr || *path == L'\0')
        return 0;
    std::optional<SKrWriterSetup> setup = MakeWriterSetup(params, codecFourCC, audioFormat);
    if (!setup)
        return 0;
    CloseFile();
    if (!CreateAndBegin(path, *setup))
        return 0;
    StartWorker();
    return 1;
}

// Makes the file and writes its headers. What fails on the way leaves no file behind.
bool CKrAviWriter::CreateAndBegin(const wchar_t* path, SKrWriterSetup& setup)
{
    if (KrFileUtils::DoesFileExist(path) != 0 && !m_fileSystem.Delete(path))
        return false;
    m_writeFailed = false;
    std::unique_ptr<CKrGrowingFile> file;
    try
    {
        std::unique_ptr<IKrWritableFile> created = m_fileSystem.CreateForWriting(path);
        if (created == nullptr)
            return false;
        setup.bytesPerSector = SectorSizeFor(path);
        file = std::make_unique<CKrGrowingFile>(std::move(created), setup, m_writeFailed);
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
    const CKrLockScope step(m_stepLock);
    const CKrLockScope scope(m_lock);
    m_pacer.Reset();
    m_work.Reset();
    m_queue.Begin(setup);
    m_hasAudio = setup.HasAudio();
    m_accepting = true;
    const std::lock_guard guard(m_fileLock);
    m_file = std::move(file);
    return true;
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
    const CKrLockScope scope(m_lock);
    m_workerRunning = m_worker && m_worker->Start() != 0;
    if (m_workerRunning)
        m_moduleHold.Take();
}

// Ends the submissions; what was accepted before is still written. Answers whether a worker has to be
// stopped.
bool CKrAviWriter::StopAccepting()
{
    const CKrLockScope scope(m_lock);
    m_accepting = false;
    return std::exchange(m_workerRunning, false);
}

int CKrAviWriter::CloseFile()
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
    if (m_file != nullptr)
        FinishIndexes(); // after a worker too, which may have failed to write 'idx1'
    CloseTheFile();
    ReleaseQueued();
    return 1;
}

void CKrAviWriter::CloseTheFile()
{
    const CKrLockScope step(m_stepLock);
    const CKrLockScope scope(m_lock);
    const std::lock_guard guard(m_fileLock);
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

// Whether there is an open file with such a stream. Under m_lock.
bool CKrAviWriter::Takes(EKrStream stream) const
{
    return m_accepting && (stream == EKrStream::Video || m_hasAudio);
}

int CKrAviWriter::AddSample(EKrStream stream, IKrMediaSample* sample)
{
    if (m_writeFailed || sample == nullptr || sample->GetDataLength() < 1)
        return 0;
    bool hasWorker = false;
    {
        const CKrLockScope scope(m_lock);
        if (!Takes(stream))
            return 0;
        m_queue.Push(stream, sample);
        hasWorker = m_workerRunning;
    }
    if (hasWorker)
        m_work.Add();
    else if (!RunStep())
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
    const CKrLockScope scope(m_lock);
    if (!Takes(stream))
        return 0;
    const std::lock_guard guard(m_fileLock);
    return m_file->WriteDirect(stream, {static_cast<const uint8_t*>(data), static_cast<size_t>(length)}) ? 1
                                                                                                         : 0;
}

void CKrAviWriter::ReleaseQueued()
{
    CKrSampleList released; // outside the lock: a sample's release may call anything
    const CKrLockScope scope(m_lock);
    released = m_queue.TakeAll();
}
