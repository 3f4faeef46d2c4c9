#include "tools/command/KrVerbTable.h"

#include "tools/command/KrFormat.h"

#include <iterator>
#include <sstream>
#include <utility>

namespace KrTool
{
const char kExitCodes[] = R"(Exit codes:
  0  done
  1  done, and the report has findings: defects of the file
  2  failed: no report, or an incomplete output
)";

namespace
{
constexpr size_t kHelpWidth = 100; // characters

// The sources break paragraphs where their lines end.
std::vector<std::string> Words(const std::string& paragraph)
{
    std::istringstream text(paragraph);
    return {std::istream_iterator<std::string>(text), {}};
}

std::string Wrapped(const std::string& paragraph)
{
    std::string text;
    size_t width = 0;
    for (const std::string& word : Words(paragraph))
    {
        if (width != 0)
        {
            const bool fits = width + 1 + word.size() <= kHelpWidth;
            text += fits ? ' ' : '\n';
            width = fits ? width + 1 : 0;
        }
        text += word;
        width += word.size();
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
        footer += Format("  {}\n", example);
    return Format("{}\n{}", footer, kExitCodes);
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
    options.AddSwitch("--json", m_json, "Report as one JSON object; on failure, an object with \"error\"");
    options.AddChoice("--progress", m_progress, "MODE",
                      {{"auto", EKrProgressMode::Auto},
                       {"none", EKrProgressMode::None},
                       {"json", EKrProgressMode::JsonLines}},
                      "Progress on the error stream: auto, none or json");
    options.AddSwitch("--quiet", m_quiet,
                      "No report in text: findings and errors alone, on the error stream");
    return options;
}

CKrVerbOptions& CKrVerbTable::AddPlain(const SKrVerbHelp& help, Run run)
{
    const auto choose = [this, name = help.name, run = std::move(run)]
    {
        m_chosenName = name;
        m_chosen = run;
    };
    SKrVerbHelp shown = help;
    for (std::string& paragraph : shown.details)
        paragraph = Joined(Words(paragraph), " ");
    m_verbs.push_back({std::move(shown), std::make_unique<CKrVerbOptions>(
                                             m_common.AddVerb(help.name, help.about, Footer(help), choose))});
    return *m_verbs.back().options;
}
} // namespace KrTool
