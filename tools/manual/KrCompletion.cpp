#include "tools/manual/KrCompletion.h"

#include "tools/command/KrFormat.h"
#include "tools/command/KrText.h"
#include "tools/command/KrVerbTable.h"

#include <string_view>

namespace KrTool
{
namespace
{
std::vector<std::string> VerbNames(const CKrVerbTable& verbs)
{
    std::vector<std::string> names;
    for (const CKrVerbTable::SKrVerb& verb : verbs.Verbs())
        names.push_back(verb.help.name);
    return names;
}

// For a text in single quotes.
std::string ZshText(std::string_view text)
{
    static constexpr SKrEscape kEscapes[] = {
        {'\'', "'\\''"}, {'\\', "\\\\"}, {'[', "\\["}, {']', "\\]"}, {':', "\\:"}};
    return WithEscapes(text, kEscapes);
}

std::string FishText(std::string_view text)
{
    static constexpr SKrEscape kEscapes[] = {{'\'', "\\'"}, {'\\', "\\\\"}};
    return Format("'{}'", WithEscapes(text, kEscapes));
}

std::vector<std::string> Dashed(const std::vector<SKrOptionText>& options)
{
    std::vector<std::string> names;
    for (const SKrOptionText& option : options)
    {
        if (!option.isPositional)
            names.insert(names.end(), option.names.begin(), option.names.end());
    }
    return names;
}

// The options of a verb whose values are known, and what a verb's first argument can be.
std::string BashValues(const CKrVerbTable::SKrVerb& verb)
{
    std::string text;
    for (const SKrOptionText& option : verb.options->Texts())
    {
        const std::string words = Joined(option.values, " ");
        if (words.empty())
            continue;
        for (const std::string& name : option.names)
            text += Format("    {}:{}) words='{}' ;;\n", verb.help.name,
                           option.isPositional ? verb.help.name : name, words);
    }
    return text;
}

std::string ZshOption(const SKrOptionText& option)
{
    std::string values;
    if (!option.argument.empty() || option.isPositional)
        values = Format(":{}:", ZshText(option.isPositional ? option.names.front() : option.argument));
    if (!option.values.empty())
        values += Format("({})", Joined(option.values, " "));
    else if (option.takesFile)
        values += "_files";
    if (option.isPositional)
        return Format(" '{}{}'", option.takesMany ? "*" : "", values);
    const std::string after =
        Format("{}{}]{}'", option.argument.empty() ? "[" : "=[", ZshText(option.about), values);
    std::string text;
    for (const std::string& name : option.names)
        text.append(" '").append(name).append(after);
    return text;
}

std::string FishOption(const SKrOptionText& option)
{
    std::string text;
    for (const std::string& name : option.names)
        text += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
    if (!option.values.empty())
        text += " -x -a " + FishText(Joined(option.values, " "));
    else if (!option.argument.empty())
        text += option.takesFile ? " -r -F" : " -x";
    return Format("{} -d {}", text, FishText(option.about));
}
} // namespace

std::string BashCompletion(const CKrVerbTable& verbs)
{
    const std::string names = Joined(VerbNames(verbs), " ");
    std::string script =
        "# bash completion for kravi, made by: kravi completion bash\n_kravi()\n{\n"
        "    local current=${COMP_WORDS[COMP_CWORD]} place=$((COMP_CWORD - 1)) verb= words=\n"
        "    COMPREPLY=()\n"
        "    # --option=value comes as three words\n"
        "    if [[ $current == = ]]; then current=\n"
        "    elif [[ ${COMP_WORDS[place]} == = ]]; then place=$((place - 1)); fi\n"
        "    ((COMP_CWORD > 1)) && verb=${COMP_WORDS[1]}\n"
        "    case $verb:${COMP_WORDS[place]} in\n";
    for (const CKrVerbTable::SKrVerb& verb : verbs.Verbs())
        script += BashValues(verb);
    script += Format("    esac\n"
                     "    if [[ -z $words && ( -z $verb || $current == -* ) ]]; then\n"
                     "        case $verb in\n"
                     "        '') words='{} {}' ;;\n",
                     names, Joined(Dashed(verbs.CommonOptions().Texts()), " "));
    for (const CKrVerbTable::SKrVerb& verb : verbs.Verbs())
        script +=
            Format("        {}) words='{}' ;;\n", verb.help.name, Joined(Dashed(verb.options->Texts()), " "));
    return script + "        esac\n    fi\n"
                    "    [[ -z $words ]] || mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$current\")\n"
                    "}\n"
                    "# Where there is nothing to offer, file names are completed.\n"
                    "complete -o bashdefault -o default -F _kravi kravi\n";
}

std::string ZshCompletion(const CKrVerbTable& verbs)
{
    std::string script = "#compdef kravi\n# made by: kravi completion zsh\n"
                         "local context state state_descr line\ntypeset -A opt_args\n"
                         "_arguments -C";
    for (const SKrOptionText& option : verbs.CommonOptions().Texts())
        script += ZshOption(option);
    script += " ':verb:->verb' '*::argument:->rest'\ncase $state in\nverb)\n    local -a verbs=(\n";
    for (const CKrVerbTable::SKrVerb& verb : verbs.Verbs())
        script += Format("        '{}:{}'\n", verb.help.name, ZshText(verb.help.about));
    script += "    )\n    _describe verb verbs ;;\nrest)\n    case $line[1] in\n";
    for (const CKrVerbTable::SKrVerb& verb : verbs.Verbs())
    {
        script += Format("    {}) _arguments", verb.help.name);
        for (const SKrOptionText& option : verb.options->Texts())
            script += " \\\n       " + ZshOption(option);
        script += " ;;\n";
    }
    return script + "    esac ;;\nesac\n";
}

std::string FishCompletion(const CKrVerbTable& verbs)
{
    std::string script = "# fish completion for kravi, made by: kravi completion fish\n";
    for (const SKrOptionText& option : verbs.CommonOptions().Texts())
        script += Format("complete -c kravi -n __fish_use_subcommand{}\n", FishOption(option));
    for (const CKrVerbTable::SKrVerb& verb : verbs.Verbs())
    {
        const std::string& name = verb.help.name;
        script += Format("complete -c kravi -n __fish_use_subcommand -f -a {} -d {}\n", name,
                         FishText(verb.help.about));
        const std::string complete = Format("complete -c kravi -n '__fish_seen_subcommand_from {}'", name);
        for (const SKrOptionText& option : verb.options->Texts())
        {
            if (!option.isPositional)
                script += Format("{}{}\n", complete, FishOption(option));
            else if (!option.values.empty())
                script += Format("{} -f -a {}\n", complete, FishText(Joined(option.values, " ")));
        }
    }
    return script;
}
} // namespace KrTool
