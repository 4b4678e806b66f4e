#include "UtilityApp/CommandLine.h"

#include "base/Product.h"
#include "platform/desktop/LauncherEntry.h"
#include "update/ReleaseUnpacker.h"

#include <algorithm>
#include <charconv>
#include <numeric>
#include <utility>
#include <vector>

namespace tallywick {

namespace {

using Task = CommandLine::Task;

std::optional<double> scaleOf(std::string_view text) {
    double scale = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), scale);
    const bool isNumber = error == std::errc() && end == text.data() + text.size();
    const bool isInRange =
        scale >= PictureOptions::smallestScale && scale <= PictureOptions::largestScale;
    return isNumber && isInRange ? std::optional(scale) : std::nullopt;
}

bool takeScale(CommandLine& line, const std::string& value) {
    const auto scale = scaleOf(value);
    line.picture.scale = scale.value_or(1);
    return scale.has_value();
}

constexpr Tasks windowTask = bitOf(Task::window);
constexpr Tasks reportTask = bitOf(Task::report);
constexpr Tasks watchTask = bitOf(Task::watch);
constexpr Tasks pictureTask = bitOf(Task::render);
constexpr Tasks helperTasks =
    windowTask | reportTask | watchTask | bitOf(Task::locate) | pictureTask;

constexpr CommandOption taskOption(std::string_view name, Task task, std::string_view help) {
    return {name, "",          help,
            task, bitOf(task), [](CommandLine&, const std::string&) {
                return true; }};
}

/// One of what the launcher offers. The reader of the arguments knows which by its name.
constexpr CommandOption actionOption(const LauncherAction& action, std::string_view help) {
    return {action.argument,
            "",
            help,
            {},
            windowTask,
            [](CommandLine&, const std::string&) {
                return true; }};
}

constexpr CommandOption options[] = {
    taskOption("--report", Task::report, "print one report, and end"),
    taskOption("--watch", Task::watch,
               "print a line whenever the status or the reading changes, until asked to end"),
    taskOption("--locate", Task::locate, "tell which helpers were found, and start none"),
    {"--render", "FILE", "draw the window into a PNG, without a display", Task::render, pictureTask,
     [](CommandLine& line, const std::string& value) {
         line.picture.file = value;
         return true;
     }},
    taskOption("--help", Task::help, "print this, and end"),
    taskOption("--version", Task::version, "print the name and the version, and end"),
    {"--portable",
     "",
     "open the window without offering to install the application",
     {},
     windowTask,
     [](CommandLine& line, const std::string&) { return line.portable = true; }},
    actionOption(launcherActions[0],
                 "have the window that is open read everything anew, or open it"),
    actionOption(launcherActions[1],
                 "have the window that is open change its layout, or open the mini layout"),
    {unfocusedArgument,
     "",
     "open the window and leave the keyboard where it is",
     {},
     windowTask,
     [](CommandLine& line, const std::string&) { return line.unfocused = true; }},
    {"--helper",
     "PATH",
     "use this Codex helper: the native program, the command in the search path, or the folder "
     "of its package",
     {},
     helperTasks,
     [](CommandLine& line, const std::string& value) {
         line.helper = value;
         return true;
     }},
    {"--json",
     "",
     "print for programs: one JSON object a line",
     {},
     reportTask | watchTask,
     [](CommandLine& line, const std::string&) { return line.json = true; }},
    {"--verbose",
     "",
     "tell also where the helper lies",
     {},
     reportTask,
     [](CommandLine& line, const std::string&) { return line.verbose = true; }},
    {"--layout",
     "mini|full",
     "the layout to draw (full)",
     {},
     pictureTask,
     [](CommandLine& line, const std::string& value) {
         line.picture.mini = value == "mini";
         return true;
     }},
    {"--theme",
     "day|night",
     "the theme to draw it in (night)",
     {},
     pictureTask,
     [](CommandLine& line, const std::string& value) {
         line.picture.light = value == "day";
         return true;
     }},
    {"--scale", "N", "the pixels of a point, 0.5 to 4 (1)", {}, pictureTask, takeScale},
    {"--sheet",
     "settings|welcome",
     "draw this sheet instead of the window",
     {},
     pictureTask,
     [](CommandLine& line, const std::string& value) {
         using Sheet = PictureOptions::Sheet;
         line.picture.sheet = value == "settings" ? Sheet::settings : Sheet::welcome;
         return true;
     }},
    {"--scenario",
     "NAME",
     "draw made-up values: live, stale, searching, signed-out, installing, managed or crowded",
     {},
     pictureTask,
     [](CommandLine& line, const std::string& value) {
         line.picture.scenario = value;
         return true;
     }},
    // The launch rule reads it.
    {Product::finishInstallArgument,
     "PROCESS",
     "",
     {},
     windowTask,
     [](CommandLine&, const std::string&) { return true; }},
};

/// How many letters are put in, left out or exchanged between the two.
std::size_t distance(std::string_view from, std::string_view to) {
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < from.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < to.size(); ++j) {
            const std::size_t exchanged = diagonal + (from[i] == to[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({exchanged, row[j] + 1, diagonal + 1});
        }
    }
    return row.back();
}

/// As it may stand in a terminal.
std::string inQuotes(std::string_view text) {
    std::string plain(text.substr(0, 80));
    std::ranges::replace_if(
        plain, [](char c) { return (c >= 0 && c < ' ') || c == '\x7f'; }, '?');
    return '"' + plain + '"';
}

/// What stands behind an unknown option: the nearest one, if half of its letters are there.
std::string suggestion(std::string_view unknown) {
    constexpr std::size_t dashes = 2, longest = 64;
    unknown = unknown.substr(0, std::min(unknown.find('='), longest));
    const CommandOption* nearest = nullptr;
    std::size_t least = longest;
    for (const CommandOption& option : options) {
        const std::size_t letters = distance(unknown, option.name);
        if (!option.help.empty() && letters < least && letters * 2 <= option.name.size() - dashes)
            nearest = &option, least = letters;
    }
    return nearest ? " Did you mean " + std::string(nearest->name) + "?" : std::string();
}

/// Whether it is one of the words to choose from, or there are none.
bool mayBe(std::string_view choices, const std::string& word) {
    const auto between = [](std::string_view text) { return '|' + std::string(text) + '|'; };
    return choices.find('|') == std::string_view::npos
           || (word.find('|') == std::string::npos
               && between(choices).find(between(word)) != std::string::npos);
}

/// Reads the arguments one by one. What makes no sense leaves its sentence in `failure`.
class Parser {
  public:
    explicit Parser(std::span<const char* const> given) : arguments(given) {}

    tl::expected<CommandLine, UsageError> parse() {
        if (!arguments.empty() && arguments[0] == ArchiveExtraction::argument)
            takeUnpacking();
        else
            takeOptions();
        if (failure.empty())
            return result;
        return tl::make_unexpected(
            UsageError{failure + " See \"" + Product::commandName + " --help\"."});
    }

  private:
    /// Nothing goes with it.
    void takeUnpacking() {
        result.task = Task::unpack;
        if (arguments.size() == 1 + result.unpacking.size())
            std::ranges::copy(arguments.subspan(1), result.unpacking.begin());
        else
            failure = "This is for the program's own use.";
    }

    void takeOptions() {
        while (failure.empty() && next < arguments.size()) {
            takeOption(arguments[next++]);
            if (result.task == Task::help || result.task == Task::version)
                return;
        }
        for (const CommandOption* option : taken)
            if (failure.empty() && (option->tasks & bitOf(result.task)) == 0)
                failure = misfit(*option);
    }

    void takeOption(std::string_view name) {
        const auto* const option = std::ranges::find(options, name, &CommandOption::name);
        if (option == std::end(options)) {
            failure = "There is no option " + inQuotes(name) + "." + suggestion(name);
            return;
        }
        const std::string given =
            option->value.empty() || next == arguments.size() ? "" : arguments[next++];
        if (given.empty() && !option->value.empty())
            failure = std::string(name) + " needs a value: " + std::string(option->value) + ".";
        else if (!mayBe(option->value, given) || !option->take(result, given))
            failure = inQuotes(given) + " is no value of " + std::string(name) + ".";
        result.task = option->task.value_or(result.task);
        for (const LauncherAction& action : launcherActions)
            if (name == action.argument)
                result.wish = action.wish;
        taken.push_back(option);
    }

    /// Why the option cannot be given with the task.
    std::string misfit(const CommandOption& option) const {
        std::string fitting, asked;
        for (const CommandOption& other : options) {
            if (other.task && (option.tasks & other.tasks) != 0)
                (fitting += fitting.empty() ? "" : " or ") += other.name;
            if (other.task == result.task)
                asked = other.name;
        }
        const std::string name(option.name);
        return asked.empty() ? name + " goes with " + fitting + " alone."
                             : name + " does not go with " + asked + ".";
    }

    std::span<const char* const> arguments;
    std::size_t next = 0;
    std::vector<const CommandOption*> taken;
    CommandLine result;
    std::string failure;
};

} // namespace

std::span<const CommandOption> commandOptions() { return options; }

tl::expected<CommandLine, UsageError> parseCommandLine(std::span<const char* const> arguments) {
    return Parser(arguments).parse();
}

} // namespace tallywick
