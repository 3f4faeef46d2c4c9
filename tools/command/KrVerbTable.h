// Where the verbs declare themselves: name, help, examples, options, and what to run.
#ifndef KR_TOOLS_COMMAND_KRVERBTABLE_H
#define KR_TOOLS_COMMAND_KRVERBTABLE_H

#include "tools/command/KrProgress.h"

#include <CLI/CLI.hpp>

#include <cstdint>
#include <functional>
#include <map>
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
        const CLI::App* options;
    };

    explicit CKrVerbTable(CLI::App& app) : m_app(app) {}

    // Adds a verb with what all of them have: --json and --progress. Further options are added to what is
    // returned.
    CLI::App& Add(const SKrVerbHelp& help, Run run);

    // The same for a verb that is about one file.
    CLI::App& Add(const SKrVerbHelp& help, std::string& file, Run run,
                  const std::string& aboutFile = "The AVI file");

    // Adds a verb that is about no file and reports nothing: it prints.
    CLI::App& AddPlain(const SKrVerbHelp& help, Run run);

    // The values among which an option chooses, for those who offer them to the user.
    void Offer(const CLI::Option* option, std::vector<std::string> values);

    const CLI::App& App() const { return m_app; }
    const std::vector<SKrVerb>& Verbs() const { return m_verbs; }
    std::vector<std::string> ValuesOf(const CLI::Option* option) const;

    // What the arguments chose, once they were parsed.
    const std::string& ChosenName() const { return m_chosenName; }
    const Run& Chosen() const { return m_chosen; }
    bool AsJson() const { return m_json; }
    EKrProgressMode ProgressMode() const { return m_progress; }

private:
    CLI::App& m_app;
    bool m_json = false;
    EKrProgressMode m_progress = EKrProgressMode::Auto;
    std::string m_chosenName;
    Run m_chosen;
    std::vector<SKrVerb> m_verbs;
    std::map<const CLI::Option*, std::vector<std::string>> m_values;
};

// A decimal number; CLI11's own conversion takes octal and hexadecimal ones as well.
uint64_t ParseNumber(const std::string& text);

template <class NUMBER>
void AddNumber(CLI::App& verb, const std::string& name, NUMBER& number, const std::string& about)
{
    verb.add_option_function<std::string>(
            name, [&number](const std::string& text) { number = ParseNumber(text); }, about)
        ->type_name("N");
}

extern const char kExitCodes[];
} // namespace KrTool

#endif
