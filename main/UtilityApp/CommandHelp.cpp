#include "UtilityApp/CommandHelp.h"

#include "UtilityApp/CommandLine.h"
#include "base/Product.h"

#include <algorithm>

namespace tallywick {

namespace {

using Task = CommandLine::Task;

constexpr std::size_t lineWidth = 80;

constexpr Explained statuses[] = {
    {"0", "what was asked for is done; the window was closed, or another copy came forward"},
    {"1", "it could not be done, and standard error tells why"},
    {"2", "the arguments make no sense, or there is no display for the window"},
};

/// With the folders of a user who has not chosen others by $XDG_DATA_HOME and its like.
constexpr Explained files[] = {
    {"~/.local/share/Corvane Tallywick/usage-history.json", "the readings of fourteen days"},
    {"~/.config/Corvane Tallywick/preferences.json", "what the user has chosen"},
    {"~/.cache/com.corvane.tallywick", "an update that was downloaded"},
};

/// Words in lines of at most 80 columns, the first behind what is there, the others indented.
void appendWrapped(std::string& text, std::span<const std::string> words, std::size_t indent) {
    std::size_t column = text.size() - (text.rfind('\n') + 1);
    for (const std::string& word : words) {
        if (column + word.size() + 1 > lineWidth) {
            text += '\n' + std::string(indent, ' ');
            column = indent;
        } else if (column > indent) {
            text += ' ';
            ++column;
        } else {
            text += std::string(indent - column, ' ');
            column = indent;
        }
        text += word;
        column += word.size();
    }
    text += '\n';
}

std::vector<std::string> wordsOf(std::string_view text) {
    std::vector<std::string> words;
    while (!text.empty()) {
        const std::size_t length = std::min(text.find(' '), text.size());
        words.emplace_back(text.substr(0, length));
        text.remove_prefix(std::min(length + 1, text.size()));
    }
    return words;
}

std::string withValue(const CommandOption& option) {
    return std::string(option.name) + (option.value.empty() ? "" : " ") + std::string(option.value);
}

std::vector<std::string> synopsisOf(Task task) {
    std::vector<std::string> words{Product::commandName};
    for (const CommandOption& option : commandOptions())
        if (!option.help.empty() && (option.tasks & bitOf(task)) != 0)
            words.push_back(option.task ? withValue(option) : '[' + withValue(option) + ']');
    return words;
}

void appendTable(std::string& text, std::string_view title, std::span<const Explained> lines,
                 std::size_t indent) {
    (text += '\n') += title;
    text += ":\n";
    for (const auto& [name, help] : lines) {
        (text += "  ") += name;
        if (name.size() + 4 > indent)
            text += '\n';
        appendWrapped(text, wordsOf(help), indent);
    }
}

} // namespace

std::vector<std::vector<std::string>> synopses() {
    std::vector<std::vector<std::string>> all{synopsisOf(Task::window)};
    for (const CommandOption& option : commandOptions())
        if (option.task)
            all.push_back(synopsisOf(*option.task));
    return all;
}

std::span<const Explained> exitStatuses() { return statuses; }
std::span<const Explained> programFiles() { return files; }

std::string helpText() {
    std::string text = "Shows ";
    (text += programSummary) += ".\n\n";
    std::string_view start = "Usage: ";
    for (const auto& words : synopses()) {
        (text += start) += words.front();
        appendWrapped(text, std::span(words).subspan(1), start.size() + words.front().size() + 1);
        start = "       ";
    }
    std::vector<std::string> names;
    for (const CommandOption& option : commandOptions())
        names.push_back(withValue(option));
    std::vector<Explained> lines;
    for (std::size_t i = 0; i < names.size(); ++i)
        if (const auto help = commandOptions()[i].help; !help.empty())
            lines.push_back({names[i], help});
    appendTable(text, "Options", lines, 28);
    appendTable(text, "Exit status", statuses, 5);
    appendTable(text, "Files", files, 6);
    return text;
}

std::string versionText() { return std::string(Product::name) + ' ' + Product::version + '\n'; }

} // namespace tallywick
