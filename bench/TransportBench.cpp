// What the transport costs beside the work that cannot be avoided: the JSON parser alone on the
// same lines, and a bare pipe to a process that echoes.

#include "base/Json.h"
#include "codex/CodexBridge.h"

#include <benchmark/benchmark.h>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace {

using namespace tallywick;

constexpr std::size_t streamBytes = 32U << 20U;

/// A notification such as a helper sends unasked.
std::string smallLine() {
    return R"({"method":"remoteControl/status/changed","params":{"status":"disabled","since":1795370400,)"
           R"("environment":null,"retries":[1,2,4.5]},"sequence":17})"
           "\n";
}

/// A daily list near the longest line that is taken.
std::string largeLine() {
    Json days = Json::array();
    for (int i = 0; i < 48'000; ++i)
        days.push_back({{"startDate", "2026-11-22"}, {"tokens", 123'456 + i}});
    return writeJson({{"method", "ignored"}, {"params", {{"dailyUsageBuckets", days}}}}) + "\n";
}

std::string linesOf(const std::string& line) {
    std::string lines;
    do
        lines += line;
    while (lines.size() < (1U << 20U));
    return lines;
}

std::size_t copiesOf(const std::string& lines) { return streamBytes / lines.size(); }

void parserAlone(benchmark::State& state, const std::string& line) {
    const std::string text = line.substr(0, line.size() - 1);
    for (auto _ : state)
        benchmark::DoNotOptimize(parseJson(text));
    state.SetBytesProcessed(static_cast<std::int64_t>(line.size())
                            * static_cast<std::int64_t>(state.iterations()));
}

std::shared_ptr<CodexBridge> startHelper() {
    return CodexBridge::launch(STREAMING_HELPER, false, [](const BridgeEvent&) {}, {});
}

void transportStream(benchmark::State& state, const std::string& line) {
    const std::string lines = linesOf(line);
    const auto file =
        std::filesystem::temp_directory_path() / ("tallywick-bench-" + std::to_string(::getpid()));
    std::ofstream(file) << lines;
    ::setenv("TALLYWICK_BENCH_FILE", file.c_str(), 1);
    ::setenv("TALLYWICK_BENCH_COPIES", std::to_string(copiesOf(lines)).c_str(), 1);
    const auto bridge = startHelper();
    bridge->request("account/usage/read", Json::object()); // it runs
    std::filesystem::remove(file);
    for (auto _ : state)
        bridge->request("account/read", Json::object(), AccountTransport::Seconds(60));
    state.SetBytesProcessed(static_cast<std::int64_t>(copiesOf(lines) * lines.size())
                            * static_cast<std::int64_t>(state.iterations()));
}

void transportRoundTrip(benchmark::State& state) {
    ::unsetenv("TALLYWICK_BENCH_FILE");
    const auto bridge = startHelper();
    for (auto _ : state)
        bridge->request("account/usage/read", Json::object());
}

/// cat, with a pipe at either end.
class Echo {
  public:
    Echo() {
        std::array<int, 2> in{};
        std::array<int, 2> out{};
        if (::pipe(in.data()) != 0 || ::pipe(out.data()) != 0)
            throw std::runtime_error("pipe");
        posix_spawn_file_actions_t actions;
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
        ::posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
        for (const int fd : {in[0], in[1], out[0], out[1]})
            ::posix_spawn_file_actions_addclose(&actions, fd);
        std::array<char*, 2> arguments{const_cast<char*>("cat"), nullptr};
        if (::posix_spawn(&process, "/bin/cat", &actions, nullptr, arguments.data(), environ) != 0)
            throw std::runtime_error("posix_spawn");
        ::posix_spawn_file_actions_destroy(&actions);
        ::close(in[0]);
        ::close(out[1]);
        writeEnd = in[1];
        readEnd = out[0];
    }
    ~Echo() {
        ::close(writeEnd);
        ::close(readEnd);
        ::waitpid(process, nullptr, 0);
    }
    Echo(const Echo&) = delete;
    Echo& operator=(const Echo&) = delete;

    void roundTrip(const std::string& message) const {
        if (::write(writeEnd, message.data(), message.size()) < 0)
            throw std::runtime_error("write");
        std::array<char, 4096> bytes{};
        for (std::size_t got = 0; got < message.size();) {
            const ssize_t count = ::read(readEnd, bytes.data(), bytes.size());
            if (count <= 0)
                throw std::runtime_error("read");
            got += static_cast<std::size_t>(count);
        }
    }

  private:
    pid_t process = -1;
    int writeEnd = -1;
    int readEnd = -1;
};

void pipeEcho(benchmark::State& state) {
    const Echo echo;
    const std::string message = "{\"id\":1,\"method\":\"account/usage/read\",\"params\":{}}\n";
    for (auto _ : state)
        echo.roundTrip(message);
}

BENCHMARK_CAPTURE(parserAlone, small_lines, smallLine());
BENCHMARK_CAPTURE(transportStream, small_lines, smallLine())->UseRealTime();
BENCHMARK_CAPTURE(parserAlone, large_lines, largeLine());
BENCHMARK_CAPTURE(transportStream, large_lines, largeLine())->UseRealTime();
BENCHMARK(pipeEcho)->UseRealTime();
BENCHMARK(transportRoundTrip)->UseRealTime();

} // namespace
