#include "Texts.h"

#include "UtilityApp/CommandHelp.h"
#include "UtilityApp/CommandLine.h"
#include "base/Product.h"

#include <QDateTime>

#include <algorithm>
#include <cctype>

namespace tallywick::desktopFiles {

namespace {

constexpr const char* description =
    "The window shows how much of the weekly Codex allowance is used, when it resets, the token "
    "activity of the account, the week as a graph of its readings, and the load of the machine. "
    "They come from the Codex helper that is installed on the machine, through the sign-in that "
    "Codex already holds. Without an option the window opens; of a copy that runs already it "
    "comes forward.";

/// As it stands in a line of a page: hyphens and tildes are those of a terminal.
std::string plain(std::string_view text) {
    std::string line;
    for (const char character : text) {
        if (character == '-')
            line += "\\-";
        else if (character == '~')
            line += "\\(ti";
        else if (character == '\'')
            line += "\\(aq";
        else if (character == '\\')
            line += "\\e";
        else
            line += character;
    }
    return line;
}

std::string bold(std::string_view text) { return "\\fB" + plain(text) + "\\fR"; }

/// Bold is what is typed, and italic what it stands for.
std::string optionWithValue(const CommandOption& option) {
    const bool isChoice = option.value.find('|') != std::string_view::npos;
    const std::string value = isChoice ? bold(option.value) : "\\fI" + plain(option.value) + "\\fR";
    return bold(option.name) + (option.value.empty() ? "" : ' ' + value);
}

std::string sentence(std::string_view phrase) {
    std::string text = plain(phrase);
    text.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(text.front())));
    return text + ".\n";
}

std::string table(std::string_view title, std::span<const Explained> lines) {
    std::string text = ".SH " + std::string(title) + '\n';
    for (const auto& [name, meaning] : lines)
        text += ".TP\n\\fI" + plain(name) + "\\fR\n" + sentence(meaning);
    return text;
}

std::string synopsis() {
    std::string text;
    for (const auto& words : synopses()) {
        text += text.empty() ? "" : ".br\n";
        for (const std::string& word : words)
            text += (&word == &words.front() ? bold(word) : ' ' + plain(word));
        text += '\n';
    }
    return text;
}

} // namespace

std::string manualPage() {
    const auto released = static_cast<qint64>(Product::releaseTime);
    const std::string date =
        QDateTime::fromSecsSinceEpoch(released, Qt::UTC).toString(u"yyyy-MM-dd").toStdString();
    std::string text = ".TH TALLYWICK 1 " + date + " \"" + Product::name + ' ' + Product::version
                       + "\" \"User Commands\"\n.nh\n.ad l\n.SH NAME\n" + Product::commandName
                       + " \\- " + plain(programSummary) + "\n.SH SYNOPSIS\n" + synopsis()
                       + ".SH DESCRIPTION\n" + plain(description) + "\n.SH OPTIONS\n";
    for (const CommandOption& option : commandOptions())
        if (!option.help.empty())
            text += ".TP\n" + optionWithValue(option) + '\n' + sentence(option.help);
    return text + table("EXIT STATUS", exitStatuses()) + table("FILES", programFiles());
}

} // namespace tallywick::desktopFiles
