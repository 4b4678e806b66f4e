#include "codex/CodexLocator.h"

#include "support/TemporaryFolder.h"

#include <QByteArray>

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <map>
#include <sstream>
#include <thread>

namespace tallywick {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using namespace std::string_literals;
using testing::TemporaryFolder;
using testing::writeAll;
using Helpers = HelperDiscovery::Helpers;
using Names = std::vector<std::string>;

std::string elf(char machine) {
    std::string header = "\177ELF\2\1\1"s + std::string(9, '\0') + "\3\0"s + machine + "\0\1"s;
    header.resize(5000);
    header[52] = 64;
    return header;
}
const std::string elfX86 = elf(62);
const std::string elfArm = elf(static_cast<char>(183));

/// Where npm has put the helper since 0.133, in a folder of packages.
const std::string packagedHelper =
    "@openai/codex-linux-x64/vendor/x86_64-unknown-linux-musl/bin/codex";

/// A machine in a temporary folder. Names are relative to it: the system's own places lie in
/// "root", the user's in "home".
struct Machine {
    std::string processor = "x86_64";
    std::string native = elfX86;
    std::string searchPath = {};
    std::map<std::string, std::string> environment = {};
    TemporaryFolder folder = {};

    /// The path of a name, once the folder that it lies in is there.
    fs::path operator/(const std::string& name) const {
        fs::create_directories((folder / name).parent_path());
        return folder / name;
    }
    void put(const std::string& name, const std::string& bytes) const {
        writeAll(*this / name, bytes);
        fs::permissions(folder / name, fs::perms{0755});
    }
    void plant(const Names& names) const {
        for (const std::string& name : names)
            put(name, native);
    }
    void search(const Names& parts) {
        for (const std::string& part : parts)
            searchPath += ":" + (folder / part).string();
    }
    void link(const std::string& name, const fs::path& target) const {
        fs::create_symlink(target, *this / name);
    }
    CodexLocator locator() const {
        const HelperSurroundings here{
            folder / "root", folder / "home", searchPath, {}, [this](const std::string& name) {
                const auto found = environment.find(name);
                return found == environment.end() ? "" : found->second;
            }};
        return CodexLocator(linuxHelperPlaces(here, processor));
    }
    Names candidates(const std::optional<fs::path>& preferred = std::nullopt) const {
        Names names;
        for (const fs::path& helper : locator().candidates(preferred))
            names.push_back(helper.lexically_relative(folder.path()));
        return names;
    }
    std::string resolve(const std::string& name) const {
        return locator().resolve(folder / name).value_or("").lexically_relative(folder.path());
    }
    /// Three are found at a time, and the first of them goes, until none is left.
    void expectOrder(const Names& order) const {
        EXPECT_EQ(candidates(), Names{});
        plant(order);
        for (auto first = order.begin(); first != order.end(); ++first) {
            const auto last = order.end() - first > 3 ? first + 3 : order.end();
            ASSERT_EQ(candidates(), Names(first, last));
            fs::remove(folder / *first);
        }
    }
};

TEST(CodexLocator, LooksAtThePlacesOfLinuxInTheirOrder) {
    Machine machine{"arm64", elfArm};
    machine.link("versions/7/bin/codex", "../lib/node_modules/@openai/codex/bin/codex.js");
    machine.search({"search/b", "versions/7/bin", "search/a"});
    const std::string homebrew = "root/home/linuxbrew/.linuxbrew";
    Names order{"home/.local/bin/codex", "root/usr/local/bin/codex", "root/usr/bin/codex",
                homebrew + "/bin/codex"};
    const auto add = [&](const std::string& root, const std::string& package) {
        for (const char* helper : {"/bin/codex", "/codex/codex"})
            order.push_back(root + "/node_modules/@openai/" + package
                            + "/vendor/aarch64-unknown-linux-musl" + helper);
    };
    for (const std::string& root : {"root/usr/local"s, "root/usr"s, "home/.npm-global"s,
                                    "home/.local"s, homebrew, "versions/7"s})
        for (const char* package :
             {"codex", "codex/node_modules/@openai/codex-linux-arm64", "codex-linux-arm64"})
            add(root + "/lib", package);
    order.insert(order.end(), {"search/b/codex", "search/a/codex"});
    add("home/.bun/install/global", "codex-linux-arm64");
    for (const std::string editor :
         {".vscode", ".cursor", ".vscode-server", ".vscode-insiders", ".vscode-oss", ".windsurf"})
        order.push_back("home/" + editor + "/extensions/openai.chatgpt-4/bin/linux-aarch64/codex");
    machine.expectOrder(order);
}

TEST(CodexLocator, LooksAtWhatPackageManagersKeepTheNewestVersionFirst) {
    // The variable of each, its usual place, and its folders of packages in their order.
    const char* managers[] = {
        "PNPM_HOME .local/share/pnpm "
        "global/v11/b global/v11/a global/10/.pnpm global/9/.pnpm global/9",
        "VOLTA_HOME .volta tools/image/packages/@openai/codex/lib",
        "NVM_DIR .nvm versions/node/v22.1/lib versions/node/v20.10.0/lib "
        "versions/node/v20.9.1/lib versions/node/v20.9.0/lib",
        "FNM_DIR .local/share/fnm node-versions/v20/installation/lib",
        "ASDF_DATA_DIR .asdf installs/nodejs/20.9/lib installs/nodejs/20.08/lib",
        "MISE_DATA_DIR .local/share/mise installs/node/20/lib "
        "installs/npm-openai-codex/0.169.0/lib installs/npm-openai-codex/0.169.0 "
        "installs/npm-openai-codex/0.169.0/v11/1",
        "BUN_INSTALL .bun install/global"};
    for (const bool moved : {false, true}) {
        Machine machine;
        Names order;
        for (const char* manager : managers) {
            std::istringstream words(manager);
            std::string variable, usual;
            words >> variable >> usual;
            const std::string base = moved ? "moved/" + variable : "home/" + usual;
            machine.environment[variable] = moved ? (machine / base).string() : "relative";
            for (std::string folder; words >> folder;)
                order.push_back(base + "/" + folder + "/node_modules/" + packagedHelper);
        }
        machine.link(moved ? "moved/NVM_DIR/versions/node/vlatest"
                           : "home/.nvm/versions/node/vlatest",
                     "./v20.9.0"); // else its version would come first
        machine.expectOrder(order);
    }
}

TEST(CodexLocator, ResolvesOnlyNativeExecutablesOfTheRightName) {
    qputenv("PATH", "/a:/b");
    EXPECT_EQ(systemHelperPlaces().searchPath, "/a:/b");
    const Machine machine;
    machine.plant({"bin/codex", "bin/codex-1", "bin/other", "bin/codexes", "bin/Codex",
                   "A.APP/Contents/Resources/codex", "folder/codex/file", "plain/codex"});
    fs::permissions(machine / "plain/codex", fs::perms{0644});
    machine.put("arm/codex", elfArm);
    machine.put("script/codex", "#!/bin/sh\n" + elfX86);
    machine.put("short/codex", elfX86.substr(0, 4));
    machine.link("link", "bin/codex");
    machine.link("renamed/codex", "../bin/other");
    machine.link("looping/codex", "codex");
    machine.link("device/codex", "/dev/zero");
    ASSERT_EQ(::mkfifo((machine / "fifo/codex").c_str(), 0777), 0);
    EXPECT_EQ(machine.resolve("bin/../bin/codex-1"), "bin/codex-1");
    EXPECT_EQ(machine.resolve("link"), "bin/codex");
    for (const char* bundle : {"A.APP", "A.APP/"})
        EXPECT_EQ(machine.resolve(bundle), "A.APP/Contents/Resources/codex");
    for (const char* refused :
         {"bin/other", "bin/codexes", "bin/Codex", "bin/codex.app", "bin", "missing",
          "folder/codex", "plain/codex", "arm/codex", "script/codex", "short/codex",
          "renamed/codex", "looping/codex", "device/codex", "fifo/codex"})
        EXPECT_EQ(machine.resolve(refused), "") << refused;
    EXPECT_EQ(machine.locator().resolve(""), std::nullopt);
}

TEST(CodexLocator, LooksBehindALinkAShimAndThePackage) {
    const Machine machine;
    const std::string package = "/node_modules/@openai/codex";
    const std::string npm = "npm/lib" + package;
    const std::string inNpm = npm + "/node_modules/" + packagedHelper;
    const std::string asdf = "home/.asdf/installs/nodejs/20/lib/node_modules/";
    const std::string mise =
        "home/.local/share/mise/installs/npm-openai-codex/1/lib/node_modules/" + packagedHelper;
    const std::string store = "home/.local/share/pnpm/store/main";
    const std::string inStore = store + "/node_modules/" + packagedHelper;
    const std::string pnpm = "home/.local/share/pnpm/global/v11/1" + package;
    machine.plant({inNpm, asdf + packagedHelper, mise, inStore, "tools/mise"});
    for (const std::string& script :
         {npm + "/bin/codex.js", store + package + "/bin/codex.js", "home/.asdf/shims/codex"s,
          "home/.asdf/shims/node"s, "home/.local/share/pnpm/bin/codex"s,
          "npm/lib/node_modules/other/codex"s})
        machine.put(script, "#!/bin/sh\n");
    machine.link("npm/bin/codex", "../lib/node_modules/@openai/codex/bin/codex.js");
    machine.link("own/codex", machine / "npm/bin/codex");
    machine.link("linked/bin", "../npm/bin");
    machine.link("alias", npm);
    machine.link("home/.local/share/mise/shims/codex", machine / "tools/mise");
    machine.link(pnpm, machine / (store + package));
    const std::pair<std::string, std::string> rows[] = {
        {"npm/bin/codex", inNpm},
        {"own/codex", inNpm},
        {"linked/bin/codex", inNpm},
        {npm + "/", inNpm},
        {"alias", inNpm},
        {"alias/bin/codex.js", inNpm},
        {asdf + "@openai/codex-linux-x64", asdf + packagedHelper},
        {"home/.asdf/shims/codex", asdf + packagedHelper},
        {"home/.local/share/mise/shims/codex", mise},
        {"home/.local/share/pnpm/bin/codex", inStore},
        {pnpm, inStore},
        {"home/.asdf/shims/node", ""},
        {"npm/lib/node_modules/other/codex", ""},
        {"tools/mise", ""},
    };
    for (const auto& [chosen, helper] : rows)
        EXPECT_EQ(machine.resolve(chosen), helper) << chosen;
    machine.link("home/.local/bin/codex", machine / "npm/bin/codex");
    EXPECT_EQ(machine.candidates(), (Names{inNpm, inStore, asdf + packagedHelper}))
        << "the link of a fixed place first";
}

TEST(CodexLocator, PutsTheChoiceFirstAndNamesEveryFileOnce) {
    Machine machine;
    machine.plant({"chosen/codex", "package/codex-1", "last/codex"});
    machine.link("root/usr/local/bin/codex", "../../../../package/codex-1");
    machine.link("home/.local/bin/codex", machine / "chosen/codex");
    machine.link("again/codex", machine / "package/codex-1");
    machine.search({"again", "chosen", "last"});
    const fs::path chosen = machine / "chosen/codex";
    EXPECT_EQ(machine.candidates(chosen), (Names{"chosen/codex", "package/codex-1", "last/codex"}));
    machine.put("chosen/codex", "damaged");
    EXPECT_EQ(machine.candidates(chosen), (Names{"package/codex-1", "last/codex"}));
}

TEST(CodexLocator, LooksAtNoMoreThanIsSensible) {
    Machine machine;
    const std::string part = machine.folder / "not UTF-8 \xff\xfe, \n";
    machine.plant({"not UTF-8 \xff\xfe, \n/codex"});
    std::string others = "/" + std::string(100'000, 'x') + ":";
    for (int i = 0; i < 22; ++i)
        others.append("relative").append(1'000, ':'); // empty parts do not count
    machine.searchPath = others + part;
    EXPECT_EQ(machine.candidates().size(), 1U);
    for (const std::string& refused : {others + "/none:" + part, fs::relative(part).string()}) {
        machine.searchPath = refused;
        EXPECT_EQ(machine.candidates(), Names{});
    }

    // No folder at all, and never answers.
    ASSERT_EQ(::mkfifo((machine / "home/.vscode/extensions").c_str(), 0777), 0);
    Names names; // of the last six by name the first three
    for (const char* version : {"gpt-0.4.1", "gpt-0.4.10", "gpt-0.4.2", "gpt-0.5", "gpt-1",
                                "gpt-1\xff", "gpt-2", "gpt-A", "gpt", "-9"})
        names.push_back("home/.cursor/extensions/openai.chat"s + version
                        + "/bin/linux-x86_64/codex");
    machine.plant(names);
    EXPECT_EQ(machine.candidates(), Names(names.begin() + 2, names.begin() + 5));
}

/// Places of which those on the share hold up whoever looks at them, until it answers; each of the
/// others holds a helper.
struct Disks {
    Helpers places; ///< of the next search
    std::atomic<int> entered = 0;
    std::promise<void> share;
    std::shared_future<void> answered = share.get_future();
    std::atomic<int> searches = 0; ///< under way

    HelperSearch search() {
        return [this](const HelperQuery&, SearchProgress& progress) {
            ++searches;
            for (const fs::path& place : Helpers(places)) {
                if (!progress.enter(place))
                    continue;
                ++entered;
                if (place.native().starts_with("/share"))
                    answered.wait();
                else
                    progress.add(place / "codex");
            }
            --searches;
        };
    }
    ~Disks() {
        while (searches > 0)
            std::this_thread::yield();
    }
};

TEST(HelperDiscovery, GoesOnWithoutThePlaceThatHangs) {
    Disks disks;
    HelperDiscovery discovery(disks.search(), 1s);
    const auto find = [&](const Helpers& places, const HelperQuery& query = {}) {
        disks.places = places;
        return discovery.findNow(query).value_or(Helpers{"overdue"});
    };
    EXPECT_EQ(find({"/a", "/b"}), (Helpers{"/a/codex", "/b/codex"}));
    EXPECT_EQ(find({"/share/x", "/c"}), Helpers{"/c/codex"}) << "a second search found it";
    disks.entered = 0;
    EXPECT_EQ(find({"/share", "/share/x/y", "/share/x", "/d"}), Helpers{"/d/codex"});
    EXPECT_EQ(disks.entered, 1) << "what hangs was touched again";
    EXPECT_EQ(find({"/e", "/share/other", "/f"}), Helpers{"/e/codex"}) << "found until then";
    EXPECT_EQ(find({"/g"}), Helpers{"/d/codex"}) << "two hang: what was known last counts";
    EXPECT_EQ(find({"/g"}, {"/g"}), Helpers{"overdue"});
    disks.share.set_value();
    while (find({"/g"}) != Helpers{"/g/codex"})
        std::this_thread::yield();
    EXPECT_EQ(disks.entered, 4) << "what was given up went on";
}

TEST(HelperDiscovery, EndsWithoutTheSearchThatHangs) {
    Disks disks;
    disks.places = {"/share", "/a"};
    {
        HelperDiscovery discovery(disks.search(), 24h);
        discovery.find({}, [](const auto&) { ADD_FAILURE(); });
        while (disks.entered == 0)
            std::this_thread::yield();
    }
    disks.share.set_value();
}

} // namespace
} // namespace tallywick
