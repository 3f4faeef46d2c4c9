#include "tools/manual/KrManPage.h"

#include "tools/manual/KrUsageLine.h"

namespace KrTool
{
namespace
{
// How a character is written that the formatter would read as a command or as typography; null for others.
const char* EscapeOf(char character)
{
    switch (character)
    {
    case '\\':
        return "\\e";
    case '-':
        return "\\-";
    case '\'':
        return "\\(aq";
    case '"':
        return "\\(dq";
    case '`':
        return "\\(ga";
    case '^':
        return "\\(ha";
    case '~':
        return "\\(ti";
    default:
        return nullptr;
    }
}

std::string Escaped(const std::string& text)
{
    std::string out;
    for (const char character : text)
    {
        const bool isLineStart = out.empty() || out.back() == '\n';
        if (isLineStart && character == '.')
            out += "\\&";
        if (const char* const escape = EscapeOf(character))
            out += escape;
        else
            out += character;
    }
    return out;
}

std::string Paragraph(const std::string& text)
{
    return ".PP\n" + Escaped(text) + '\n';
}

// Lines that stay as they are.
std::string Lines(const std::string& lines)
{
    return ".PP\n.RS 4\n.nf\n" + Escaped(lines) + (lines.ends_with('\n') ? "" : "\n") + ".fi\n.RE\n";
}

std::string OptionEntry(const SKrOptionText& option)
{
    std::string names;
    for (const std::string& name : option.names)
        names += (names.empty() ? "" : ", ") + ("\\fB" + Escaped(name) + "\\fR");
    if (!option.argument.empty())
        names += " \\fI" + Escaped(option.argument) + "\\fR";
    return ".TP\n" + names + '\n' + Escaped(option.about) + '\n';
}

std::string VerbSection(const CKrVerbTable::SKrVerb& verb)
{
    std::string page = ".SS " + Escaped(UsageLine(verb)) + '\n';
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
    std::string page = ".TH KRAVI 1 \"\" \"kravi " + version + "\" \"User Commands\"\n";
    page += ".SH NAME\nkravi \\- looks into AVI files, takes them apart and makes them\n.SH SYNOPSIS\n";
    for (const CKrVerbTable::SKrVerb& verb : verbs.Verbs())
        page += (&verb == &verbs.Verbs().front() ? "" : ".br\n") + Escaped(UsageLine(verb)) + '\n';
    page += ".SH DESCRIPTION\n" + Escaped(verbs.About()) + '\n';
    page +=
        Paragraph("Reports go to the standard output, diagnostics and progress to the error stream. A file "
                  "that exists is replaced only with --force. An output appears under its name when it is "
                  "complete; until then it has a temporary name beside it, and an interrupted run takes it "
                  "away. Numbers of streams and frames count from 0.");
    for (const SKrOptionText& option : verbs.CommonOptions().Texts())
        page += OptionEntry(option);
    page += ".SH VERBS\n";
    for (const CKrVerbTable::SKrVerb& verb : verbs.Verbs())
        page += VerbSection(verb);
    const std::string exitCodes(kExitCodes);
    page += ".SH EXIT STATUS\n.nf\n" + Escaped(exitCodes.substr(exitCodes.find('\n') + 1)) + ".fi\n";
    return page;
}
} // namespace KrTool
