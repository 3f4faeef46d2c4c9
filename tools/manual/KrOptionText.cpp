#include "tools/manual/KrOptionText.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace KrTool
{
namespace
{
constexpr std::array<std::string_view, 5> kFileArguments = {"FILE", "FOLDER", "NAME", "OUTPUT", "PATTERN"};

SKrOptionText TextOf(const CKrVerbTable& verbs, const CLI::Option& option)
{
    SKrOptionText text;
    text.about = option.get_description();
    text.values = verbs.ValuesOf(&option);
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
    text.takesFile = std::ranges::find(kFileArguments, text.argument) != kFileArguments.end();
    return text;
}
} // namespace

std::vector<SKrOptionText> OptionTexts(const CKrVerbTable& verbs, const CLI::App& verb)
{
    std::vector<SKrOptionText> texts;
    for (const CLI::Option* const option : verb.get_options())
        texts.push_back(TextOf(verbs, *option));
    // Arguments come in the order in which they are given, then the options.
    std::stable_partition(texts.begin(), texts.end(),
                          [](const SKrOptionText& text) { return text.isPositional; });
    return texts;
}

std::string UsageLine(const CKrVerbTable& verbs, const CKrVerbTable::SKrVerb& verb)
{
    std::string line = "kravi " + verb.help.name + " [OPTIONS]";
    for (const SKrOptionText& text : OptionTexts(verbs, *verb.options))
    {
        if (!text.isPositional)
            continue;
        const std::string name = text.names.front() + (text.takesMany ? "..." : "");
        line += text.isRequired ? ' ' + name : " [" + name + ']';
    }
    return line;
}
} // namespace KrTool
