#include "tools/command/KrVerbTable.h"

#include "tools/command/KrText.h"

#include <charconv>
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
constexpr size_t kMostNumberDigits = 18;
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
        footer += "  " + example + '\n';
    return footer + '\n' + kExitCodes;
}

EKrProgressMode ParseProgressMode(const std::string& text)
{
    if (text == "auto")
        return EKrProgressMode::Auto;
    if (text == "none")
        return EKrProgressMode::None;
    if (text == "json")
        return EKrProgressMode::JsonLines;
    throw CLI::ValidationError("--progress", "'" + Printable(text) + "' is none of auto, none, json");
}
} // namespace

CLI::App& CKrVerbTable::Add(const SKrVerbHelp& help, std::string& file, Run run, const std::string& aboutFile)
{
    CLI::App& verb = Add(help, std::move(run));
    verb.add_option("FILE", file, aboutFile)->required()->type_name("");
    return verb;
}

CLI::App& CKrVerbTable::Add(const SKrVerbHelp& help, Run run)
{
    CLI::App& verb = AddPlain(help, std::move(run));
    verb.add_flag("--json", m_json, "Report as one JSON object; a failure gives an object with \"error\"");
    const auto setMode = [this](const std::string& text)
    {
        m_progress = ParseProgressMode(text);
    };
    CLI::Option* const progress = verb.add_option_function<std::string>(
        "--progress", setMode, "Progress on the error stream: auto, none or json");
    Offer(progress->type_name("MODE"), {"auto", "none", "json"});
    return verb;
}

CLI::App& CKrVerbTable::AddPlain(const SKrVerbHelp& help, Run run)
{
    CLI::App& verb = *m_app.add_subcommand(help.name, help.about);
    verb.footer(Footer(help));
    verb.callback(
        [this, name = help.name, run = std::move(run)]
        {
            m_chosenName = name;
            m_chosen = run;
        });
    m_verbs.push_back({help, &verb});
    return verb;
}

void CKrVerbTable::Offer(const CLI::Option* option, std::vector<std::string> values)
{
    m_values[option] = std::move(values);
}

std::vector<std::string> CKrVerbTable::ValuesOf(const CLI::Option* option) const
{
    const auto found = m_values.find(option);
    return found == m_values.end() ? std::vector<std::string>() : found->second;
}

uint64_t ParseNumber(const std::string& text)
{
    uint64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [behind, error] = std::from_chars(text.data(), end, number);
    if (text.size() > kMostNumberDigits || error != std::errc() || behind != end)
        throw CLI::ValidationError("'" + Printable(text) + "' is no decimal number in range");
    return number;
}
} // namespace KrTool
