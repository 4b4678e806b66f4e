#include "codex/CodexLocator.h"

#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace tallywick {
namespace {

namespace fs = std::filesystem;
using testing::TemporaryFolder;
using Names = std::vector<std::string>;

std::string elf(char machine) {
    std::string header(5000, '\0');
    header.replace(0, 7, "\177ELF\x02\x01\x01");
    header[16] = 3;
    header[18] = machine;
    header[20] = 1;
    header[52] = 64;
    return header;
}
const std::string elfX86 = elf(62);
const std::string elfArm = elf(static_cast<char>(183));
const std::string machArm("\xCF\xFA\xED\xFE\x0C\0\0\1", 8);
const std::string machX86("\xCF\xFA\xED\xFE\x07\0\0\1", 8);
const std::string machBoth("\xCA\xFE\xBA\xBE\0\0\0\2"
                           "\1\0\0\7\0\0\0\3\0\0\0\0\0\0\0\0\0\0\0\0\1\0\0\x0C",
                           32);

/// The rules of one system, and what is native there.
struct System {
    std::string name;
    std::function<HelperPlaces(const HelperSurroundings&)> places;
    Names native;
    Names foreign;
};
const System systems[] = {
    {"Mac", macHelperPlaces, {machArm, machBoth}, {machX86, elfArm}},
    {"Linux on x86_64",
     [](const HelperSurroundings& here) { return linuxHelperPlaces(here, "x86_64"); },
     {elfX86},
     {elfArm, machX86}},
    {"Linux on arm64",
     [](const HelperSurroundings& here) { return linuxHelperPlaces(here, "arm64"); },
     {elfArm},
     {elfX86, machArm}},
};

/// A machine in a temporary folder. Names are relative to it: the system's own places lie in
/// "root", the user's in "home".
class Machine {
  public:
    explicit Machine(const System& which) : system(which) {}

    fs::path operator/(const std::string& name) const { return folder / name; }

    /// The same, once the folder that it lies in is there.
    fs::path make(const std::string& name) const {
        fs::create_directories((folder / name).parent_path());
        return folder / name;
    }
    void put(const std::string& name, const std::string& bytes, unsigned mode = 0755) const {
        std::ofstream(make(name)) << bytes;
        fs::permissions(folder / name, fs::perms{mode});
    }
    void plant(const std::string& name) const { put(name, system.native.front()); }
    void link(const std::string& name, const fs::path& target) const {
        fs::create_symlink(target, make(name));
    }
    void makeFifo(const std::string& name) const {
        ASSERT_EQ(::mkfifo(make(name).c_str(), 0777), 0);
    }
    void search(const std::string& name) { searchPath += ":" + (folder / name).string(); }

    CodexLocator locator() const {
        return CodexLocator(system.places({.root = folder / "root",
                                           .home = folder / "home",
                                           .searchPath = searchPath,
                                           .runningBundles = runningBundles}));
    }
    Names candidates(const std::optional<fs::path>& preferred = std::nullopt) const {
        Names names;
        for (const fs::path& helper : locator().candidates(preferred))
            names.push_back(helper.lexically_relative(folder.path()));
        return names;
    }

    std::string searchPath;
    RunningBundles runningBundles;

  private:
    TemporaryFolder folder;
    System system;
};

/// All places on a Mac, in the order of preference.
Names macOrder() {
    const std::string inBundle = "/Contents/Resources/codex";
    Names order;
    for (const char* bundle : {"root/Applications/ChatGPT.app", "root/Applications/Codex.app",
                               "home/Applications/ChatGPT.app", "home/Applications/Codex.app",
                               "running/2.app", "running/1.app"})
        order.push_back(bundle + inBundle);
    for (const char* name :
         {"root/opt/homebrew/bin/codex", "root/usr/local/bin/codex", "home/.local/bin/codex"})
        order.emplace_back(name);
    for (const std::string root : {"root/opt/homebrew", "root/usr/local", "home/.npm-global"})
        for (const char* package : {"codex/vendor/aarch64", "codex-darwin-arm64/vendor/aarch64",
                                    "codex/vendor/x86_64", "codex-darwin-x64/vendor/x86_64"})
            order.push_back(root + "/lib/node_modules/@openai/" + package
                            + "-apple-darwin/codex/codex");
    for (const char* name : {"search/b/codex", "search/a/codex",
                             "home/.vscode/extensions/openai.chatgpt-4/bin/macos-aarch64/codex",
                             "home/.vscode/extensions/openai.chatgpt-4/bin/macos-x86_64/codex",
                             "home/.vscode/extensions/openai.chatgpt-5/bin/macos-aarch64/codex",
                             "home/.cursor/extensions/openai.chatgpt-4/bin/macos-x86_64/codex"})
        order.emplace_back(name);
    return order;
}

/// All places on Linux, with the processor's name in triples and in packages.
Names linuxOrder(const std::string& triple, const std::string& suffix) {
    Names order{"home/.local/bin/codex", "root/usr/local/bin/codex", "root/usr/bin/codex"};
    for (const std::string root : {"root/usr/local", "root/usr", "home/.npm-global", "versions/7"})
        for (const std::string& package :
             {std::string("codex"), "codex/node_modules/@openai/codex-linux-" + suffix,
              "codex-linux-" + suffix})
            for (const char* helper : {"/bin/codex", "/codex/codex"})
                order.push_back(root + "/lib/node_modules/@openai/" + package + "/vendor/" + triple
                                + "-unknown-linux-musl" + helper);
    for (const char* name : {"search/b/codex", "search/a/codex"})
        order.emplace_back(name);
    for (const char* extension :
         {".vscode/extensions/openai.chatgpt-4", ".vscode/extensions/openai.chatgpt-5",
          ".cursor/extensions/openai.chatgpt-4"})
        order.push_back(std::string("home/") + extension + "/bin/linux-" + triple + "/codex");
    return order;
}

TEST(CodexLocator, looksAtThePlacesOfTheSystemInTheirOrder) {
    const Names orders[] = {macOrder(), linuxOrder("x86_64", "x64"),
                            linuxOrder("aarch64", "arm64")};
    for (std::size_t i = 0; i < std::size(systems); ++i) {
        SCOPED_TRACE(systems[i].name);
        Machine machine(systems[i]);
        machine.runningBundles = [&](const Names& identifiers) {
            EXPECT_EQ(identifiers, (Names{"com.openai.chat", "com.openai.codex"}));
            return std::vector{machine / "running/2.app", machine / "running/1.app"};
        };
        machine.link("versions/7/bin/codex", "../lib/node_modules/@openai/codex/bin/codex.js");
        for (const char* name : {"search/b", "versions/7/bin", "search/a"})
            machine.search(name);
        EXPECT_EQ(machine.candidates(), Names{});

        for (const std::string& name : orders[i])
            machine.plant(name);
        // Three are found at a time, and the first of them goes, until none is left.
        for (auto first = orders[i].begin(); first != orders[i].end(); ++first) {
            const auto count = std::min<std::ptrdiff_t>(3, orders[i].end() - first);
            ASSERT_EQ(machine.candidates(), Names(first, first + count));
            fs::remove(machine / *first);
        }
    }
}

TEST(CodexLocator, resolvesOnlyNativeExecutablesOfTheRightName) {
    for (const System& system : systems) {
        const Machine machine(system);
        const std::string native = system.native.front();
        for (const char* name : {"bin/codex", "bin/codex-1", "bin/other", "bin/codexes",
                                 "bin/Codex", "A.APP/Contents/Resources/codex"})
            machine.plant(name);
        machine.link("link", "bin/codex");
        machine.link("renamed/codex", "../bin/other");
        machine.link("looping/codex", "codex");
        machine.link("device/codex", "/dev/zero");
        machine.makeFifo("fifo/codex");
        machine.put("folder/codex/file", "");
        machine.put("not executable/codex", native, 0644);

        std::vector<std::pair<std::string, std::string>> rows{
            {"bin/codex", "bin/codex"},
            {"bin/../bin/codex-1", "bin/codex-1"},
            {"link", "bin/codex"},
            {"A.APP", "A.APP/Contents/Resources/codex"},
            {"A.APP/", "A.APP/Contents/Resources/codex"},
        };
        const auto plantWith = [&](const std::string& bytes, bool isNative) {
            const std::string name = std::to_string(rows.size()) + "/codex";
            machine.put(name, bytes);
            rows.emplace_back(name, isNative ? name : "");
        };
        for (const std::string& bytes : system.native)
            plantWith(bytes, true);
        for (const std::string& bytes : system.foreign)
            plantWith(bytes, false);
        for (const std::string& bytes :
             {"#!/bin/sh\n" + native, std::string(), native.substr(0, 4)})
            plantWith(bytes, false);
        for (const char* refused : {"bin/other", "bin/codexes", "bin/Codex", "renamed/codex",
                                    "looping/codex", "device/codex", "fifo/codex", "folder/codex",
                                    "not executable/codex", "bin/codex.app", "bin", "missing"})
            rows.emplace_back(refused, "");
        for (const auto& [chosen, resolved] : rows)
            EXPECT_EQ(machine.locator().resolve(machine / chosen),
                      resolved.empty() ? std::nullopt : std::optional(machine / resolved))
                << system.name << ": " << chosen;
        EXPECT_EQ(machine.locator().resolve(""), std::nullopt);
    }
}

TEST(CodexLocator, putsTheChoiceFirstAndNamesEveryFileOnce) {
    Machine machine(systems[1]);
    for (const char* name : {"chosen/codex", "package/codex-1", "last/codex"})
        machine.plant(name);
    machine.link("root/usr/local/bin/codex", "../../../../package/codex-1");
    machine.link("home/.local/bin/codex", machine / "chosen/codex");
    machine.link("again/codex", machine / "package/codex-1");
    for (const char* name : {"again", "chosen", "last"})
        machine.search(name);
    const fs::path chosen = machine / "chosen/codex";
    EXPECT_EQ(machine.candidates(chosen), (Names{"chosen/codex", "package/codex-1", "last/codex"}));
    machine.put("chosen/codex", "damaged");
    EXPECT_EQ(machine.candidates(chosen), (Names{"package/codex-1", "last/codex"}));
}

TEST(CodexLocator, looksAtTheFirst24PartsOfTheSearchPath) {
    const auto times = [](int count, const std::string& text) {
        std::string all;
        for (int i = 0; i < count; ++i)
            all += text;
        return all;
    };
    Machine machine(systems[1]);
    const std::string name = "not UTF-8 \xff\xfe, \n";
    const std::string part = machine / name;
    machine.plant(name + "/codex");
    const struct {
        const char* what;
        std::string searchPath;
        bool isFound;
    } rows[] = {
        {"the 24th part", times(23, "/none:") + part, true},
        {"the 25th part", times(24, "/none:") + part, false},
        {"relative parts count", times(24, ".:") + part, false},
        {"empty parts do not count", times(100'000, ":") + part + ":", true},
        {"a part too long for a path", "/" + times(100'000, "x") + ":" + part, true},
        {"a relative part", fs::relative(part), false},
    };
    for (const auto& row : rows) {
        machine.searchPath = row.searchPath;
        EXPECT_EQ(machine.candidates(), row.isFound ? Names{name + "/codex"} : Names{}) << row.what;
    }
}

TEST(CodexLocator, followsLinksOfTheSearchPathIntoPackages) {
    const std::string helper =
        "/@openai/codex-linux-x64/vendor/x86_64-unknown-linux-musl/bin/codex";
    const std::string script = "../lib/node_modules/@openai/codex/bin/codex.js";
    const struct {
        const char* what;
        std::vector<std::pair<std::string, std::string>> links;
        Names roots; ///< the folders of packages that are found
    } rows[] = {
        {"a global package", {{"p/bin/codex", script}}, {"p/lib/node_modules"}},
        {"a project's package",
         {{"p/bin/codex", "../../own/node_modules/.bin/codex"},
          {"own/node_modules/.bin/codex", "../@openai/codex/bin/codex.js"}},
         {"own/node_modules"}},
        {"a folder that is a link",
         {{"p/bin", "../deep/er/bin"}, {"deep/er/bin/codex", script}},
         {"deep/er/lib/node_modules"}},
        {"a link into another package", {{"p/bin/codex", "../lib/node_modules/codex/codex"}}, {}},
        {"a link to itself", {{"p/bin/codex", "codex"}}, {}},
    };
    for (const auto& row : rows) {
        Machine machine(systems[1]);
        machine.search("p/bin");
        for (const char* root :
             {"p/lib/node_modules", "own/node_modules", "deep/er/lib/node_modules"})
            machine.plant(root + helper);
        for (const auto& [name, target] : row.links)
            machine.link(name, target);
        Names expected;
        for (const std::string& root : row.roots)
            expected.push_back(root + helper);
        EXPECT_EQ(machine.candidates(), expected) << row.what;
    }
}

TEST(CodexLocator, looksAtTheLastSixExtensionsByName) {
    const Machine machine(systems[1]);
    machine.makeFifo("home/.vscode/extensions"); // no folder at all, and never answers
    const std::string folder = "home/.cursor/extensions/";
    Names names;
    for (const char* version : {"0.4.1", "0.4.10", "0.4.2", "0.5", "1", "1\xff", "2", "A"})
        names.push_back(folder + "openai.chatgpt-" + version + "/bin/linux-x86_64/codex");
    for (const std::string& name : names)
        machine.plant(name);
    for (const char* other : {"openai.chatgpt", "openai.chat-9", "z.openai.chatgpt-9"})
        machine.plant(folder + other + "/bin/linux-x86_64/codex");
    EXPECT_EQ(machine.candidates(), Names(names.begin() + 2, names.begin() + 5));
    for (std::size_t i = 2; i < names.size(); ++i)
        machine.put(names[i], "damaged");
    EXPECT_EQ(machine.candidates(), Names{});
}

TEST(CodexLocator, passesOverWhatChangesBetweenTwoLooks) {
    Machine machine(systems[1]);
    machine.plant("search/codex");
    machine.plant("spare/codex");
    machine.search("search");
    const fs::path changing = machine / "home/.local/bin/codex";
    fs::create_directories(changing.parent_path());
    std::atomic<bool> isOver = false;
    std::thread changer([&] {
        const fs::path next = machine / "next";
        // Leaves each state for a while, never as long as the last time: the looks must not fall
        // into step with the changes, which on one processor happen only where a thread yields.
        const auto show = [&](int yields) {
            fs::rename(next, changing);
            for (int i = 0; i < yields; ++i)
                std::this_thread::yield();
        };
        for (int round = 1; !isOver; ++round) {
            fs::create_hard_link(machine / "spare/codex", next);
            show(round % 64);
            EXPECT_EQ(::mkfifo(next.c_str(), 0755), 0);
            show(round % 13);
            fs::create_symlink(machine / "spare/codex", next);
            show(round % 7);
            fs::remove(changing);
        }
    });
    int changes = 0; // seen from one look to the next; without any, nothing is tested
    Names last;
    for (int looks = 0; looks < 200 || changes < 3; ++looks) {
        const Names names = machine.candidates();
        EXPECT_TRUE(names.size() == 1 || names.size() == 2);
        EXPECT_EQ(names.back(), "search/codex");
        changes += names == last ? 0 : 1;
        last = names;
        std::this_thread::yield();
    }
    isOver = true;
    changer.join();
}

TEST(CodexLocator, looksAtTheSearchPathThatTheProgramHas) {
    ::setenv("PATH", "/a:/b", 1);
    EXPECT_EQ(systemHelperPlaces().searchPath, "/a:/b");
}

} // namespace
} // namespace tallywick
