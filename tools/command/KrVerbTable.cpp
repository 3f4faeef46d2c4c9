#include "tools/command/KrVerbTable.h"

#include <fmt/format.h>

#include <sstream>
#include <utility>

namespace KrTool
{
const char kExitCodes[] = "Exit codes:\n"
                          "  0  done\n"
                          "  1  done, and the report has findings: something is wrong with the file\n"
                          "  2  failed: nothing to report, or the output is not complete\n";

namespace
{
constexpr size_t kHelpWidth = 100; // characters

std::string Wrapped(const std::string& paragraph)
{
    std::istringstream words(paragraph);
    std::string text;
    size_t width = 0;
    for (std::string word; words >> word; width += word.size())
    {
        if (width != 0)
        {
            const bool fits = width + 1 + word.size() <= kHelpWidth;
            text += fits ? ' ' : '\n';
            width = fits ? width + 1 : 0;
        }
        text += word;
    }
    return text + '\n';
}

std::string Footer(const SKrVerbHelp& help)
{
    std::string footer;
    for (const std::string& paragraph : help.details)
        footer += Wrapped(paragraph) + '\n';
    footer += "Examples:\n";
    for (const std::string& example : help.examples)
        footer += fmt::format("  {}\n", example);
    return fmt::format("{}\n{}", footer, kExitCodes);
}
} // namespace

CKrVerbOptions& CKrVerbTable::Add(const SKrVerbHelp& help, std::string& file, Run run,
                                  const std::string& aboutFile)
{
    CKrVerbOptions& options = Add(help, std::move(run));
    options.AddArgument("FILE", file, aboutFile);
    return options;
}

CKrVerbOptions& CKrVerbTable::Add(const SKrVerbHelp& help, Run run)
{
    CKrVerbOptions& options = AddPlain(help, std::move(run));
    options.AddSwitch("--json", m_json,
                      "Report as one JSON object; a failure gives an object with \"error\"");
    options.AddChoice("--progress", m_progress, "MODE",
                      {{"auto", EKrProgressMode::Auto},
                       {"none", EKrProgressMode::None},
                       {"json", EKrProgressMode::JsonLines}},
                      "Progress on the error stream: auto, none or json");
    return options;
}

CKrVerbOptions& CKrVerbTable::AddPlain(const SKrVerbHelp& help, Run run)
{
    const auto choose = [this, name = help.name, run = std::move(run)]
    {
        m_chosenName = name;
        m_chosen = run;
    };
    m_verbs.push_back({help, std::make_unique<CKrVerbOptions>(
                                 m_common.AddVerb(help.name, help.about, Footer(help), choose))});
    return *m_verbs.back().options;
}
} // namespace KrTool
