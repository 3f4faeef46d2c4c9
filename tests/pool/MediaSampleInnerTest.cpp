// A pooled sample's count, owner and lock, tested without a pool.
#include "base/KrObject.h"
#include "pool/KrdsMediaSample.h"
#include "tests/support/KrFakeDirectShowSample.h"
#include "tests/support/KrThreadGate.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

using namespace KrTest;

namespace
{
// Records the returned elements. Lives on the test's stack.
class CRecordingOwner final : public CKrObject<IKrPoolManager>
{
public:
    CRecordingOwner() = default;
    ~CRecordingOwner() override = default;

    std::vector<IKrPoolElement*> returned;

    int GetElement(unsigned long, IKrPoolElement**) override { return 0; }
    void ReturnElement(IKrPoolElement* element) override { returned.push_back(element); }
};

// A source whose length query takes as long as the test decides.
class CSlowSource final : public CKrBareDirectShowSample
{
public:
    CKrThreadGate gate;
    std::atomic<ULONG> references = 1;

    ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
    ULONG STDMETHODCALLTYPE Release() override { return --references; }
    HRESULT STDMETHODCALLTYPE GetPointer(BYTE**) override { return E_FAIL; }
    LONG STDMETHODCALLTYPE GetSize() override { return 0; }
    LONG STDMETHODCALLTYPE GetActualDataLength() override
    {
        gate.Pass();
        return 5;
    }
};

class MediaSample : public testing::Test
{
protected:
    ~MediaSample() override
    {
        if (m_sample != nullptr)
        {
            EXPECT_EQ(m_sample->Release(), 0u);
        }
        EXPECT_EQ(m_source.references, 1u) << "the sample's reference has gone with it";
    }

    CKrFakeDirectShowSample m_source{{10, 20, 30}};
    CRecordingOwner m_owner;
    CKrdsMediaSample* m_sample = new CKrdsMediaSample;
};
} // namespace

TEST_F(MediaSample, NewOne_HasNoOwnerAndNothingToLock)
{
    EXPECT_EQ(m_sample->Owner(), nullptr);
    EXPECT_EQ(m_sample->GetDataLength(), 0u);
    uint8_t mark = 0;
    uint8_t* data = &mark;
    int32_t length = 77;
    EXPECT_EQ(m_sample->LockBuffer(&data, &length), 0);
    EXPECT_EQ(data, &mark);
    EXPECT_EQ(length, 77);
    m_sample->UnlockBuffer();
    std::thread([this] { EXPECT_EQ(m_sample->GetDataLength(), 0u); }).join(); // no lock is left held
}

TEST_F(MediaSample, NullOutputs_LockNothing)
{
    m_sample->Wrap(&m_source);
    uint8_t* data = nullptr;
    int32_t length = 0;
    EXPECT_EQ(m_sample->LockBuffer(nullptr, &length), 0);
    EXPECT_EQ(m_sample->LockBuffer(&data, nullptr), 0);
    std::thread([this] { EXPECT_EQ(m_sample->GetDataLength(), 3u); }).join();
}

TEST_F(MediaSample, ReleaseToOne_NotifiesTheOwnerOnce)
{
    m_sample->SetOwner(&m_owner);
    EXPECT_EQ(m_sample->AddRef(), 2u);
    EXPECT_EQ(m_sample->AddRef(), 3u);
    EXPECT_EQ(m_sample->Release(), 2u);
    EXPECT_TRUE(m_owner.returned.empty());
    EXPECT_EQ(m_sample->Release(), 1u);
    EXPECT_EQ(m_owner.returned, std::vector<IKrPoolElement*>{m_sample});
    EXPECT_EQ(m_sample->AddRef(), 2u); // lent again
    EXPECT_EQ(m_sample->Release(), 1u);
    EXPECT_EQ(m_owner.returned.size(), 2u);
}

TEST_F(MediaSample, ReleaseToOneWithoutAnOwner_OnlyCounts)
{
    m_sample->Wrap(&m_source);
    EXPECT_EQ(m_sample->AddRef(), 2u);
    EXPECT_EQ(m_sample->Release(), 1u);
    EXPECT_EQ(m_sample->GetDataLength(), 3u);
}

TEST_F(MediaSample, LastRelease_DestroysItAndNotifiesNoOwner)
{
    m_sample->SetOwner(&m_owner);
    m_sample->Wrap(&m_source);
    EXPECT_EQ(m_source.references, 2u);
    EXPECT_EQ(m_sample->Release(), 0u);
    m_sample = nullptr;
    EXPECT_EQ(m_source.references, 1u);
    EXPECT_TRUE(m_owner.returned.empty());
}

TEST_F(MediaSample, Destruction_ReleasesTheSource)
{
    m_sample->Wrap(&m_source);
    delete m_sample; // as the deleting destructor does, without a Release
    m_sample = nullptr;
    EXPECT_EQ(m_source.references, 1u);
}

TEST_F(MediaSample, Reset_ForgetsTheSource)
{
    m_sample->Wrap(&m_source);
    m_sample->ResetElement();
    EXPECT_EQ(m_source.references, 1u);
    EXPECT_EQ(m_sample->GetDataLength(), 0u);
    uint8_t* data = nullptr;
    int32_t length = 0;
    EXPECT_EQ(m_sample->LockBuffer(&data, &length), 0);
    m_sample->ResetElement(); // nothing to forget
    EXPECT_EQ(m_source.references, 1u);
}

// The hold of a lock that is forgotten is never given back: the other thread waits until the program ends.
TEST_F(MediaSample, LocksBeforeAReset_AreNotUnlockedAfterIt)
{
    uint8_t* data = nullptr;
    int32_t length = 0;
    m_sample->Wrap(&m_source);
    ASSERT_EQ(m_sample->LockBuffer(&data, &length), 1);
    m_sample->ResetElement();
    m_sample->UnlockBuffer();
    const auto answered = std::make_shared<std::atomic<bool>>(false);
    std::thread(
        [answered, sample = std::exchange(m_sample, nullptr)]
        {
            sample->GetDataLength();
            *answered = true;
        })
        .detach();
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_FALSE(*answered);
}

TEST_F(MediaSample, Reset_TakesNoLock)
{
    CSlowSource slow;
    m_sample->Wrap(&slow);
    std::jthread other([this] { EXPECT_EQ(m_sample->GetDataLength(), 5u); });
    const CKrGateOpener opener(slow.gate);
    ASSERT_TRUE(slow.gate.WaitForArrival()) << "it holds the sample's lock now";
    m_sample->ResetElement();
    EXPECT_EQ(slow.references, 1u);
}

TEST_F(MediaSample, OtherSource_ReplacesTheOneBefore)
{
    CKrFakeDirectShowSample next;
    m_sample->Wrap(&m_source);
    m_sample->Wrap(&next);
    EXPECT_EQ(m_source.references, 1u);
    EXPECT_EQ(next.references, 2u);
    m_sample->ResetElement();
}
