#include "tools/command/KrCommandLine.h"

#include "tools/command/KrFormat.h"
#include "tools/command/KrProgress.h"
#include "tools/command/KrReport.h"
#include "tools/command/KrStandardOutput.h"
#include "tools/command/KrText.h"
#include "tools/command/KrToolError.h"
#include "tools/command/KrVerbTable.h"
#include "tools/command/KrVerbs.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <sstream>

#if !defined(KR_VERSION)
#error "the build defines KR_VERSION as the version text"
#endif

namespace KrTool
{
namespace
{
constexpr char kAbout[] = "Inspects AVI files (AVI 1.0 and OpenDML), extracts frames and audio unchanged, "
                          "and writes new ones.";

std::string RepeatedOption(const CLI::App& verb)
{
    for (const CLI::Option* const option : verb.get_options())
    {
        if (option->get_items_expected_max() != 1 || option->count() < 2)
            continue;
        const std::string times = option->count() == 2 ? "twice" : Format("{} times", option->count());
        const bool isPattern = option->get_type_name() == "PATTERN";
        return Format("{} is given {}{}", option->get_name(), times,
                      isPattern ? "; use one pattern, such as shot%04d.jpg" : "");
    }
    return {};
}

class CKrCommandLine
{
public:
    CKrCommandLine() : m_app(kAbout, "kravi"), m_verbs(m_app, kAbout)
    {
        m_app.allow_windows_style_options(false); // a path may start with a slash everywhere
        m_app.set_version_flag("--version", std::string("kravi ") + KR_VERSION);
        m_app.require_subcommand(1);
        m_app.footer(kExitCodes);
        for (const auto add : kVerbs)
            add(m_verbs);
    }

    int Run(const std::vector<std::string>& arguments)
    {
        try
        {
            m_app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
        }
        catch (const CLI::ParseError& answer)
        {
            if (answer.get_exit_code() == 0)
                return Answer(answer);
            CKrReport report(std::find(arguments.begin(), arguments.end(), "--json") != arguments.end());
            return Failed(report, {}, UsageError(answer));
        }
        return RunVerb();
    }

private:
    // Help and version.
    int Answer(const CLI::ParseError& answer)
    {
        std::ostringstream text;
        m_app.exit(answer, text, text);
        Print(text.str());
        FlushOutput();
        return kExitDone;
    }

    std::string UsageError(const CLI::ParseError& error) const
    {
        const std::vector<CLI::App*> chosen = m_app.get_subcommands();
        if (!chosen.empty())
        {
            const std::string repeated = RepeatedOption(*chosen.front());
            const std::string cause = repeated.empty() ? error.what() : repeated;
            return Format("{}; see kravi {} --help", cause, chosen.front()->get_name());
        }
        const std::vector<std::string> words = m_app.remaining();
        std::string cause = "expected a verb";
        if (!words.empty() && words.front().starts_with('-'))
            cause += Format(" before '{}'", words.front());
        else if (!words.empty())
            cause = Format("there is no verb '{}'", words.front());
        return cause + "; see kravi --help";
    }

    static int Failed(CKrReport& report, const std::string& path, const std::string& cause)
    {
        PrintError(path, cause);
        try
        {
            return report.Fail(path, cause);
        }
        catch (const CKrToolError&) // the standard output takes nothing, which may be the cause
        {
            return kExitFailed;
        }
    }

    int RunVerb()
    {
        CKrReport report(m_verbs.AsJson(), m_verbs.IsQuiet() ? EKrDetail::Quiet : EKrDetail::Full);
        try
        {
            CKrProgress progress(m_verbs.ProgressMode(), m_verbs.ChosenName());
            m_verbs.Chosen()(report, progress);
            return report.Finish();
        }
        catch (const CKrToolError& error)
        {
            return Failed(report, error.Path(), error.what());
        }
        catch (const std::bad_alloc&)
        {
            return Failed(report, {}, "out of memory");
        }
        catch (const std::exception& error)
        {
            return Failed(report, {}, error.what());
        }
    }

    CLI::App m_app;
    CKrVerbTable m_verbs;
};
} // namespace

int RunCommandLine(const std::vector<std::string>& arguments)
{
    try
    {
        return CKrCommandLine().Run(arguments);
    }
    catch (const std::exception& error)
    {
        PrintDiagnostic(Format("kravi: {}\n", Printable(error.what())));
        return kExitFailed;
    }
}
} // namespace KrTool
