#include "tools/command/KrVerbOptions.h"

#include "tools/command/KrFormat.h"
#include "tools/command/KrText.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

namespace KrTool
{
namespace
{
constexpr size_t kMostNumberDigits = 18;
constexpr std::array<std::string_view, 5> kFileKinds = {"FILE", "FOLDER", "NAME", "OUTPUT", "PATTERN"};

// A decimal number; CLI11's own conversion takes octal and hexadecimal ones as well.
uint64_t ParseNumber(const std::string& name, const std::string& text)
{
    uint64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    if (text.size() > kMostNumberDigits || error != std::errc() || rest != end)
        throw CLI::ValidationError(name, Format("'{}' is not a decimal number in range", Printable(text)));
    return number;
}

double ParseSeconds(const std::string& name, const std::string& text)
{
    constexpr double kMost = 1e9;
    double seconds = -1;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, seconds, std::chars_format::fixed);
    if (error != std::errc() || rest != end || !(seconds >= 0 && seconds <= kMost))
        throw CLI::ValidationError(name, Format("'{}' is not a number of seconds", Printable(text)));
    return seconds;
}

size_t ParseChoice(const std::string& name, const std::vector<std::string>& words, const std::string& text)
{
    const auto found = std::ranges::find(words, text);
    if (found != words.end())
        return static_cast<size_t>(found - words.begin());
    throw CLI::ValidationError(name, Format("'{}' is not one of {}", Printable(text), Joined(words, ", ")));
}

// Messages could not name a file with an empty name.
std::string EmptyName(const std::string& name)
{
    return name.empty() ? "the name is empty" : std::string();
}
} // namespace

CKrVerbOptions CKrVerbOptions::AddVerb(const std::string& name, const std::string& about,
                                       const std::string& footer, std::function<void()> chosen)
{
    CLI::App& verb = *m_verb.add_subcommand(name, about);
    verb.footer(footer)->callback(std::move(chosen));
    return CKrVerbOptions(verb);
}

void CKrVerbOptions::AddArgument(const std::string& name, std::string& value, const std::string& about)
{
    m_verb.add_option(name, value, about)->required()->type_name("")->check(EmptyName);
}

void CKrVerbOptions::AddOptionalArgument(const std::string& name, std::string& value,
                                         const std::string& about)
{
    m_verb.add_option(name, value, about)->type_name("")->check(EmptyName);
}

void CKrVerbOptions::AddArguments(const std::string& name, std::vector<std::string>& values,
                                  const std::string& about, bool isRequired)
{
    m_verb.add_option(name, values, about)->required(isRequired)->type_name("")->check(EmptyName);
}

void CKrVerbOptions::AddSwitch(const std::string& names, bool& isOn, const std::string& about)
{
    m_verb.add_flag(names, isOn, about);
}

void CKrVerbOptions::AddText(const std::string& names, std::string& value, const std::string& kind,
                             const std::string& about)
{
    m_verb.add_option(names, value, about)->type_name(kind);
}

void CKrVerbOptions::AddRequiredText(const std::string& names, std::string& value, const std::string& kind,
                                     const std::string& about)
{
    m_verb.add_option(names, value, about)->required()->type_name(kind)->check(EmptyName);
}

void CKrVerbOptions::AddNumber(const std::string& name, const std::string& about,
                               std::function<void(uint64_t)> set)
{
    const auto setParsed = [name, set = std::move(set)](const std::string& text)
    {
        set(ParseNumber(name, text));
    };
    m_verb.add_option_function<std::string>(name, setParsed, about)->type_name("N");
}

void CKrVerbOptions::AddSeconds(const std::string& name, double& value, const std::string& about)
{
    const auto setParsed = [name, &value](const std::string& text)
    {
        value = ParseSeconds(name, text);
    };
    m_verb.add_option_function<std::string>(name, setParsed, about)->type_name("SECONDS");
}

void CKrVerbOptions::AddChoice(const std::string& name, const std::string& kind,
                               std::vector<std::string> words, const std::string& about,
                               std::function<void(size_t)> choose)
{
    const auto chooseParsed = [name, words, choose = std::move(choose)](const std::string& text)
    {
        choose(ParseChoice(name, words, text));
    };
    CLI::Option* const option = m_verb.add_option_function<std::string>(name, chooseParsed, about);
    option->type_name(kind)->required(kind.empty());
    m_words[option] = std::move(words);
}

void CKrVerbOptions::Suggest(const std::string& name, std::vector<std::string> words)
{
    m_words[m_verb.get_option(name)] = std::move(words);
}

SKrOptionText CKrVerbOptions::TextOf(const CLI::Option& option) const
{
    SKrOptionText text;
    const auto words = m_words.find(&option);
    if (words != m_words.end())
        text.values = words->second;
    text.about = option.get_description();
    text.isPositional = option.get_positional();
    text.isRequired = option.get_required();
    text.takesMany = option.get_items_expected_max() > 1;
    if (text.isPositional)
    {
        text.names.push_back(option.get_name(true));
        text.takesFile = text.values.empty();
        return text;
    }
    for (const std::string& name : option.get_snames())
        text.names.push_back("-" + name);
    for (const std::string& name : option.get_lnames())
        text.names.push_back("--" + name);
    if (option.get_items_expected_max() > 0)
        text.argument = option.get_type_name();
    text.takesFile = std::ranges::find(kFileKinds, text.argument) != kFileKinds.end();
    return text;
}

std::vector<SKrOptionText> CKrVerbOptions::Texts() const
{
    std::vector<SKrOptionText> texts;
    for (const CLI::Option* const option : std::as_const(m_verb).get_options())
        texts.push_back(TextOf(*option));
    std::stable_partition(texts.begin(), texts.end(),
                          [](const SKrOptionText& text) { return text.isPositional; });
    return texts;
}
} // namespace KrTool
