// The header-only helpers for hosts.
#include "KrRiffUtils/KrHostObjects.h"
#include "KrRiffUtils/KrRiffUtils.h"

#include <gtest/gtest.h>

using namespace KrHost;

namespace
{
// Tells when it goes.
class CToldSample final : public CKrByteSample
{
public:
    CToldSample(std::vector<uint8_t> bytes, int& gone) : CKrByteSample(std::move(bytes)), m_gone(gone) {}
    ~CToldSample() override { ++m_gone; }

private:
    int& m_gone;
};

CKrPointer<CToldSample> Told(int& gone, std::vector<uint8_t> bytes = {1, 2, 3})
{
    return CKrPointer<CToldSample>::Adopt(new CToldSample(std::move(bytes), gone));
}
} // namespace

TEST(HostPointer, LastOneReleasesTheObject)
{
    int gone = 0;
    CKrPointer<CToldSample> one = Told(gone);
    CKrPointer<CToldSample> two = one;
    one.Reset();
    EXPECT_FALSE(one);
    EXPECT_EQ(gone, 0);
    CKrPointer<CToldSample> three = std::move(two);
    EXPECT_FALSE(two);
    EXPECT_TRUE(three);
    three = three.Get() != nullptr ? three : two; // itself
    EXPECT_EQ(gone, 0);
    two = three;
    three = Told(gone);
    EXPECT_EQ(gone, 0);
    two.Reset();
    EXPECT_EQ(gone, 1);
    CToldSample* const bare = three.Detach();
    EXPECT_FALSE(three);
    EXPECT_EQ(bare->Release(), 0u);
    EXPECT_EQ(gone, 2);
}

TEST(HostPointer, TakesWhatAFactoryMakes)
{
    CKrPointer<IKrRiffReader> reader;
    ASSERT_EQ(KrCreateRiffReader(reader.Put()), 1);
    ASSERT_EQ(KrCreateRiffReader(reader.Put()), 1) << "the first one is released";
    EXPECT_EQ((*reader).AddRef(), 2u);
    EXPECT_EQ(reader->Release(), 1u);
}

TEST(HostSample, GivesItsBytes)
{
    int gone = 0;
    {
        const CKrPointer<CToldSample> sample = Told(gone, {7, 8, 9});
        EXPECT_EQ(sample->GetDataLength(), 3u);
        uint8_t* data = nullptr;
        int32_t length = 0;
        ASSERT_EQ(sample->LockBuffer(&data, &length), 1);
        EXPECT_EQ(std::vector<uint8_t>(data, data + length), (std::vector<uint8_t>{7, 8, 9}));
        sample->UnlockBuffer();
        IKrMediaSample* const plain = sample.Get();
        EXPECT_EQ(plain->AddRef(), 2u);
        EXPECT_EQ(plain->Release(), 1u);
    }
    EXPECT_EQ(gone, 1);
}

TEST(HostSample, WithoutBytes_CannotBeLocked)
{
    const CKrPointer<CKrByteSample> sample = CKrByteSample::Make({});
    uint8_t* data = nullptr;
    int32_t length = 5;
    EXPECT_EQ(sample->LockBuffer(&data, &length), 0);
    EXPECT_EQ(length, 5);
    EXPECT_EQ(sample->GetDataLength(), 0u);
}
