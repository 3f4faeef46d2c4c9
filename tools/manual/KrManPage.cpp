#include "tools/manual/KrManPage.h"

#include "tools/command/KrFormat.h"
#include "tools/command/KrText.h"
#include "tools/manual/KrUsageLine.h"

#include <algorithm>

namespace KrTool
{
namespace
{
// Characters that the formatter would interpret.
constexpr SKrEscape kRoffEscapes[] = {{'\\', "\\e"},  {'-', "\\-"},   {'\'', "\\(aq"}, {'"', "\\(dq"},
                                      {'`', "\\(ga"}, {'^', "\\(ha"}, {'~', "\\(ti"}};

// A line must not begin with a point, which would make it a request.
std::string Escaped(const std::string& text)
{
    std::string out = WithEscapes(text, kRoffEscapes);
    for (size_t place = 0; place < out.size(); ++place)
    {
        if (out[place] == '.' && (place == 0 || out[place - 1] == '\n'))
            out.insert(place, "\\&");
    }
    return out;
}

std::string Paragraph(const std::string& text)
{
    return Format(".PP\n{}\n", Escaped(text));
}

// Lines that stay as they are.
std::string Lines(const std::string& lines)
{
    return Format(".PP\n.RS 4\n.nf\n{}{}.fi\n.RE\n", Escaped(lines), lines.ends_with('\n') ? "" : "\n");
}

// An option, or an argument, with its value.
std::string OptionNames(const SKrOptionText& option)
{
    std::string names;
    for (const std::string& name : option.names)
        names += Format("{}\\fB{}\\fR", names.empty() ? "" : ", ", Escaped(name));
    if (!option.argument.empty())
        names += Format(" \\fI{}\\fR", Escaped(option.argument));
    return names;
}

std::string OptionEntry(const SKrOptionText& option)
{
    return Format(".TP\n{}\n{}\n", OptionNames(option), Escaped(option.about));
}

// An option with the same text in several verbs, which is described once.
struct SKrSharedOption
{
    SKrOptionText text;
    std::string entry;
    std::vector<std::string> verbs;
};

// In the order of the verbs; those of the program itself first, as all verbs have them.
std::vector<SKrSharedOption> SharedOptions(const CKrVerbTable& verbs)
{
    std::vector<SKrSharedOption> options;
    for (const CKrVerbTable::SKrVerb& verb : verbs.Verbs())
    {
        for (const SKrOptionText& text : verb.options->Texts())
        {
            const std::string entry = OptionEntry(text);
            auto known = std::ranges::find(options, entry, &SKrSharedOption::entry);
            if (!text.isPositional && known == options.end())
                known = options.insert(options.end(), {text, entry, {}});
            if (!text.isPositional)
                known->verbs.push_back(verb.help.name);
        }
    }
    std::erase_if(options, [](auto& option) { return option.verbs.size() == 1; });
    return options;
}

// "Of all verbs but man and completion."
std::string VerbsText(const SKrSharedOption& option, const CKrVerbTable& verbs)
{
    std::vector<std::string> others;
    for (const CKrVerbTable::SKrVerb& verb : verbs.Verbs())
    {
        if (std::ranges::find(option.verbs, verb.help.name) == option.verbs.end())
            others.push_back(verb.help.name);
    }
    if (others.empty())
        return "Of all verbs.";
    const bool isOfMost = others.size() < option.verbs.size();
    std::vector<std::string> names = isOfMost ? others : option.verbs;
    const std::string last = names.back();
    names.pop_back();
    const std::string list = names.empty() ? last : Joined(names, ", ") + " and " + last;
    return Format("Of {}{}.", isOfMost ? "all verbs but " : "", list);
}

std::string SharedSection(const std::vector<SKrSharedOption>& options, const CKrVerbTable& verbs)
{
    std::string page = ".SH OPTIONS OF SEVERAL VERBS\n";
    for (const SKrSharedOption& option : options)
        page += Format("{}.br\n{}\n", option.entry, Escaped(VerbsText(option, verbs)));
    return page;
}

std::string VerbSection(const CKrVerbTable::SKrVerb& verb, const std::vector<SKrSharedOption>& shared)
{
    std::string page = Format(".SS {}\n", Escaped(UsageLine(verb)));
    page += Escaped(verb.help.about) + ".\n";
    for (const std::string& paragraph : verb.help.details)
        page += Paragraph(paragraph);
    std::vector<std::string> others;
    for (const SKrOptionText& option : verb.options->Texts())
    {
        const std::string entry = OptionEntry(option);
        if (std::ranges::find(shared, entry, &SKrSharedOption::entry) == shared.end())
            page += entry;
        else
            others.push_back(OptionNames(option));
    }
    page += Format(".PP\nAlso, described under OPTIONS OF SEVERAL VERBS: {}.\n", Joined(others, ", "));
    std::string examples;
    for (const std::string& example : verb.help.examples)
        examples += example + '\n';
    return examples.empty() ? page : page + Paragraph("Examples:") + Lines(examples);
}
} // namespace

std::string ManPage(const CKrVerbTable& verbs, const std::string& version)
{
    std::string page = Format(".TH KRAVI 1 \"\" \"kravi {}\" \"User Commands\"\n", version);
    page += ".SH NAME\nkravi \\- inspect, extract, repair and write AVI files\n.SH SYNOPSIS\n";
    for (const CKrVerbTable::SKrVerb& verb : verbs.Verbs())
        page += Format("{}{}\n", &verb == &verbs.Verbs().front() ? "" : ".br\n", Escaped(UsageLine(verb)));
    page += Format(".SH DESCRIPTION\n{}\n", Escaped(verbs.About()));
    page += Paragraph(
        "Reports go to the standard output, diagnostics and progress to the error stream. A file "
        "that exists is replaced only with --force. An output gets its name when it is "
        "complete; until then it has a temporary name in the same folder, and an interrupted run removes "
        "it. Numbers of streams and frames count from 0.");
    page += Paragraph("kravi --version prints the version.");
    const std::vector<SKrSharedOption> shared = SharedOptions(verbs);
    page += ".SH VERBS\n";
    for (const CKrVerbTable::SKrVerb& verb : verbs.Verbs())
        page += VerbSection(verb, shared);
    page += SharedSection(shared, verbs);
    const std::string exitCodes(kExitCodes);
    page += Format(".SH EXIT STATUS\n.nf\n{}.fi\n", Escaped(exitCodes.substr(exitCodes.find('\n') + 1)));
    return page;
}
} // namespace KrTool
