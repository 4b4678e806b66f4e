#include "UtilityApp/CommandLine.h"

#include "base/Product.h"
#include "platform/desktop/LauncherEntry.h"
#include "update/ReleaseUnpacker.h"

#include <algorithm>
#include <charconv>
#include <string_view>

namespace tallywick {

namespace {

constexpr const char* usage =
    "Usage: CorvaneUtility [--portable] [--unfocused] [--refresh|--mini] [--helper PATH]\n"
    "       CorvaneUtility --report [--json] [--verbose] [--helper PATH]\n"
    "       CorvaneUtility --watch [--helper PATH]\n"
    "       CorvaneUtility --locate [--helper PATH]\n"
    "       CorvaneUtility --render FILE [--layout mini|full] [--theme day|night] [--scale N]\n"
    "                      [--sheet settings|welcome] [--scenario NAME] [--helper PATH]";

using Task = CommandLine::Task;

std::optional<double> scaleOf(std::string_view text) {
    double scale = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), scale);
    const bool isNumber = error == std::errc() && end == text.data() + text.size();
    const bool isInRange =
        scale >= PictureOptions::smallestScale && scale <= PictureOptions::largestScale;
    return isNumber && isInRange ? std::optional(scale) : std::nullopt;
}

/// Reads the arguments one by one. Every `take…` is false for what it does not know.
class Parser {
  public:
    explicit Parser(std::span<const char* const> given) : arguments(given) {}

    std::optional<CommandLine> parse() {
        if (!arguments.empty() && is(ArchiveExtraction::argument))
            return takeUnpacking();
        for (; next < arguments.size(); ++next)
            if (!takeTask() && !takeSwitch() && !takeSetting())
                return std::nullopt;
        if (tasks > 1 || !switchesFit())
            return std::nullopt;
        return result;
    }

  private:
    bool is(std::string_view name) const { return name == arguments[next]; }

    /// The argument after this one, unless it is empty.
    std::optional<std::string> value() {
        if (next + 1 == arguments.size() || *arguments[next + 1] == '\0')
            return std::nullopt;
        return arguments[++next];
    }

    /// Nothing goes with it.
    std::optional<CommandLine> takeUnpacking() {
        if (arguments.size() != 1 + result.unpacking.size())
            return std::nullopt;
        result.task = Task::unpack;
        std::ranges::copy(arguments.subspan(1), result.unpacking.begin());
        return result;
    }

    bool takeTask() {
        if (is("--report"))
            result.task = Task::report;
        else if (is("--watch"))
            result.task = Task::watch;
        else if (is("--locate"))
            result.task = Task::locate;
        else if (is("--render"))
            result.task = Task::render;
        else
            return false;
        ++tasks;
        return result.task != Task::render || takePath(result.picture.file);
    }

    bool takeSwitch() {
        if (is("--json"))
            result.json = true;
        else if (is("--verbose"))
            result.verbose = true;
        else if (is("--portable"))
            result.portable = true;
        else if (is(unfocusedArgument))
            result.unfocused = true;
        else
            return takeLauncherAction();
        return true;
    }

    bool takeLauncherAction() {
        for (const LauncherAction& action : launcherActions)
            if (is(action.argument)) {
                result.wish = action.wish;
                return true;
            }
        return false;
    }

    bool takeSetting() {
        if (is("--helper"))
            return takePath(result.helper.emplace());
        if (is(Product::finishInstallArgument))
            return value().has_value(); // the launch rule reads it
        return forPicture = takePictureSetting();
    }

    bool takePictureSetting() {
        if (is("--layout"))
            return takeChoice(result.picture.mini, "mini", "full");
        if (is("--theme"))
            return takeChoice(result.picture.light, "day", "night");
        if (is("--scenario"))
            return (result.picture.scenario = value()).has_value();
        if (is("--sheet"))
            return takeSheet();
        if (is("--scale"))
            return takeScale();
        return false;
    }

    bool takePath(std::filesystem::path& path) {
        const auto given = value();
        path = given.value_or("");
        return given.has_value();
    }

    bool takeChoice(bool& choice, std::string_view yes, std::string_view no) {
        const auto given = value();
        choice = given == yes;
        return given == yes || given == no;
    }

    bool takeSheet() {
        const auto given = value();
        result.picture.sheet =
            given == "settings" ? PictureOptions::Sheet::settings : PictureOptions::Sheet::welcome;
        return given == "settings" || given == "welcome";
    }

    bool takeScale() {
        const auto scale = scaleOf(value().value_or(""));
        result.picture.scale = scale.value_or(1);
        return scale.has_value();
    }

    bool switchesFit() const {
        const bool forReport = result.json || result.verbose;
        const bool forWindow =
            result.portable || result.unfocused || result.wish != Wish::comeForward;
        return (!forReport || result.task == Task::report)
               && (!forPicture || result.task == Task::render)
               && (!forWindow || result.task == Task::window);
    }

    std::span<const char* const> arguments;
    std::size_t next = 0;
    int tasks = 0;
    bool forPicture = false; ///< a setting of a picture was given
    CommandLine result;
};

} // namespace

tl::expected<CommandLine, UsageError> parseCommandLine(std::span<const char* const> arguments) {
    if (const auto commandLine = Parser(arguments).parse())
        return *commandLine;
    return tl::make_unexpected(UsageError{usage});
}

} // namespace tallywick
