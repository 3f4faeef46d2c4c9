// Files with private chunks of all kinds, good and bad, at positions where they count and where they do not.
#ifndef KR_TESTS_READER_PRIVATECHUNKFILES_H
#define KR_TESTS_READER_PRIVATECHUNKFILES_H

#include "tests/support/KrSimpleAvi.h"

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace KrTest
{
class CRandomAvi
{
public:
    explicit CRandomAvi(uint32_t seed) : m_random(seed) {}

    // A file with valid headers; anything may surround 'movi' in its segments.
    [[nodiscard]] CKrFileContent Build()
    {
        SKrSimpleAvi avi;
        avi.streams = {VideoStream({100, 30, 9000, 20})};
        avi.index = EKrIndexKind::None;
        static const std::vector<size_t> segments[] = {{}, {}, {2, 2}, {1, 1, 2}};
        avi.roundsPerSegment = segments[Below(4)];
        for (KrBuilderHook* const hook : {&avi.beforeMovi, &avi.afterMovi, &avi.endOfRiff, &avi.startOfAvix,
                                          &avi.endOfAvix, &avi.endOfFile})
            *hook = [this](CKrAviBuilder& file)
            {
                for (size_t left = Below(5); left > 0; --left)
                    PutAnything(file);
            };
        SKrBuiltAvi built = BuildSimpleAvi(avi);
        if (Below(4) == 0)
        {
            const SKrBuiltChunk& segment = built.segments[Below(built.segments.size())];
            built.content.PutU32(segment.header + 4, WrongSize(segment.size));
        }
        if (Below(6) == 0)
            built.content.Resize(built.content.Size() - Below(600));
        return built.content;
    }

    size_t Below(size_t limit) { return m_random() % limit; }

private:
    uint32_t WrongSize(size_t size)
    {
        switch (Below(4))
        {
        case 0:
            return static_cast<uint32_t>(size + Below(600));
        case 1:
            return static_cast<uint32_t>(size - Below(size < 600 ? size + 1 : 600));
        case 2:
            return 0xFFFFFFFF - static_cast<uint32_t>(Below(3));
        default:
            return static_cast<uint32_t>(Below(30));
        }
    }

    void PutAnything(CKrAviBuilder& file)
    {
        switch (Below(8))
        {
        case 0:
            file.Zeros(Below(12));
            break;
        case 1:
            file.List("any ", [this, &file] { PutPrivate(file); });
            break;
        case 2:
            file.Chunk("JUNK", KrBytes(Below(3) * Below(9000), 0x33));
            break;
        default:
            PutPrivate(file);
        }
    }

    void PutPrivate(CKrAviBuilder& file)
    {
        static constexpr uint8_t kModes[] = {0, 1, 2, 3, 0xFF};
        static constexpr uint32_t kSides[] = {1, 16, 15, 64, 45, 0, 0x80000001};
        const uint8_t mode = kModes[Below(5)];
        const uint32_t horizontal = kSides[Below(7)];
        const uint32_t vertical = kSides[Below(7)];
        const size_t kind = Below(3);
        KrBytes data =
            kind == 0
                ? ToBytes(SKrTestKrlA{
                      .scanMode = mode, .horizontal = horizontal, .vertical = vertical, .size = Size(508)})
            : kind == 1
                ? ToBytes(SKrTestCtsI{.scanMode = mode, .size = Size(196)})
                : ToBytes(SKrTestPrmA{.horizontal = horizontal, .vertical = vertical, .size = Size(20)});
        if (!data.empty() && Below(3) == 0)
            data[Below(std::min<size_t>(data.size(), 30))] ^= 1;
        static const std::string kIds[] = {"KrlA", "CtsI", "PrmA"};
        SKrChunkOptions options;
        if (Below(8) == 0)
            options.size = WrongSize(data.size());
        file.Chunk(kIds[kind], data, options);
    }

    size_t Size(size_t usual)
    {
        static constexpr size_t kSizes[] = {0, 19, 20, 21, 24, 25, 512, 513, 700};
        return Below(3) == 0 ? kSizes[Below(9)] : usual;
    }

    std::mt19937 m_random;
};
} // namespace KrTest

#endif
