#include "platform/desktop/linux/DesktopEntry.h"

#include "base/CanonicalPath.h"
#include "base/Product.h"
#include "platform/bundle/ApplicationBundle.h"
#include "platform/files/FileAccess.h"

#include <QByteArrayView>
#include <QString>
#include <QStringDecoder>

#include <algorithm>
#include <array>
#include <map>

namespace tallywick {

namespace fs = std::filesystem;

namespace {

/// Far more than the translations of a large application's entry.
constexpr std::size_t maximumEntryBytes = 65'536;

constexpr std::string_view entryGroup = "Desktop Entry";
/// What a backslash must precede in a quoted word.
constexpr std::string_view quotedSpecial = "\"`$\\";
/// What no word may contain unquoted.
constexpr std::string_view reserved = " \t\n\"'\\><~|&;$*?#()`";
constexpr std::string_view blanks = " \t";
constexpr std::string_view lineSpace = " \t\v\f\r";

/// Finds the program given behind it, by a path that it takes as it is.
constexpr const char* programFinder = "env";

bool isUtf8(std::string_view text) {
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString decoded =
        decoder(QByteArrayView(text.data(), static_cast<qsizetype>(text.size())));
    return !decoder.hasError();
}

/// The characters of a value that a backslash and a letter stand for.
constexpr std::array<std::pair<char, char>, 5> escapes{
    {{'\\', '\\'}, {'\n', 'n'}, {'\t', 't'}, {'\r', 'r'}, {' ', 's'}}};

std::string escapedValue(std::string_view value) {
    std::string escaped;
    for (const char character : value) {
        const auto* const escape =
            std::ranges::find(escapes, character, [](auto& e) { return e.first; });
        if (escape == escapes.end() || (character == ' ' && !escaped.empty()))
            escaped += character;
        else
            (escaped += '\\') += escape->second;
    }
    return escaped;
}

std::optional<std::string> unescapedValue(std::string_view escaped) {
    std::string value;
    for (std::size_t at = 0; at < escaped.size(); ++at) {
        if (escaped[at] != '\\') {
            value += escaped[at];
            continue;
        }
        const char letter = ++at < escaped.size() ? escaped[at] : '\0';
        const auto* const escape =
            std::ranges::find(escapes, letter, [](auto& e) { return e.second; });
        if (escape == escapes.end())
            return std::nullopt;
        value += escape->first;
    }
    return value;
}

/// A command line that runs the program, with an argument unless that is empty. In front of one
/// whose path has a "%", which is doubled, stands another that is there in any case: GLib looks for
/// a program before it undoes the doubling and runs nothing when it finds none.
std::string commandLine(const fs::path& program, const std::string& argument) {
    std::string word;
    for (const char character : program.native()) {
        if (quotedSpecial.find(character) != std::string_view::npos)
            word += '\\';
        if (character == '%')
            word += '%';
        word += character;
    }
    const bool isDoubled = word.find('%') != std::string::npos;
    return (isDoubled ? std::string(programFinder) + ' ' : std::string()) + '"' + word + '"'
           + (argument.empty() ? std::string() : ' ' + argument);
}

using Values = std::map<std::string, std::string, std::less<>>;

std::string_view withoutSpaceBefore(std::string_view text) {
    return text.substr(std::min(text.find_first_not_of(lineSpace), text.size()));
}

std::string_view withoutSpaceBehind(std::string_view text, std::string_view space) {
    return text.substr(0, text.find_last_not_of(space) + 1);
}

/// Takes a line off the text.
std::string_view nextLine(std::string_view& text) {
    const std::size_t length = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, length);
    text.remove_prefix(std::min(length + 1, text.size()));
    if (line.ends_with('\r'))
        line.remove_suffix(1);
    return withoutSpaceBefore(line);
}

/// The values of an entry by their keys, the translated ones aside under names of their own. Absent
/// when it breaks a rule for which GLib refuses the whole file. A key that is there twice, which is
/// one thing to one reader and another to the next, makes it absent too.
std::optional<Values> readEntry(std::string_view text) {
    if (!isUtf8(text) || text.find('\0') != std::string_view::npos)
        return std::nullopt;
    Values values;
    std::optional<std::string_view> group;
    while (!text.empty()) {
        const std::string_view line = nextLine(text);
        if (line.empty() || line.front() == '#')
            continue;
        const std::string_view header = withoutSpaceBehind(line, blanks);
        if (header.front() == '[' && header.find(']') == header.size() - 1) {
            const std::string_view name = header.substr(1, header.size() - 2);
            if (!group && name != entryGroup)
                return std::nullopt;
            group = name;
            continue;
        }
        const std::size_t sign = line.find('=');
        if (!group || sign == std::string_view::npos || sign == 0)
            return std::nullopt;
        const std::string_view key = withoutSpaceBehind(line.substr(0, sign), lineSpace);
        const std::string_view value = withoutSpaceBefore(line.substr(sign + 1));
        if (*group == entryGroup && !values.try_emplace(std::string(key), value).second)
            return std::nullopt;
    }
    return values;
}

std::optional<std::string> valueOf(const Values& values, std::string_view key) {
    const auto found = values.find(key);
    return found == values.end() ? std::nullopt : unescapedValue(found->second);
}

/// Takes a word in quotes off the text.
std::optional<std::string> takeQuotedWord(std::string_view& text) {
    std::string word;
    for (std::size_t at = 1; at < text.size(); ++at) {
        const bool isSpecial = quotedSpecial.find(text[at]) != std::string_view::npos;
        if (text[at] == '"') {
            text.remove_prefix(at + 1);
            return word;
        }
        if (isSpecial
            && (text[at] != '\\' || ++at == text.size()
                || quotedSpecial.find(text[at]) == std::string_view::npos))
            return std::nullopt;
        word += text[at];
    }
    return std::nullopt;
}

std::string takePlainWord(std::string_view& text) {
    const std::size_t length = std::min(text.find_first_of(reserved), text.size());
    std::string word(text.substr(0, length));
    text.remove_prefix(length);
    return word;
}

/// The words of a command line, each plain or in quotes as a whole. Absent when there is none, or
/// when a shell might find more in it than words.
std::optional<std::vector<std::string>> wordsOf(std::string_view line) {
    std::vector<std::string> words;
    line = withoutSpaceBehind(line, blanks);
    while (!line.empty()) {
        line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
        auto word = line.front() == '"' ? takeQuotedWord(line) : takePlainWord(line);
        if (!word || word->empty() || !(line.empty() || blanks.find(line.front()) != blanks.npos))
            return std::nullopt;
        words.push_back(std::move(*word));
    }
    return words.empty() ? std::nullopt : std::optional(std::move(words));
}

/// The word with "%" for "%%"; absent when it has a code for something else.
std::optional<std::string> withoutCodes(std::string_view word) {
    std::string plain;
    for (std::size_t at = 0; at < word.size(); ++at) {
        if (word[at] == '%' && (++at == word.size() || word[at] != '%'))
            return std::nullopt;
        plain += word[at];
    }
    return plain;
}

/// Whether the word stands for the files that the user hands the application, if any.
bool isForFiles(std::string_view word) {
    constexpr std::array<std::string_view, 4> codes{"%f", "%F", "%u", "%U"};
    return std::ranges::find(codes, word) != codes.end();
}

/// The program that the command line runs with nothing but files, or the argument. Absent when it
/// does anything else.
std::optional<fs::path> programOf(std::string_view line, std::string_view argument) {
    const auto isHarmless = [argument](const std::string& word) {
        return isForFiles(word) || word == argument;
    };
    auto words = wordsOf(line);
    if (!words)
        return std::nullopt;
    const auto program = words->begin() + (words->front() == programFinder ? 1 : 0);
    if (program == words->end() || !std::all_of(program + 1, words->end(), isHarmless))
        return std::nullopt;
    return withoutCodes(*program);
}

std::optional<fs::path> bundleOpened(const Values& values, std::string_view argument) {
    // With this key the desktop calls a service and does not look at the command line.
    if (valueOf(values, "Type") != "Application" || values.contains("DBusActivatable"))
        return std::nullopt;
    const auto program = programOf(valueOf(values, "Exec").value_or(""), argument);
    const auto bundle = program ? enclosingBundle(*program) : std::nullopt;
    // A path with ".." leads elsewhere than it seems where a link stands in front of that.
    const bool isOurs = bundle && program->is_absolute() && standardisedPath(*program) == *program
                        && *program == *bundle / Product::executablePath;
    return isOurs ? bundle : std::nullopt;
}

/// As GLib reads them.
bool isYes(std::string_view value) { return value == "true" || value == "1"; }
bool isNo(std::string_view value) { return value == "false" || value == "0"; }

/// Whether a desktop keeps its switch for what starts with the session under this key:
/// "X-GNOME-Autostart-enabled", or one of another desktop's.
bool isSwitch(std::string_view key) {
    return key.starts_with("X-") && key.ends_with("-Autostart-enabled");
}

} // namespace

std::optional<std::string> writeDesktopEntry(const fs::path& bundle, const EntryKeys& keys,
                                             const EntryCommands& commands) {
    std::string text = '[' + std::string(entryGroup) + "]\n";
    const auto add = [&](const std::string& key, std::string_view value) {
        (text += key) += '=' + escapedValue(value) + '\n';
    };
    const fs::path program = standardisedPath(bundle) / Product::executablePath;
    add("Type", "Application");
    add("Exec", commandLine(program, commands.argument));
    for (const auto& [key, value] : keys)
        add(key, value);
    std::string names;
    for (const auto& action : commands.actions)
        names += action.name + ';';
    if (!names.empty())
        add("Actions", names);
    for (const auto& action : commands.actions) {
        text += "\n[Desktop Action " + action.name + "]\n";
        add("Name", action.name);
        add("Exec", commandLine(program, action.argument));
    }
    return isUtf8(text) ? std::optional(text) : std::nullopt;
}

std::optional<fs::path> bundleOpenedBy(std::string_view entry) {
    const auto values = readEntry(entry);
    return values ? bundleOpened(*values, {}) : std::nullopt;
}

std::optional<SessionEntry> readSessionEntry(std::string_view entry, std::string_view argument) {
    const auto values = readEntry(entry);
    const auto bundle = values ? bundleOpened(*values, argument) : std::nullopt;
    if (!bundle)
        return std::nullopt;
    const auto turnsOff = [](const auto& pair) {
        const auto value = withoutSpaceBehind(pair.second, lineSpace);
        return (pair.first == "Hidden" && isYes(value)) || (isSwitch(pair.first) && isNo(value));
    };
    return SessionEntry{*bundle, std::ranges::none_of(*values, turnsOff)};
}

std::optional<std::string> readEntryFile(const fs::path& file) {
    return readRegularFile(file, maximumEntryBytes);
}

std::optional<fs::path> bundleOpenedByFile(const fs::path& file) {
    const auto text = readEntryFile(file);
    return text ? bundleOpenedBy(*text) : std::nullopt;
}

} // namespace tallywick
