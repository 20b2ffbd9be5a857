#include "command_line/completion.hpp"

#include <algorithm>
#include <sstream>
#include <utility>

namespace lumvex::app {

namespace {

// In single quotes of a shell.
std::string ShellQuoted(const std::string& text) {
    std::string quoted = "'";
    for (const char each : text) quoted += each == '\'' ? std::string("'\\''") : std::string(1, each);
    return quoted + "'";
}

std::string Joined(const std::vector<std::string>& words, const char* between = " ") {
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : between) + word;
    return text;
}

std::vector<std::string> OptionNames(const Command& command) {
    std::vector<std::string> names;
    for (const Option& option : command.options) {
        if (!IsPositional(option)) std::ranges::copy(NamesOf(option), std::back_inserter(names));
    }
    names.push_back("-h");
    names.push_back("--help");
    return names;
}

// What zsh completes a value with.
std::string ZshAction(const Option& option) {
    if (!option.value.choices.empty()) return "(" + Joined(option.value.choices) + ")";
    return IsPath(option) ? "_files" : " ";
}

// Text inside of the brackets and between the colons of zsh.
std::string ZshText(const std::string& text) {
    std::string escaped;
    for (const char each : text) {
        if (each == '[' || each == ']' || each == ':' || each == '\\') escaped += '\\';
        escaped += each == '\n' ? ' ' : each;
    }
    return escaped;
}

std::string ZshSpecification(const Option& option, std::size_t position) {
    const std::string value = ZshText(ValueName(option)) + ":" + ZshAction(option);
    if (IsPositional(option))
        return ShellQuoted((IsList(option) ? "*" : std::to_string(position)) + ":" + ZshText(option.name) + ":" +
                           ZshAction(option));
    const std::vector<std::string> names = NamesOf(option);
    const std::string repeats = IsList(option) ? "*" : "(" + Joined(names) + ")";
    std::string text;
    for (const std::string& name : names)
        text += (text.empty() ? "" : " ") + ShellQuoted(repeats + name + "[" + ZshText(option.help) + "]" +
                                                        (TakesValue(option) ? ":" + value : ""));
    return text;
}

// The text with what belongs to the places that are marked in it: "@NAMES@".
std::string Filled(std::string text, const std::vector<std::pair<std::string, std::string>>& places) {
    for (const auto& [mark, content] : places) text.replace(text.find(mark), mark.size(), content);
    return text;
}

// What `print` prints for every command.
template <class Print>
std::string ForEach(const std::vector<Command>& commands, Print print) {
    std::ostringstream text;
    for (const Command& command : commands) print(text, command);
    return text.str();
}

constexpr const char* kBash = R"(# Completion of lumvex for bash, made by `lumvex help --as bash`.
_lumvex() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} words=
    COMPREPLY=()
    if ((COMP_CWORD == 1)); then
        COMPREPLY=($(compgen -W @FIRST@ -- "$current"))
        return
    fi
    case ${COMP_WORDS[1]}:$previous in
@CHOICES@    esac
    if [[ -z $words && $current == -* ]]; then
        case ${COMP_WORDS[1]} in
@OPTIONS@        esac
    elif [[ -z $words && ${COMP_WORDS[1]} == help ]]; then
        words=@COMMANDS@
    fi
    if [[ -n $words ]]; then COMPREPLY=($(compgen -W "$words" -- "$current")); fi
}
complete -o default -F _lumvex lumvex
)";

constexpr const char* kZsh = R"(#compdef lumvex
# Completion of lumvex for zsh, made by `lumvex help --as zsh`.
_lumvex() {
    local context state state_descr line
    typeset -A opt_args
    _arguments -C '(- *)'{-h,--help}'[print the help]' '(- *)'{-v,--version}'[print the version]' \
        '1:command:->command' '*::argument:->arguments' && return
    case $state in
        command)
            local -a commands=(
@COMMANDS@            )
            _describe -t commands command commands ;;
        arguments)
            case $words[1] in
@ARGUMENTS@            esac ;;
    esac
}
if [[ $zsh_eval_context[-1] == loadautofunc ]]; then _lumvex "$@"; else compdef _lumvex lumvex; fi
)";

}  // namespace

// Values that are not listed are completed as files, which is what bash does where there is no answer.
std::string BashCompletion(const std::vector<Command>& commands) {
    const std::string choices = ForEach(commands, [](std::ostream& text, const Command& command) {
        for (const Option& option : command.options) {
            if (IsPositional(option) || option.value.choices.empty()) continue;
            std::vector<std::string> cases;
            for (const std::string& name : NamesOf(option)) cases.push_back(command.name + ":" + name);
            text << "        " << Joined(cases, " | ") << ") words=" << ShellQuoted(Joined(option.value.choices))
                 << " ;;\n";
        }
    });
    const std::string options = ForEach(commands, [](std::ostream& text, const Command& command) {
        text << "            " << command.name << ") words=" << ShellQuoted(Joined(OptionNames(command))) << " ;;\n";
    });
    const std::string names = Joined(NamesOf(commands));
    return Filled(kBash, {{"@FIRST@", ShellQuoted(names + " --help --version")},
                          {"@CHOICES@", choices},
                          {"@OPTIONS@", options},
                          {"@COMMANDS@", ShellQuoted(names)}});
}

std::string ZshCompletion(const std::vector<Command>& commands) {
    const std::string described = ForEach(commands, [](std::ostream& text, const Command& command) {
        text << "                " << ShellQuoted(command.name + ":" + ZshText(command.summary)) << '\n';
    });
    const std::string names = Joined(NamesOf(commands));
    const std::string arguments = ForEach(commands, [&](std::ostream& text, const Command& command) {
        text << "                " << command.name << ") _arguments -S";
        std::size_t position = 0;
        for (const Option& option : command.options) {
            if (IsPositional(option)) ++position;
            const bool isCommand = command.use == DocumentUse::None && IsPositional(option);
            text << " \\\n                    "
                 << (isCommand ? ShellQuoted("*:" + ZshText(option.name) + ":(" + names + ")")
                               : ZshSpecification(option, position));
        }
        text << " \\\n                    '(- *)'{-h,--help}'[print the help]' ;;\n";
    });
    return Filled(kZsh, {{"@COMMANDS@", described}, {"@ARGUMENTS@", arguments}});
}

}  // namespace lumvex::app
