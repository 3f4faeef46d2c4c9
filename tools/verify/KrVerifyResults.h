// Results by check: the first positions in full, the others counted, so that a hostile file costs no more
// than a good one.
#ifndef KR_TOOLS_VERIFY_KRVERIFYRESULTS_H
#define KR_TOOLS_VERIFY_KRVERIFYRESULTS_H

#include "tools/command/KrFormat.h"
#include "tools/command/KrText.h"
#include "tools/verify/KrChecks.h"

#include <array>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace KrTool
{
// Expected and actual content of a position.
struct SKrExpectation
{
    std::string expected;
    std::string found;
};

struct SKrPlace
{
    uint64_t offset = 0; // in the file
    SKrExpectation what;
};

// Descriptions for CKrVerifyResults::Add. `lead` precedes both numbers.
inline auto Numbers(uint64_t expected, uint64_t found, const char* lead = "")
{
    return [=]() -> SKrExpectation
    {
        return {Format("{}{}", lead, expected), Format("{}{}", lead, found)};
    };
}

inline auto FoundId(const char* expected, uint32_t id)
{
    return [=]() -> SKrExpectation
    {
        return {expected, FourCcText(id)};
    };
}

inline auto FoundPosition(const char* expected, uint64_t position)
{
    return [=]() -> SKrExpectation
    {
        return {expected, Format("position {}", position)};
    };
}

// An entry whose place in the file comes before that of the entry before it.
inline auto FoundBefore(uint64_t last, uint64_t position)
{
    return [=]() -> SKrExpectation
    {
        return {Format("a position after {}", last), Format("position {}", position)};
    };
}

inline auto FoundChunk(const char* expected, uint32_t stream)
{
    return [=]() -> SKrExpectation
    {
        return {expected, Format("a chunk of stream {}", stream)};
    };
}

struct SKrCheckResult
{
    uint64_t count = 0;
    std::vector<SKrPlace> places; // the first kMostPlaces
};

class CKrVerifyResults
{
public:
    static constexpr size_t kMostPlaces = 5;

    // `describe` is called only for the places that are kept.
    template <class DESCRIBE>
    void Add(EKrCheck check, uint64_t offset, DESCRIBE describe)
    {
        SKrCheckResult& result = m_results[static_cast<size_t>(check)];
        if (result.count++ < kMostPlaces)
            result.places.push_back({offset, describe()});
    }

    void Add(EKrCheck check, uint64_t offset, std::string expected, std::string found)
    {
        Add(check, offset, [&]() -> SKrExpectation { return {std::move(expected), std::move(found)}; });
    }

    const SKrCheckResult& Of(EKrCheck check) const { return m_results[static_cast<size_t>(check)]; }

    // Checks with results, by severity.
    std::array<uint64_t, kSeverityCount> Kinds() const
    {
        std::array<uint64_t, kSeverityCount> kinds = {};
        for (const SKrCheck& check : kChecks)
            kinds[static_cast<size_t>(check.severity)] += Of(check.check).count != 0 ? 1 : 0;
        return kinds;
    }

    // "good", "warnings" or "errors"; and in words.
    const char* Verdict() const
    {
        const auto [errors, warnings, notes] = Kinds();
        if (errors != 0)
            return "errors";
        return warnings != 0 ? "warnings" : "good";
    }
    std::string VerdictText() const
    {
        const auto [errors, warnings, notes] = Kinds();
        if (errors + warnings != 0)
            return Format("{} of error, {} of warning", Counted(errors, "kind"), Counted(warnings, "kind"));
        return notes == 0 ? "good" : Format("good, with {} of note", Counted(notes, "kind"));
    }

private:
    std::array<SKrCheckResult, kCheckCount> m_results;
};
} // namespace KrTool

#endif
