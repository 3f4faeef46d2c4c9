// How far a long operation has come, shown on the error stream while it runs; also the place where an
// operation learns that the user wants it to stop.
#ifndef KR_TOOLS_COMMAND_KRPROGRESS_H
#define KR_TOOLS_COMMAND_KRPROGRESS_H

#include "tools/command/KrReport.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace KrTool
{
enum class EKrProgressMode
{
    Auto, // a line that is overwritten, when the error stream is a terminal
    None,
    JsonLines // one object a line
};

// What a step counts.
enum class EKrUnit
{
    Item,
    Byte, // shown in megabytes
    Chunk,
    Frame
};

// A moment of a step.
struct SKrProgressState
{
    std::string step;
    EKrUnit unit = EKrUnit::Item;
    uint64_t done = 0;
    uint64_t total = 0; // 0: not known
    double seconds = 0; // since the step began

    [[nodiscard]] double Rate() const;                       // units per second
    [[nodiscard]] std::optional<double> SecondsLeft() const; // nothing where unknown
};

// "searching 12.3 of 45.6 MB, 20.0 MB/s, 2 s left"; rate and time left are shown once meaningful.
std::string ProgressText(const SKrProgressState& state);

// What the lines of a step show besides.
class IKrProgressDetails
{
public:
    virtual ~IKrProgressDetails() = default;

    // Follows the text, from its comma on; empty where there is nothing to say.
    [[nodiscard]] virtual std::string Text() = 0;

    virtual void AddTo(Json& line) = 0;
};

class CKrProgress
{
public:
    CKrProgress(EKrProgressMode mode, std::string verb);
    ~CKrProgress();
    CKrProgress(const CKrProgress&) = delete;
    CKrProgress& operator=(const CKrProgress&) = delete;

    // Starts a step of `total` units; 0: not known. The step says what is being done: "searching".
    void Begin(std::string step, uint64_t total, EKrUnit unit = EKrUnit::Item);

    // Shows the state from time to time. Throws CKrInterruption when the user asked to stop.
    void Advance(uint64_t done);

    // Asked whenever a line is shown, until others or null take their place.
    void SetDetails(IKrProgressDetails* details) { m_details = details; }

    // Throws CKrInterruption when the user asked to stop.
    void StopIfAsked() const;

    // Shows that the step is complete.
    void End();

private:
    using Clock = std::chrono::steady_clock;

    void Show();
    void ShowJson() const;
    void Erase();

    const EKrProgressMode m_mode;
    const std::string m_verb;
    SKrProgressState m_state;
    IKrProgressDetails* m_details = nullptr;
    size_t m_shownWidth = 0;
    Clock::time_point m_start;
    Clock::time_point m_nextShow;
};
} // namespace KrTool

#endif
