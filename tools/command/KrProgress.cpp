#include "tools/command/KrProgress.h"

#include "platform/KrConsole.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrStandardOutput.h"
#include "tools/command/KrToolError.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <utility>

namespace KrTool
{
namespace
{
constexpr std::chrono::milliseconds kShowEvery{200};
constexpr double kFirstRate = 0.5; // seconds of a step before its rate is shown
constexpr double kMegabyte = 1e6;
constexpr double kLongestTime = 1e7; // seconds; anything longer is not an estimate

EKrProgressMode Resolved(EKrProgressMode mode)
{
    return mode == EKrProgressMode::Auto && !IsStandardErrorTerminal() ? EKrProgressMode::None : mode;
}

const char* UnitName(EKrUnit unit)
{
    static constexpr const char* kNames[] = {"items", "bytes", "chunks", "frames"};
    return kNames[static_cast<size_t>(unit)];
}

// To a tenth: further digits are not measured.
double Rounded(double value)
{
    return std::round(value * 10) / 10;
}

std::string Tenths(double value)
{
    const auto tenths = static_cast<uint64_t>(std::llround(value * 10));
    return Format("{}.{}", tenths / 10, tenths % 10);
}

std::string Amount(EKrUnit unit, uint64_t count)
{
    return unit == EKrUnit::Byte ? Tenths(static_cast<double>(count) / kMegabyte) : std::to_string(count);
}

std::string TimeText(double seconds)
{
    const auto whole = static_cast<uint64_t>(std::ceil(std::min(seconds, kLongestTime)));
    if (whole < 60)
        return Format("{} s", whole);
    if (whole < 3600)
        return Format("{}:{:02} min", whole / 60, whole % 60);
    return Format("{}:{:02} h", whole / 3600, whole / 60 % 60);
}
} // namespace

double SKrProgressState::Rate() const
{
    return seconds > 0 ? static_cast<double>(done) / seconds : 0;
}

std::optional<double> SKrProgressState::SecondsLeft() const
{
    if (total == 0 || done == 0 || seconds <= 0)
        return std::nullopt;
    return static_cast<double>(total - std::min(done, total)) / Rate();
}

std::string ProgressText(const SKrProgressState& state)
{
    const bool isBytes = state.unit == EKrUnit::Byte;
    const std::string unit = isBytes ? "MB" : UnitName(state.unit);
    std::string text = Format("{} {}", state.step, Amount(state.unit, state.done));
    if (state.total != 0)
        text += " of " + Amount(state.unit, state.total);
    text += ' ' + unit;
    if (state.seconds < kFirstRate)
        return text;
    text += Format(", {} {}/s", Tenths(state.Rate() / (isBytes ? kMegabyte : 1)), unit);
    const std::optional<double> left = state.SecondsLeft();
    return left ? Format("{}, {} left", text, TimeText(*left)) : text;
}

CKrProgress::CKrProgress(EKrProgressMode mode, std::string verb)
    : m_mode(Resolved(mode)), m_verb(std::move(verb)), m_start(Clock::now()), m_nextShow(m_start + kShowEvery)
{
}

CKrProgress::~CKrProgress()
{
    Erase();
}

void CKrProgress::Begin(std::string step, uint64_t total, EKrUnit unit)
{
    m_state = {std::move(step), unit, 0, total, 0};
    m_start = Clock::now();
}

void CKrProgress::Advance(uint64_t done)
{
    StopIfAsked();
    m_state.done = done;
    if (m_mode == EKrProgressMode::None || Clock::now() < m_nextShow)
        return;
    Show();
    m_nextShow = Clock::now() + kShowEvery;
}

void CKrProgress::StopIfAsked() const
{
    if (InterruptionRequested())
        throw CKrInterruption();
}

void CKrProgress::End()
{
    m_state.done = std::max(m_state.done, m_state.total);
    if (m_mode == EKrProgressMode::JsonLines)
        Show();
    Erase();
}

void CKrProgress::Show()
{
    m_state.seconds = std::chrono::duration<double>(Clock::now() - m_start).count();
    if (m_mode == EKrProgressMode::JsonLines)
        return ShowJson();
    std::string text = Format("{}: {}{}", m_verb, ProgressText(m_state),
                              m_details != nullptr ? m_details->Text() : std::string());
    const size_t width = text.size();
    text.resize(std::max(width, m_shownWidth), ' ');
    PrintDiagnostic('\r' + text);
    m_shownWidth = width;
}

void CKrProgress::ShowJson() const
{
    const std::optional<double> left = m_state.SecondsLeft();
    Json line = {{"verb", m_verb},
                 {"step", m_state.step},
                 {"unit", UnitName(m_state.unit)},
                 {"done", m_state.done},
                 {"total", m_state.total != 0 ? Json(m_state.total) : Json()},
                 {"perSecond", Rounded(m_state.Rate())},
                 {"secondsLeft", left ? Json(Rounded(*left)) : Json()}};
    if (m_details != nullptr)
        m_details->AddTo(line);
    PrintDiagnostic(JsonText({{"progress", line}}) + '\n');
}

void CKrProgress::Erase()
{
    if (m_mode != EKrProgressMode::Auto || m_shownWidth == 0)
        return;
    PrintDiagnostic(Format("\r{}\r", std::string(m_shownWidth, ' ')));
    m_shownWidth = 0;
}
} // namespace KrTool
