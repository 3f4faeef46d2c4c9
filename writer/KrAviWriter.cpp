#include "writer/KrAviWriter.h"

#include "format/KrAviHeaders.h"
#include "siblings/KrWinUtils/KrWinUtils.h"
#include "writer/KrMilliseconds.h"
#include "writer/KrObservedFile.h"

#include "KrOsTypes.h"

#include <string>
#include <utility>

namespace
{
constexpr int kWorkerKind = 15;
constexpr uint32_t kDestructorWait = 1000; // milliseconds
constexpr uint32_t kDefaultBytesPerSector = 512;
constexpr uint8_t kBitCountFromInfo = 8; // kept: whatever the source has

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
    format.wFormatTag = kFormatTagPcm;
    format.nChannels = info.channels;
    format.nSamplesPerSec = info.samplesPerSec;
    format.wBitsPerSample = info.bitsPerSample;
    format.nBlockAlign = static_cast<uint16_t>(info.bitsPerSample / 8 * info.channels);
    format.nAvgBytesPerSec = format.nBlockAlign * info.samplesPerSec;
    return format;
}
} // namespace

CKrAviWriter::CKrAviWriter(const SKrWriterServices& services)
    : m_fileSystem(services.fileSystem), m_clock(services.clock),
      m_createWorkerThread(services.createWorkerThread),
      m_interleaver(services.clock, services.createWorkerThread)
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
    const std::lock_guard guard(m_openCloseTurn);
    static_cast<void>(Close());
    return Open(path, params, codecFourCC, audioFormat) ? 1 : 0;
}

// In m_openCloseTurn, with no file open.
bool CKrAviWriter::Open(const wchar_t* path, const SKrAviVideoParams* params, uint32_t codecFourCC,
                        const WAVEFORMATEX* audioFormat)
{
    std::optional<SKrWriterSetup> setup = MakeWriterSetup(params, codecFourCC, audioFormat);
    if (!setup || !CreateAndBegin(path, *setup))
        return false;
    StartWorker();
    m_interleaver.StartAccepting(); // last: a submission without a running worker would do its part itself
    return true;
}

// Creates the file and writes its headers. A failure leaves no file.
bool CKrAviWriter::CreateAndBegin(const wchar_t* path, SKrWriterSetup& setup)
{
    if (KrFileUtils::DoesFileExist(path) != 0 && !m_fileSystem.Delete(path))
        return false;
    m_interleaver.Faults().Reset();
    m_interleaver.Status().Begin();
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
        if (m_rules.powerSafe)
            FlushName(path);
        m_work.Reset();
        m_interleaver.Begin(std::move(file), setup, m_rules);
    }
    catch (...)
    {
        file.reset();
        m_fileSystem.Delete(path);
        throw;
    }
    return true;
}

// After a power cut the file is to be found. A failure is noted, and the recording continues.
void CKrAviWriter::FlushName(const wchar_t* path)
{
    CKrRecordingStatus& status = m_interleaver.Status();
    status.BeginFlush();
    const SKrFlushOutcome outcome = m_fileSystem.FlushName(path);
    status.EndFlush(outcome);
    if (!outcome)
        m_interleaver.Faults().flushFailed = true;
}

std::unique_ptr<CKrGrowingFile> CKrAviWriter::MakeFile(const wchar_t* path, SKrWriterSetup& setup)
{
    std::unique_ptr<IKrWritableFile> created = m_fileSystem.CreateForWriting(path);
    if (created == nullptr)
        return nullptr;
    setup.bytesPerSector = SectorSizeFor(path);
    auto observed =
        std::make_unique<CKrObservedFile>(std::move(created), m_interleaver.Status(), m_rules.preallocation);
    return std::make_unique<CKrGrowingFile>(std::move(observed), setup, m_rules, m_interleaver.Faults(),
                                            m_interleaver.Status());
}

uint32_t CKrAviWriter::SectorSizeFor(const wchar_t* path) const
{
    const uint32_t size = m_fileSystem.BytesPerSector(KrFileUtils::GetPurePath(path).c_str());
    return size != 0 ? size : kDefaultBytesPerSector;
}

// The thread is created for the first file and serves later ones too.
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
    m_interleaver.SetWorkerRunning(started);
}

int CKrAviWriter::CloseFile()
{
    if (m_callers.HaveThisThread())
        return 0;
    const CKrCallers::CScope caller(m_callers);
    const std::lock_guard guard(m_openCloseTurn);
    return Close() ? 1 : 0;
}

// In m_openCloseTurn. False when the file that was open is not complete.
bool CKrAviWriter::Close()
{
    if (m_interleaver.StopAccepting())
    {
        m_worker->Stop();
        m_work.WakeForStop();
        m_worker->WaitForEnd(kKrWaitForEver);
        m_moduleHold.Drop();
    }
    else if (m_interleaver.HasFile())
    {
        m_interleaver.FinishQueue();
    }
    if (!m_interleaver.HasFile())
        return true;
    m_interleaver.FinishIndexes(); // after a worker too, which may have failed to write 'idx1'
    m_interleaver.CloseFile();
    m_interleaver.ReleaseQueued();
    return !m_interleaver.Faults().Any();
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
    if (sample == nullptr)
        return 0;
    if (m_interleaver.Faults().writeFailed)
    {
        m_interleaver.CountRefused();
        return 0;
    }
    const bool mayWait = !m_callers.HaveThisThread(); // from inside a sample nobody else might make room
    const CKrCallers::CScope caller(m_callers);
    const uint32_t length = sample->GetDataLength();
    if (length < 1)
        return 0;
    CKrSampleList samples; // allocated, and perhaps released, outside the lock
    samples.emplace_back(CKrRef<IKrMediaSample>::Share(sample), length, NowMs(m_clock));
    const SKrSubmitted submitted = m_interleaver.Submit(stream, samples, mayWait);
    if (submitted.whose == EKrSubmission::Refused)
        return 0;
    if (submitted.whose == EKrSubmission::ForWorker)
    {
        m_work.Add();
    }
    else if (submitted.whose == EKrSubmission::ForCaller && !m_interleaver.RunStepOfCaller())
    {
        m_interleaver.CountRefused();
        return 0;
    }
    if (submitted.delayMs != 0)
        m_clock.Sleep(submitted.delayMs);
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
    const KrByteSpan bytes(static_cast<const uint8_t*>(data), static_cast<size_t>(length));
    return m_interleaver.WriteDirect(stream, bytes) ? 1 : 0;
}

int CKrAviWriter::SetRecordingOptions(const SKrRecordingOptions* options)
{
    const std::optional<SKrRecordingRules> rules = MakeRecordingRules(options);
    if (!rules || m_callers.HaveThisThread())
        return 0;
    const CKrCallers::CScope caller(m_callers);
    const std::lock_guard guard(m_openCloseTurn);
    m_rules = *rules;
    return 1;
}

int CKrAviWriter::GetRecordingStatus(SKrRecordingStatus* status)
{
    if (status == nullptr || status->size < sizeof *status)
        return 0;
    const uint32_t size =
        status->size; // a larger record of a later host keeps what this library does not know
    *status = m_interleaver.Status().Snapshot();
    status->size = size;
    return 1;
}

uint32_t CKrAviWriter::WorkRoutine(void* context, std::stop_token stop)
{
    auto* const writer = static_cast<CKrAviWriter*>(context);
    writer->Work(stop);
    if (writer->m_isLeftToWorker)
        delete writer;
    return 0;
}

void CKrAviWriter::Work(const std::stop_token& stop)
{
    const CKrCallers::CScope caller(m_callers);
    m_workerThread = KrCurrentThread();
    while (m_interleaver.RunsFreely() ? m_work.WaitForAny(stop, m_interleaver.WaitMs())
                                      : m_work.WaitForWork(stop))
        m_interleaver.RunStepOfWorker();
    m_interleaver.FinishQueue();
    m_interleaver.FinishIndexes();
    m_workerThread = 0;
}

bool CKrAviWriter::IsOnWorker() const
{
    return m_workerThread == KrCurrentThread();
}

// The last reference was released on the worker's own thread, from inside a sample that it released. Nobody
// waits for the worker then: it completes the file, deletes the writer, and keeps the library loaded for what
// is left of it.
void CKrAviWriter::LeaveToWorker()
{
    m_isLeftToWorker = true;
    m_moduleHold.Keep();
    static_cast<void>(m_interleaver.StopAccepting());
    m_worker->Stop();
}
