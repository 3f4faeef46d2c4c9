// A file system around another whose calls fail or fall short on demand.
#ifndef KR_TESTS_SUPPORT_KRFAULTYFILESYSTEM_H
#define KR_TESTS_SUPPORT_KRFAULTYFILESYSTEM_H

#include "platform/KrPlatform.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>

namespace KrTest
{
enum class EKrFileCall
{
    Open,
    Size,
    Seek,
    Read,
    Create,
    Write,
    Flush,
    Map,
    Cut,
    Exists,
    Delete,
    SectorQuery,
    Share,
    Reserve,
    FlushName
};

inline constexpr size_t kFileCallKinds = 15;

enum class EKrFaultSpan
{
    Once,      // the n-th call only
    FromThenOn // the n-th call and all later ones
};

// The hook's view of a read.
struct SKrReadRequest
{
    uint64_t number = 0; // 1 for the first read since the last Reset
    uint64_t position = 0;
    size_t count = 0;
};

// Calls are numbered from 1, each kind separately, over all files together. At most one fault is planned at a
// time. A failing call does not reach the wrapped file system: an open, a create and a map return null, a
// size nothing, a seek, a flush, a cut, an existence query and a delete false, a sector query 0, a read or a
// write no bytes and the error number. May be used from any thread.
class CKrFaultyFileSystem : public IKrFileSystem
{
public:
    static constexpr uint32_t kAnyError = 5; // some non-zero error number

    explicit CKrFaultyFileSystem(IKrFileSystem& inner);
    virtual ~CKrFaultyFileSystem();

    // Makes the n-th call of a kind, counted since the last Reset, fail. Replaces an earlier plan.
    void FailCall(EKrFileCall kind, uint64_t number, EKrFaultSpan span = EKrFaultSpan::Once,
                  uint32_t osError = kAnyError);

    // Makes the n-th read return at most `bytes` bytes without an error, as at the end of the file. Replaces
    // an earlier plan.
    void ShortenRead(uint64_t number, size_t bytes, EKrFaultSpan span = EKrFaultSpan::Once);

    // Makes the n-th write write at most `bytes` bytes and then fail, as on a full disk. Replaces an earlier
    // plan.
    void ShortenWrite(uint64_t number, size_t bytes, EKrFaultSpan span = EKrFaultSpan::Once);

    // Drops the plan and resets the counts. The hook stays.
    void Reset();

    // Calls since the last Reset, including failed ones.
    [[nodiscard]] uint64_t Calls(EKrFileCall kind) const;

    // Whether the planned fault has occurred.
    [[nodiscard]] bool FaultStruck() const;

    // Called before each read, on the reading thread and with no lock held, so that it may block. An empty
    // function removes the hook.
    void SetBeforeRead(std::function<void(const SKrReadRequest&)> hook);

    std::unique_ptr<IKrFile> OpenForReading(const wchar_t* path) override;
    std::unique_ptr<IKrFile> OpenForFollowing(const wchar_t* path) override;
    std::unique_ptr<IKrWritableFile> CreateForWriting(const wchar_t* path) override;
    SKrChangedFile OpenForChanging(const wchar_t* path) override; // an open
    SKrFlushOutcome FlushName(const wchar_t* path) override;
    bool Exists(const wchar_t* path) override;
    bool Delete(const wchar_t* path) override;
    uint32_t BytesPerSector(const wchar_t* folder) override;

    struct SKrPlan; // private to the implementation

private:
    IKrFileSystem& m_inner;
    std::shared_ptr<SKrPlan> m_plan;
};

// Runs `operation(n)` with the first call of a kind failing, then the second, and so on, up to and including
// the first run without a fault. Returns the number of runs with a fault: for a working operation at least
// the number of such calls that it makes. `files.FaultStruck()` distinguishes the two cases.
template <class Operation>
uint64_t ForEveryFailedCall(CKrFaultyFileSystem& files, EKrFileCall kind, EKrFaultSpan span,
                            Operation&& operation)
{
    constexpr uint64_t kMostRuns = 100'000;
    for (uint64_t number = 1; number <= kMostRuns; ++number)
    {
        files.Reset();
        files.FailCall(kind, number, span);
        operation(number);
        if (!files.FaultStruck())
            return number - 1;
    }
    throw std::logic_error("the operation never succeeds");
}

// The same with reads that return at most `bytes` bytes.
template <class Operation>
uint64_t ForEveryShortRead(CKrFaultyFileSystem& files, size_t bytes, EKrFaultSpan span, Operation&& operation)
{
    constexpr uint64_t kMostRuns = 100'000;
    for (uint64_t number = 1; number <= kMostRuns; ++number)
    {
        files.Reset();
        files.ShortenRead(number, bytes, span);
        operation(number);
        if (!files.FaultStruck())
            return number - 1;
    }
    throw std::logic_error("the operation never succeeds");
}
} // namespace KrTest

#endif
