// The queries in tests: outputs are marked before, and the result holds status and outputs.
#ifndef KR_TESTS_RIFFUTILS_KRQUERIES_H
#define KR_TESTS_RIFFUTILS_KRQUERIES_H

#include "KrRiffUtils/KrRiffUtils.h"
#include "base/KrRef.h"
#include "tests/support/KrSimpleAvi.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <thread>

namespace KrTest
{
// The outputs before a query.
inline constexpr int kMarkedMode = 77;
inline constexpr int kMarkedHorizontal = 7777;
inline constexpr int kMarkedVertical = 8888;

struct SKrModeAnswer
{
    int status = 0;
    int mode = kMarkedMode;

    bool operator==(const SKrModeAnswer&) const = default;
    friend std::ostream& operator<<(std::ostream& out, const SKrModeAnswer& answer)
    {
        return out << "status " << answer.status << ", mode " << answer.mode;
    }
};

struct SKrAspectAnswer
{
    int status = 0;
    int horizontal = kMarkedHorizontal;
    int vertical = kMarkedVertical;

    bool operator==(const SKrAspectAnswer&) const = default;
    friend std::ostream& operator<<(std::ostream& out, const SKrAspectAnswer& answer)
    {
        return out << "status " << answer.status << ", aspect " << answer.horizontal << ":"
                   << answer.vertical;
    }
};

inline constexpr SKrModeAnswer kNoMode{};          // 0, and nothing was written
inline constexpr SKrModeAnswer kModeNotSet{0, -1}; // 0, and -1 was written
inline constexpr SKrAspectAnswer kNoAspect{};

constexpr SKrModeAnswer Mode(int mode)
{
    return {1, mode};
}

constexpr SKrAspectAnswer Aspect(int horizontal, int vertical)
{
    return {1, horizontal, vertical};
}

// `source` is a reader or a path.
template <class Source>
SKrModeAnswer AskMode(Source source)
{
    auto mode = static_cast<EKrScanMode>(kMarkedMode);
    const int status = KrRiffUtils::GetAviScanMode(source, mode);
    return {status, static_cast<int>(mode)};
}

template <class Source>
SKrModeAnswer AskMode(Source source, int flavour)
{
    auto mode = static_cast<EKrScanMode>(kMarkedMode);
    const int status = KrRiffUtils::GetAviScanModeFromPrivateChunk(source, flavour, mode);
    return {status, static_cast<int>(mode)};
}

template <class Source>
SKrAspectAnswer AskAspect(Source source)
{
    SKrAspectAnswer answer;
    answer.status = KrRiffUtils::GetAviPixelAspectRatio(source, answer.horizontal, answer.vertical);
    return answer;
}

template <class Source>
SKrAspectAnswer AskAspect(Source source, int flavour)
{
    SKrAspectAnswer answer;
    answer.status = KrRiffUtils::GetAviPixelAspectRatioFromPrivateChunk(source, flavour, answer.horizontal,
                                                                        answer.vertical);
    return answer;
}

// All four queries of a source, each of which must find nothing and write nothing.
template <class Source>
void ExpectNothing(Source source)
{
    EXPECT_EQ(AskMode(source), kNoMode);
    EXPECT_EQ(AskAspect(source), kNoAspect);
    for (const int flavour : {1, 2})
    {
        EXPECT_EQ(AskMode(source, flavour), kNoMode) << flavour;
        EXPECT_EQ(AskAspect(source, flavour), kNoAspect) << flavour;
    }
}

// A small file without private chunks.
inline SKrSimpleAvi SmallAvi()
{
    SKrSimpleAvi avi;
    avi.streams = {VideoStream({100})};
    return avi;
}

// The same with a scan mode and an aspect of x:1 in 'KrlA'.
inline SKrSimpleAvi SmallAviWithKrlA(uint8_t scanMode, uint32_t horizontal = 3)
{
    SKrSimpleAvi avi = SmallAvi();
    avi.krlA = SKrTestKrlA{.scanMode = scanMode, .horizontal = horizontal};
    return avi;
}

inline CKrRef<IKrRiffReader> NewReader()
{
    CKrRef<IKrRiffReader> reader;
    EXPECT_EQ(KrCreateRiffReader(reader.Put()), 1);
    return reader;
}

inline CKrRef<IKrRiffReader> OpenedReader(const std::wstring& path)
{
    CKrRef<IKrRiffReader> reader = NewReader();
    EXPECT_EQ(reader->Open(path.c_str()), 1);
    return reader;
}

// Runs a function on its own thread and returns its result.
template <class Operation>
auto OnAnotherThread(Operation&& operation)
{
    decltype(operation()) result{};
    std::thread([&] { result = operation(); }).join();
    return result;
}

// Whether another thread gets the reader's lock, which it takes for a moment, in an open file.
inline bool AnotherThreadMayWalk(IKrRiffReader& reader)
{
    return OnAnotherThread([&] { return reader.FindFirstRiffSegment() == 1; });
}
} // namespace KrTest

#endif
