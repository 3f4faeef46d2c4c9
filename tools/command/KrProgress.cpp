#include "tools/command/KrProgress.h"

#include "tools/command/KrReport.h"
#include "tools/command/KrStandardOutput.h"
#include "tools/command/KrToolError.h"
#include "tools/platform/KrToolPlatform.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace KrTool
{
namespace
{
constexpr std::chrono::milliseconds kShowEvery{200};

EKrProgressMode Resolved(EKrProgressMode mode)
{
    return mode == EKrProgressMode::Auto && !IsStandardErrorTerminal() ? EKrProgressMode::None : mode;
}
} // namespace

CKrProgress::CKrProgress(EKrProgressMode mode, std::string verb)
    : m_mode(Resolved(mode)), m_verb(std::move(verb)), m_nextShow(Clock::now() + kShowEvery)
{
}

CKrProgress::~CKrProgress()
{
    Erase();
}

void CKrProgress::Begin(std::string step, uint64_t total)
{
    m_step = std::move(step);
    m_total = total;
    m_done = 0;
}

void CKrProgress::Advance(uint64_t done)
{
    StopIfAsked();
    m_done = done;
    if (m_mode == EKrProgressMode::None || Clock::now() < m_nextShow)
        return;
    Show(done);
    m_nextShow = Clock::now() + kShowEvery;
}

void CKrProgress::StopIfAsked() const
{
    if (InterruptionRequested())
        throw CKrInterruption();
}

void CKrProgress::End()
{
    if (m_mode == EKrProgressMode::JsonLines)
        Show(std::max(m_done, m_total));
    Erase();
}

void CKrProgress::Show(uint64_t done)
{
    if (m_mode == EKrProgressMode::JsonLines)
    {
        Json line = {{"verb", m_verb}, {"step", m_step}, {"done", done}, {"total", nullptr}};
        if (m_total != 0)
            line["total"] = m_total;
        PrintDiagnostic(JsonText({{"progress", line}}) + '\n');
        return;
    }
    std::string text = m_verb + ": " + m_step + ' ' + std::to_string(done);
    if (m_total != 0)
        text += " of " + std::to_string(m_total);
    const size_t width = text.size();
    text.resize(std::max(width, m_shownWidth), ' ');
    PrintDiagnostic('\r' + text);
    m_shownWidth = width;
}

void CKrProgress::Erase()
{
    if (m_mode != EKrProgressMode::Auto || m_shownWidth == 0)
        return;
    PrintDiagnostic('\r' + std::string(m_shownWidth, ' ') + '\r');
    m_shownWidth = 0;
}
} // namespace KrTool
