// A DirectShow sample under a test's control.
#ifndef KR_TESTS_SUPPORT_KRFAKEDIRECTSHOWSAMPLE_H
#define KR_TESTS_SUPPORT_KRFAKEDIRECTSHOWSAMPLE_H

#include "platform/KrBareDirectShowSample.h"
#include "tests/support/KrFileContent.h"

#include <atomic>
#include <optional>
#include <utility>

namespace KrTest
{
// The test owns its lifetime, whatever its count, which starts at 1.
class CKrFakeDirectShowSample final : public CKrBareDirectShowSample
{
public:
    explicit CKrFakeDirectShowSample(KrBytes bytes = {1, 2, 3}) : bytes(std::move(bytes)) {}
    virtual ~CKrFakeDirectShowSample() = default;

    KrBytes bytes;
    std::optional<LONG> length{}; // reported instead of the number of bytes
    HRESULT pointerResult = S_OK;
    bool hasNoPointer = false;
    std::atomic<ULONG> references = 1;

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
};
} // namespace KrTest

#endif
