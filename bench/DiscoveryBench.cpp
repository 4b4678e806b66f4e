#include "codex/CodexLocator.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

namespace tallywick {
namespace {

namespace fs = std::filesystem;

constexpr int searchFolders = 24;
constexpr int extensions = 8;

/// A file of the size that helpers have, without content on the disk but for its header.
void putHelper(const fs::path& path, char machine) {
    constexpr std::uintmax_t size = 290'000'000;
    std::string header(64, '\0');
    header.replace(0, 7, "\177ELF\x02\x01\x01");
    header[16] = 3;
    header[18] = machine;
    header[20] = 1;
    header[52] = 64;
    fs::create_directories(path.parent_path());
    std::ofstream(path) << header;
    fs::permissions(path, fs::perms{0755});
    fs::resize_file(path, size);
}
constexpr char x86 = 62;
constexpr char otherProcessor = static_cast<char>(243);

/// A machine in a temporary folder, removed at the end.
class Machine {
  public:
    Machine() {
        std::string name = (fs::canonical(fs::temp_directory_path()) / "tallywick-XXXXXX").string();
        if (!::mkdtemp(name.data()))
            throw std::system_error(errno, std::generic_category(), "mkdtemp");
        folder = name;
    }
    ~Machine() {
        std::error_code ignored;
        fs::remove_all(folder, ignored);
    }
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;

    fs::path searchFolder(int i) const { return folder / ("search" + std::to_string(i)) / "bin"; }
    fs::path home() const { return folder / "home"; }

    CodexLocator locator() const {
        std::string searchPath;
        for (int i = 0; i < searchFolders; ++i)
            searchPath += searchFolder(i).string() + ":";
        return CodexLocator(linuxHelperPlaces({.root = folder / "root",
                                               .home = home(),
                                               .searchPath = searchPath,
                                               .runningBundles = {},
                                               .environment = {}},
                                              "x86_64"));
    }

    /// Every place holds something that is no helper for this processor: as much work as there is.
    void fillWithOthers() const {
        for (int i = 0; i < searchFolders; ++i) {
            const fs::path prefix = searchFolder(i).parent_path();
            const fs::path package = prefix / "lib/node_modules/@openai/codex";
            putHelper(package
                          / "node_modules/@openai/codex-linux-x64/vendor/x86_64-unknown-linux-musl"
                          / "bin/codex",
                      otherProcessor);
            fs::create_directories(package / "bin");
            std::ofstream(package / "bin/codex.js") << "#!/usr/bin/env node\n";
            fs::permissions(package / "bin/codex.js", fs::perms{0755});
            fs::create_directories(searchFolder(i));
            fs::create_symlink("../lib/node_modules/@openai/codex/bin/codex.js",
                               searchFolder(i) / "codex");
        }
        for (const char* editor : {".vscode", ".cursor"})
            for (int i = 0; i < extensions; ++i)
                putHelper(home() / editor / "extensions" / ("openai.chatgpt-0." + std::to_string(i))
                              / "bin/linux-x86_64/codex",
                          otherProcessor);
    }

  private:
    fs::path folder;
};

/// Bytes that this process has read from files so far.
double bytesRead() {
    std::ifstream stream("/proc/self/io");
    std::string name;
    double count = 0;
    stream >> name >> count;
    return name == "rchar:" ? count : 0;
}

void measure(benchmark::State& state, const CodexLocator& locator, std::size_t expected) {
    const double before = bytesRead();
    for (auto step : state)
        if (locator.candidates().size() != expected)
            state.SkipWithError("not the helpers that were expected");
    state.counters["bytes read"] =
        benchmark::Counter((bytesRead() - before), benchmark::Counter::kAvgIterations);
}

void nothingInstalled(benchmark::State& state) {
    const Machine machine;
    measure(state, machine.locator(), 0);
}

/// One helper where it is most often, and nothing else that would end the search.
void oneInstalled(benchmark::State& state) {
    const Machine machine;
    putHelper(machine.home() / ".local/bin/codex", x86);
    measure(state, machine.locator(), 1);
}

/// 24 folders of the search path that lead into packages, and eight extensions in each of the two
/// editors, none of them for this processor.
void othersEverywhere(benchmark::State& state) {
    const Machine machine;
    machine.fillWithOthers();
    measure(state, machine.locator(), 0);
}

/// The system that this runs on.
void thisSystem(benchmark::State& state) {
    const CodexLocator locator(systemHelperPlaces());
    measure(state, locator, locator.candidates().size());
}

BENCHMARK(nothingInstalled)->Unit(benchmark::kMicrosecond);
BENCHMARK(oneInstalled)->Unit(benchmark::kMicrosecond);
BENCHMARK(othersEverywhere)->Unit(benchmark::kMicrosecond);
BENCHMARK(thisSystem)->Unit(benchmark::kMicrosecond);

} // namespace
} // namespace tallywick
