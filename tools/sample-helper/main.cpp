#include "sample-helper/EventLoop.h"
#include "sample-helper/HelperSession.h"
#include "sample-helper/Scenario.h"

#include <charconv>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <iomanip>
#include <iostream>
#include <optional>
#include <string_view>

namespace {

using namespace tallywick;
using namespace tallywick::sample;

constexpr int wrongUse = 2;

void listScenarios(std::ostream& stream) {
    for (const Scenario& scenario : scenarios())
        stream << std::left << std::setw(21) << scenario.name << scenario.summary << '\n';
}

std::string_view environment(const char* name) {
    const char* value = std::getenv(name); // NOLINT(concurrency-mt-unsafe): there is one thread
    return value ? value : "";
}

/// The computer's clock, or one that shows the given second when it is read first and runs on from
/// there; absent when the text is no second from year 2000 to year 3000.
std::optional<Clock> clockFrom(std::string_view text) {
    if (text.empty())
        return Clock(systemNow);
    Timestamp start = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), start);
    const bool inRange = start >= 946'684'800 && start <= 32'503'680'000;
    if (error != std::errc() || end != text.data() + text.size() || !inRange)
        return std::nullopt;
    using SteadyClock = std::chrono::steady_clock;
    return [start, begin = std::optional<SteadyClock::time_point>()]() mutable {
        const auto moment = SteadyClock::now();
        begin = begin.value_or(moment);
        return start + std::chrono::duration<Timestamp>(moment - *begin).count();
    };
}

/// The seconds that the text names; absent when it names none up to a minute.
std::optional<HelperSession::Delay> checkFrom(std::string_view text) {
    if (text.empty())
        return HelperSession::usualAccountCheck;
    double seconds = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
    constexpr double longest = 60;
    if (error != std::errc() || end != text.data() + text.size()
        || !(seconds >= 0 && seconds <= longest))
        return std::nullopt;
    return std::chrono::duration_cast<HelperSession::Delay>(std::chrono::duration<double>(seconds));
}

int serve() {
    const std::string_view wanted = environment("TALLYWICK_SAMPLE");
    const Scenario* scenario = wanted.empty() ? &scenarios().front() : findScenario(wanted);
    if (!scenario) {
        std::cerr << "codex: TALLYWICK_SAMPLE names no scenario; there are:\n";
        listScenarios(std::cerr);
        return wrongUse;
    }
    const std::optional<Clock> clock = clockFrom(environment("TALLYWICK_SAMPLE_NOW"));
    if (!clock) {
        std::cerr << "codex: TALLYWICK_SAMPLE_NOW is no second from year 2000 to 3000\n";
        return wrongUse;
    }
    const auto accountCheck = checkFrom(environment("TALLYWICK_SAMPLE_CHECK"));
    if (!accountCheck) {
        std::cerr << "codex: TALLYWICK_SAMPLE_CHECK is no number of seconds up to 60\n";
        return wrongUse;
    }
    std::cerr << "\x1b[1;33mSample helper\x1b[0m with a made-up account: " << scenario->name
              << '\n';
    EventLoop loop;
    HelperSession session(*scenario, *clock, *accountCheck, loop);
    return loop.run([&session](std::string_view line) { session.receive(line); });
}

} // namespace

int main(int argc, char** argv) {
    const std::string_view argument = argc == 2 ? argv[1] : "";
    if (argument == "--list-scenarios") {
        listScenarios(std::cout);
        return 0;
    }
    if (argument != "app-server") {
        std::cerr << "usage: codex app-server | codex --list-scenarios\n";
        return wrongUse;
    }
    try {
        return serve();
    } catch (const std::exception& error) {
        std::cerr << "codex: " << error.what() << '\n';
        return 1;
    }
}
