// A DirectShow sample that a test holds in its hands.
#ifndef KR_TESTS_SUPPORT_KRFAKEDIRECTSHOWSAMPLE_H
#define KR_TESTS_SUPPORT_KRFAKEDIRECTSHOWSAMPLE_H

#include "KrComTypes.h"
#include "tests/support/KrFileContent.h"

#include <atomic>
#include <optional>
#include <utility>

namespace KrTest
{
// Lives as long as the test wants, whatever its count, which starts at 1.
class CKrFakeDirectShowSample final : public IMediaSample
{
public:
    explicit CKrFakeDirectShowSample(KrBytes bytes = {1, 2, 3}) : bytes(std::move(bytes)) {}
    virtual ~CKrFakeDirectShowSample() = default;

    KrBytes bytes;
    std::optional<LONG> length{}; // reported instead of the number of bytes
    HRESULT pointerResult = S_OK;
    bool hasNoPointer = false;
    std::atomic<ULONG> references = 1;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_FAIL; }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
    ULONG STDMETHODCALLTYPE Release() override { return --references; }

    HRESULT STDMETHODCALLTYPE GetPointer(BYTE** buffer) override
    {
        *buffer = hasNoPointer ? nullptr : bytes.data();
        return pointerResult;
    }
    LONG STDMETHODCALLTYPE GetSize() override { return static_cast<LONG>(bytes.size()); }
    LONG STDMETHODCALLTYPE GetActualDataLength() override
    {
        return length.value_or(static_cast<LONG>(bytes.size()));
    }

    HRESULT STDMETHODCALLTYPE GetTime(REFERENCE_TIME*, REFERENCE_TIME*) override { return E_FAIL; }
    HRESULT STDMETHODCALLTYPE SetTime(REFERENCE_TIME*, REFERENCE_TIME*) override { return E_FAIL; }
    HRESULT STDMETHODCALLTYPE IsSyncPoint() override { return S_OK; }
    HRESULT STDMETHODCALLTYPE SetSyncPoint(ComBool) override { return E_FAIL; }
    HRESULT STDMETHODCALLTYPE IsPreroll() override { return E_FAIL; }
    HRESULT STDMETHODCALLTYPE SetPreroll(ComBool) override { return E_FAIL; }
    HRESULT STDMETHODCALLTYPE SetActualDataLength(LONG) override { return E_FAIL; }
    HRESULT STDMETHODCALLTYPE GetMediaType(AM_MEDIA_TYPE**) override { return E_FAIL; }
    HRESULT STDMETHODCALLTYPE SetMediaType(AM_MEDIA_TYPE*) override { return E_FAIL; }
    HRESULT STDMETHODCALLTYPE IsDiscontinuity() override { return E_FAIL; }
    HRESULT STDMETHODCALLTYPE SetDiscontinuity(ComBool) override { return E_FAIL; }
    HRESULT STDMETHODCALLTYPE GetMediaTime(LONGLONG*, LONGLONG*) override { return E_FAIL; }
    HRESULT STDMETHODCALLTYPE SetMediaTime(LONGLONG*, LONGLONG*) override { return E_FAIL; }
};
} // namespace KrTest

#endif
