// How far a long operation has come, shown on the error stream while it runs; also the place where an
// operation learns that the user wants it to stop.
#ifndef KR_TOOLS_COMMAND_KRPROGRESS_H
#define KR_TOOLS_COMMAND_KRPROGRESS_H

#include <chrono>
#include <cstdint>
#include <string>

namespace KrTool
{
enum class EKrProgressMode
{
    Auto, // a line that is overwritten, when the error stream is a terminal
    None,
    JsonLines // one object a line
};

class CKrProgress
{
public:
    CKrProgress(EKrProgressMode mode, std::string verb);
    ~CKrProgress();
    CKrProgress(const CKrProgress&) = delete;
    CKrProgress& operator=(const CKrProgress&) = delete;

    // Starts a step of `total` units; 0: not known.
    void Begin(std::string step, uint64_t total);

    // Shows the state from time to time. Throws CKrInterruption when the user asked to stop.
    void Advance(uint64_t done);

    // Throws CKrInterruption when the user asked to stop.
    void StopIfAsked() const;

    // Shows that the step is complete.
    void End();

private:
    using Clock = std::chrono::steady_clock;

    void Show(uint64_t done);
    void Erase();

    const EKrProgressMode m_mode;
    const std::string m_verb;
    std::string m_step;
    uint64_t m_total = 0;
    uint64_t m_done = 0;
    size_t m_shownWidth = 0;
    Clock::time_point m_nextShow;
};
} // namespace KrTool

#endif
