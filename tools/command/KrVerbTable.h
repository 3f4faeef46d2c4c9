// The table of verbs: name, help, examples, options, and what to run.
#ifndef KR_TOOLS_COMMAND_KRVERBTABLE_H
#define KR_TOOLS_COMMAND_KRVERBTABLE_H

#include "tools/command/KrProgress.h"
#include "tools/command/KrVerbOptions.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace KrTool
{
class CKrReport;

struct SKrVerbHelp
{
    std::string name;
    std::string about;                 // one line, without a full stop
    std::vector<std::string> details;  // paragraphs; they are wrapped when they are shown
    std::vector<std::string> examples; // command lines
};

class CKrVerbTable
{
public:
    // What a verb does. Throws CKrToolError when it fails.
    using Run = std::function<void(CKrReport&, CKrProgress&)>;

    // A verb as it was added.
    struct SKrVerb
    {
        SKrVerbHelp help;
        std::unique_ptr<CKrVerbOptions> options;
    };

    // Of a program that is about what the text says; its own options are there already.
    CKrVerbTable(CLI::App& app, std::string about) : m_about(std::move(about)), m_common(app) {}

    // Adds a verb with what all of them have: --json, --progress and --quiet. Further options are added to
    // what is returned.
    CKrVerbOptions& Add(const SKrVerbHelp& help, Run run);

    // The same for a verb that is about one file.
    CKrVerbOptions& Add(const SKrVerbHelp& help, std::string& file, Run run,
                        const std::string& aboutFile = "The AVI file");

    // Adds a verb that is about no file and reports nothing: it prints.
    CKrVerbOptions& AddPlain(const SKrVerbHelp& help, Run run);

    const std::string& About() const { return m_about; }
    const CKrVerbOptions& CommonOptions() const { return m_common; } // which need no verb
    const std::vector<SKrVerb>& Verbs() const { return m_verbs; }

    // What the arguments chose, once they were parsed.
    const std::string& ChosenName() const { return m_chosenName; }
    const Run& Chosen() const { return m_chosen; }
    bool AsJson() const { return m_json; }
    bool IsQuiet() const { return m_quiet; }
    EKrProgressMode ProgressMode() const { return m_quiet ? EKrProgressMode::None : m_progress; }

private:
    const std::string m_about;
    CKrVerbOptions m_common;
    bool m_json = false;
    bool m_quiet = false;
    EKrProgressMode m_progress = EKrProgressMode::Auto;
    std::string m_chosenName;
    Run m_chosen;
    std::vector<SKrVerb> m_verbs;
};

extern const char kExitCodes[];
} // namespace KrTool

#endif
