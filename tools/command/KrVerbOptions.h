// The options of a program or verb, each with the destination of its value, and their texts for the manual
// page and the shells.
#ifndef KR_TOOLS_COMMAND_KRVERBOPTIONS_H
#define KR_TOOLS_COMMAND_KRVERBOPTIONS_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace CLI
{
class App;
class Option;
} // namespace CLI

namespace KrTool
{
struct SKrOptionText
{
    std::vector<std::string> names;  // with their dashes; of a positional argument its one name
    std::string argument;            // name of the value; empty for a switch
    std::string about;               // one line
    std::vector<std::string> values; // the possible or usual ones, when there are few
    bool isPositional = false;
    bool isRequired = false;
    bool takesMany = false;
    bool takesFile = false; // the name of a file
};

// Names are given with their dashes, several with a comma: "-o,--output". Places must outlive the parsing.
class CKrVerbOptions
{
public:
    explicit CKrVerbOptions(CLI::App& verb) : m_verb(verb) {}

    // Of a program: adds a verb, and `chosen` is called when the arguments name it. The footer follows
    // the options in its help.
    CKrVerbOptions AddVerb(const std::string& name, const std::string& about, const std::string& footer,
                           std::function<void()> chosen);

    // Arguments without a name, in the order in which they are given; all but the optional ones are required.
    void AddArgument(const std::string& name, std::string& value, const std::string& about);
    void AddOptionalArgument(const std::string& name, std::string& value, const std::string& about);
    void AddArguments(const std::string& name, std::vector<std::string>& values, const std::string& about,
                      bool isRequired = true);

    void AddSwitch(const std::string& names, bool& isOn, const std::string& about);

    // Text; the kind names the value in the help: "NAME".
    void AddText(const std::string& names, std::string& value, const std::string& kind,
                 const std::string& about);
    void AddRequiredText(const std::string& names, std::string& value, const std::string& kind,
                         const std::string& about);

    // A decimal number of up to 18 digits.
    template <class NUMBER> // or an optional one
    void AddNumber(const std::string& name, NUMBER& value, const std::string& about)
    {
        AddNumber(name, about, [&value](uint64_t number) { value = number; });
    }

    // A length of time: a decimal number with or without a fraction.
    void AddSeconds(const std::string& name, double& value, const std::string& about);

    // One of a few words. With an empty kind it is an argument without a name, and required.
    template <class VALUE>
    void AddChoice(const std::string& name, VALUE& value, const std::string& kind,
                   std::vector<std::pair<std::string, VALUE>> choices, const std::string& about)
    {
        std::vector<std::string> words;
        for (const auto& choice : choices)
            words.push_back(choice.first);
        AddChoice(name, kind, std::move(words), about,
                  [&value, choices = std::move(choices)](size_t chosen) { value = choices[chosen].second; });
    }

    // Values that a shell offers for an option that takes others too.
    void Suggest(const std::string& name, std::vector<std::string> words);

    // Arguments in the order in which they are given, then the options.
    [[nodiscard]] std::vector<SKrOptionText> Texts() const;

private:
    void AddChoice(const std::string& name, const std::string& kind, std::vector<std::string> words,
                   const std::string& about, std::function<void(size_t)> choose);
    void AddNumber(const std::string& name, const std::string& about, std::function<void(uint64_t)> set);
    [[nodiscard]] SKrOptionText TextOf(const CLI::Option& option) const;

    CLI::App& m_verb;
    std::map<const CLI::Option*, std::vector<std::string>> m_words; // of choices and suggestions
};
} // namespace KrTool

#endif
