#include "tools/manual/KrManPage.h"

#include "tools/command/KrFormat.h"
#include "tools/command/KrText.h"
#include "tools/manual/KrUsageLine.h"

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

std::string OptionEntry(const SKrOptionText& option)
{
    std::string names;
    for (const std::string& name : option.names)
        names += Format("{}\\fB{}\\fR", names.empty() ? "" : ", ", Escaped(name));
    if (!option.argument.empty())
        names += Format(" \\fI{}\\fR", Escaped(option.argument));
    return Format(".TP\n{}\n{}\n", names, Escaped(option.about));
}

std::string VerbSection(const CKrVerbTable::SKrVerb& verb)
{
    std::string page = Format(".SS {}\n", Escaped(UsageLine(verb)));
    page += Escaped(verb.help.about) + ".\n";
    for (const std::string& paragraph : verb.help.details)
        page += Paragraph(paragraph);
    for (const SKrOptionText& option : verb.options->Texts())
        page += OptionEntry(option);
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
    for (const SKrOptionText& option : verbs.CommonOptions().Texts())
        page += OptionEntry(option);
    page += ".SH VERBS\n";
    for (const CKrVerbTable::SKrVerb& verb : verbs.Verbs())
        page += VerbSection(verb);
    const std::string exitCodes(kExitCodes);
    page += Format(".SH EXIT STATUS\n.nf\n{}.fi\n", Escaped(exitCodes.substr(exitCodes.find('\n') + 1)));
    return page;
}
} // namespace KrTool
