// A DirectShow sample that has a buffer and nothing else.
#ifndef KR_PLATFORM_KRBAREDIRECTSHOWSAMPLE_H
#define KR_PLATFORM_KRBAREDIRECTSHOWSAMPLE_H

#include "KrComTypes.h"

// Base of samples that are made for the pool, which asks for the buffer and its length alone.
class CKrBareDirectShowSample : public IMediaSample
{
public:
    virtual ~CKrBareDirectShowSample() = default;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_FAIL; }
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

#endif
