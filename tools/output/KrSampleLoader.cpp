#include "tools/output/KrSampleLoader.h"

#include "platform/KrConsole.h"
#include "tools/command/KrToolError.h"

#include <algorithm>

namespace KrTool
{
namespace
{
constexpr size_t kMostLoadedBytes = size_t{64} << 20; // beyond that the oldest are evicted, except the last
} // namespace

uint8_t* CKrSampleLoader::Get(const void* sample, const SKrSampleBytes& bytes)
{
    const std::scoped_lock lock(m_mutex);
    if (m_isStopped || InterruptionRequested())
        return nullptr;
    const auto found = std::ranges::find(m_loaded, sample, &SLoaded::sample);
    if (found != m_loaded.end())
    {
        m_loaded.splice(m_loaded.begin(), m_loaded, found);
        return m_loaded.front().bytes.data();
    }
    if (m_failure != nullptr)
        return nullptr;
    try
    {
        if (InterruptionRequested())
            throw CKrInterruption(); // also while the writer drains its queue
        SLoaded loaded{sample, std::vector<uint8_t>(bytes.length)};
        bytes.load(loaded.bytes.data());
        m_loadedBytes += bytes.length;
        m_loaded.push_front(std::move(loaded));
        MakeRoom();
        return m_loaded.front().bytes.data();
    }
    catch (...)
    {
        m_failure = std::current_exception();
        return nullptr;
    }
}

void CKrSampleLoader::MakeRoom()
{
    while (m_loadedBytes > kMostLoadedBytes && m_loaded.size() > 1)
    {
        m_loadedBytes -= m_loaded.back().bytes.size();
        m_loaded.pop_back();
    }
}

void CKrSampleLoader::Forget(const void* sample)
{
    const std::scoped_lock lock(m_mutex);
    const auto found = std::ranges::find(m_loaded, sample, &SLoaded::sample);
    if (found == m_loaded.end())
        return;
    m_loadedBytes -= found->bytes.size();
    m_loaded.erase(found);
}

void CKrSampleLoader::ThrowIfFailed()
{
    const std::scoped_lock lock(m_mutex);
    if (m_failure != nullptr)
        std::rethrow_exception(m_failure);
}

void CKrSampleLoader::Stop()
{
    const std::scoped_lock lock(m_mutex);
    m_isStopped = true;
}

ULONG STDMETHODCALLTYPE CKrLazySample::Release()
{
    const ULONG left = --m_references;
    if (left == 0)
        delete this;
    return left;
}

HRESULT STDMETHODCALLTYPE CKrLazySample::GetPointer(BYTE** buffer)
{
    *buffer = m_loader->Get(this, m_bytes);
    return *buffer != nullptr ? S_OK : E_FAIL;
}
} // namespace KrTool
