#include "Texts.h"

#include "UtilityApp/CommandLine.h"
#include "base/Product.h"

#include <algorithm>
#include <vector>

namespace tallywick::desktopFiles {

namespace {

const std::string command = Product::commandName;

/// The options for users.
std::vector<CommandOption> offeredOptions() {
    std::vector<CommandOption> offered;
    std::ranges::copy_if(commandOptions(), std::back_inserter(offered),
                         [](const CommandOption& option) { return !option.help.empty(); });
    return offered;
}

bool isOnDisk(const CommandOption& option) {
    return option.value == "PATH" || option.value == "FILE";
}

/// The words to choose a value from, with blanks between them; empty when it is none of such.
std::string choices(const CommandOption& option) {
    std::string words(option.value.find('|') == option.value.npos ? "" : option.value);
    std::ranges::replace(words, '|', ' ');
    return words;
}

/// One word to each of these shells, whatever is in it.
std::string singleQuoted(std::string_view text) {
    std::string word = "'";
    for (const char character : text)
        word += character == '\'' ? "'\\''" : std::string(1, character);
    return word + '\'';
}

/// An explanation in brackets, as zsh reads it.
std::string inBrackets(std::string_view text) {
    std::string explanation = "[";
    for (const char character : text) {
        if (character == '[' || character == ']' || character == '\\')
            explanation += '\\';
        explanation += character;
    }
    return explanation + ']';
}

} // namespace

std::string bashCompletions() {
    std::string names, values;
    for (const CommandOption& option : offeredOptions()) {
        (names += names.empty() ? "" : " ") += option.name;
        if (option.value.empty())
            continue;
        ((values += "    ") += option.name) += ")\n";
        if (isOnDisk(option))
            values += "        compopt -o filenames\n"
                      "        mapfile -t COMPREPLY < <(compgen -f -- \"$word\")\n"
                      "        return\n";
        else
            values += "        words='" + choices(option) + "'\n";
        values += "        ;;\n";
    }
    return "# What bash offers behind " + command + ".\n_" + command + "() {\n"
           + "    local word=${COMP_WORDS[COMP_CWORD]} words='" + names + "'\n"
           + "    case ${COMP_WORDS[COMP_CWORD - 1]} in\n" + values + "    esac\n"
           + "    mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$word\")\n}\n"
           + "complete -F _" + command + ' ' + command + '\n';
}

std::string zshCompletions() {
    std::string text = "#compdef " + command + "\n_arguments";
    for (const CommandOption& option : offeredOptions()) {
        std::string words = std::string(option.name) + inBrackets(option.help);
        if (isOnDisk(option))
            words += ":file:_files";
        else if (!option.value.empty())
            words += ":value:(" + choices(option) + ')';
        text += " \\\n    " + singleQuoted(words);
    }
    return text + '\n';
}

std::string fishCompletions() {
    std::string text = "complete -c " + command + " -f\n";
    for (const CommandOption& option : offeredOptions()) {
        constexpr std::size_t dashes = 2;
        ((text += "complete -c " + command + " -l ") += option.name.substr(dashes)) +=
            " -d " + singleQuoted(option.help);
        if (isOnDisk(option))
            text += " -r -F";
        else if (!option.value.empty())
            text += " -x -a " + singleQuoted(choices(option));
        text += '\n';
    }
    return text;
}

} // namespace tallywick::desktopFiles
