#include "codex/CodexLocator.h"

#include "support/TemporaryFolder.h"

#include <QByteArray>

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <string>
#include <vector>

namespace tallywick {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;
using testing::TemporaryFolder;
using Names = std::vector<std::string>;

std::string elf(char machine) {
    std::string header = "\177ELF\2\1\1"s + std::string(9, '\0') + "\3\0"s + machine + "\0\1"s;
    header.resize(5000);
    header[52] = 64;
    return header;
}
const std::string elfX86 = elf(62);
const std::string elfArm = elf(static_cast<char>(183));
const std::string machArm("\xCF\xFA\xED\xFE\x0C\0\0\1", 8);

/// A machine in a temporary folder. Names are relative to it: the system's own places lie in
/// "root", the user's in "home".
struct Machine {
    std::string processor = "x86_64";
    std::string native = elfX86;
    std::string searchPath = {};
    RunningBundles runningBundles = {};
    std::map<std::string, std::string> environment = {};
    TemporaryFolder folder = {};

    /// The path of a name, once the folder that it lies in is there.
    fs::path operator/(const std::string& name) const {
        fs::create_directories((folder / name).parent_path());
        return folder / name;
    }
    void put(const std::string& name, const std::string& bytes) const {
        std::ofstream(*this / name) << bytes;
        fs::permissions(folder / name, fs::perms{0755});
    }
    void plant(const Names& names) const {
        for (const std::string& name : names)
            put(name, native);
    }
    void link(const std::string& name, const fs::path& target) const {
        fs::create_symlink(target, *this / name);
    }
    void search(const Names& names) {
        for (const std::string& name : names)
            searchPath += ":" + (folder / name).string();
    }
    CodexLocator locator() const {
        const auto value = [this](const std::string& name) {
            const auto found = environment.find(name);
            return found == environment.end() ? "" : found->second;
        };
        const HelperSurroundings here{folder / "root", folder / "home", searchPath, runningBundles,
                                      value};
        return CodexLocator(processor == "Mac" ? macHelperPlaces(here)
                                               : linuxHelperPlaces(here, processor));
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

/// Where npm has put the helper since 0.133, in a folder of packages.
const std::string packagedHelper =
    "@openai/codex-linux-x64/vendor/x86_64-unknown-linux-musl/bin/codex";

TEST(CodexLocator, LooksAtThePlacesOfAMacInTheirOrder) {
    Machine machine{"Mac", machArm};
    machine.runningBundles = [&](const Names&) { return std::vector{machine / "running.app"}; };
    machine.search({"search"});
    const std::string inBundle = ".app/Contents/Resources/codex";
    machine.expectOrder(
        {"root/Applications/ChatGPT" + inBundle, "home/Applications/Codex" + inBundle,
         "running" + inBundle, "root/opt/homebrew/bin/codex",
         "home/.npm-global/lib/node_modules/@openai/codex/vendor/aarch64-apple-darwin/codex/codex",
         "search/codex", "home/.vscode/extensions/openai.chatgpt-4/bin/macos-aarch64/codex"});
}

TEST(CodexLocator, LooksAtThePlacesOfLinuxInTheirOrder) {
    const auto expect = [](Machine&& machine, const std::string& triple, const std::string& cpu) {
        machine.link("versions/7/bin/codex", "../lib/node_modules/@openai/codex/bin/codex.js");
        machine.search({"search/b", "versions/7/bin", "search/a"});
        const std::string homebrew = "root/home/linuxbrew/.linuxbrew";
        Names order{"home/.local/bin/codex", "root/usr/local/bin/codex", "root/usr/bin/codex",
                    homebrew + "/bin/codex"};
        const std::string own = "codex-linux-" + cpu;
        const std::string inside = "codex/node_modules/@openai/" + own;
        const std::string vendor = "vendor/" + triple + "-unknown-linux-musl";
        for (const std::string& root : {"root/usr/local"s, "root/usr"s, "home/.npm-global"s,
                                        "home/.local"s, homebrew, "versions/7"s})
            for (const std::string& package : {"codex"s, inside, own})
                for (const char* helper : {"bin/codex", "codex/codex"})
                    order.push_back(fs::path(root) / "lib/node_modules/@openai" / package / vendor
                                    / helper);
        const std::string extension = "/extensions/openai.chatgpt-4/bin/linux-" + triple + "/codex";
        order.insert(order.end(), {"search/b/codex", "search/a/codex",
                                   "home/.bun/install/global/node_modules/@openai/" + own + "/"
                                       + vendor + "/bin/codex"});
        for (const std::string editor : {".vscode", ".cursor", ".vscode-server", ".vscode-insiders",
                                         ".vscode-oss", ".windsurf"})
            order.push_back("home/" + editor + extension);
        machine.expectOrder(order);
    };
    expect(Machine{}, "x86_64", "x64");
    expect(Machine{"arm64", elfArm}, "aarch64", "arm64");
}

/// Each package manager's folders of packages, in the order in which they are looked at.
TEST(CodexLocator, LooksAtWhatPackageManagersKeepTheNewestVersionFirst) {
    const struct {
        std::string variable;
        std::string usual;
        Names folders;
    } managers[] = {
        {"PNPM_HOME",
         ".local/share/pnpm",
         {"global/v11/b", "global/v11/a", "global/10/.pnpm", "global/9/.pnpm", "global/9"}},
        {"VOLTA_HOME", ".volta", {"tools/image/packages/@openai/codex/lib"}},
        {"NVM_DIR",
         ".nvm",
         {"versions/node/v22.1/lib", "versions/node/v20.10.0/lib", "versions/node/v20.9.1/lib",
          "versions/node/v20.9.0/lib"}},
        {"FNM_DIR", ".local/share/fnm", {"node-versions/v20/installation/lib"}},
        {"ASDF_DATA_DIR", ".asdf", {"installs/nodejs/20.09/lib", "installs/nodejs/20.8/lib"}},
        {"MISE_DATA_DIR",
         ".local/share/mise",
         {"installs/node/20/lib", "installs/npm-openai-codex/0.169.0/lib",
          "installs/npm-openai-codex/0.169.0", "installs/npm-openai-codex/0.169.0/v11/1"}},
        {"BUN_INSTALL", ".bun", {"install/global"}},
    };
    for (const bool moved : {false, true}) {
        Machine machine;
        Names order;
        for (const auto& [variable, usual, folders] : managers) {
            const std::string base = moved ? "moved/" + variable : "home/" + usual;
            machine.environment[variable] = moved ? (machine / base).string() : "relative";
            for (const std::string& folder : folders)
                order.push_back(base + "/" + folder + "/node_modules/" + packagedHelper);
        }
        machine.link(moved ? "moved/NVM_DIR/versions/node/lts" : "home/.nvm/versions/node/lts",
                     "./v20.9.0"); // else its version would come first
        machine.expectOrder(order);
    }
}

TEST(CodexLocator, ResolvesOnlyNativeExecutablesOfTheRightName) {
    qputenv("PATH", "/a:/b");
    qputenv("NVM_DIR", "/moved");
    const HelperPlaces here = systemHelperPlaces();
    EXPECT_EQ(here.searchPath, "/a:/b");
    EXPECT_TRUE(std::ranges::any_of(here.managedPackages,
                                    [](const auto& manager) { return manager.base == "/moved"; }));
    const Machine machine;
    machine.plant({"bin/codex", "bin/codex-1", "bin/other", "bin/codexes", "bin/Codex",
                   "A.APP/Contents/Resources/codex", "folder/codex/file", "plain/codex"});
    fs::permissions(machine / "plain/codex", fs::perms{0644});
    machine.put("arm/codex", elfArm);
    machine.put("script/codex", "#!/bin/sh\n" + elfX86);
    machine.put("empty/codex", "");
    machine.put("short/codex", elfX86.substr(0, 4));
    machine.link("link", "bin/codex");
    machine.link("renamed/codex", "../bin/other");
    machine.link("looping/codex", "codex");
    machine.link("device/codex", "/dev/zero");
    ASSERT_EQ(::mkfifo((machine / "fifo/codex").c_str(), 0777), 0);

    EXPECT_EQ(machine.resolve("bin/codex"), "bin/codex");
    EXPECT_EQ(machine.resolve("bin/../bin/codex-1"), "bin/codex-1");
    EXPECT_EQ(machine.resolve("link"), "bin/codex");
    for (const char* bundle : {"A.APP", "A.APP/"})
        EXPECT_EQ(machine.resolve(bundle), "A.APP/Contents/Resources/codex");
    for (const char* refused :
         {"bin/other", "bin/codexes", "bin/Codex", "bin/codex.app", "bin", "missing",
          "folder/codex", "plain/codex", "arm/codex", "script/codex", "empty/codex", "short/codex",
          "renamed/codex", "looping/codex", "device/codex", "fifo/codex"})
        EXPECT_EQ(machine.resolve(refused), "") << refused;
    EXPECT_EQ(machine.locator().resolve(""), std::nullopt);
}

TEST(CodexLocator, LooksBehindALinkAShimAndThePackage) {
    const Machine machine;
    const std::string packages = "/node_modules/";
    const std::string script = "@openai/codex/bin/codex.js";
    const std::string npm = "npm/lib" + packages + "@openai/codex/node_modules/" + packagedHelper;
    const std::string asdf = "home/.asdf/installs/nodejs/20/lib" + packages + packagedHelper;
    const std::string mise =
        "home/.local/share/mise/installs/npm-openai-codex/1/lib" + packages + packagedHelper;
    const std::string store = "home/.local/share/pnpm/store/main" + packages;
    const std::string pnpm = "home/.local/share/pnpm/global/v11/1" + packages + "@openai/codex";
    machine.plant({npm, asdf, mise, store + packagedHelper, "tools/mise"});
    for (const char* text :
         {"npm/lib/node_modules/@openai/codex/bin/codex.js", "home/.local/share/pnpm/bin/codex",
          "home/.asdf/shims/codex", "home/.asdf/shims/node", "npm/lib/node_modules/other/codex"})
        machine.put(text, "#!/bin/sh\n");
    machine.put(store + script, "#!/usr/bin/env node\n");
    machine.link("npm/bin/codex", "../lib/node_modules/@openai/codex/bin/codex.js");
    machine.link("own/codex", machine / "npm/bin/codex");
    machine.link("linked/bin", "../npm/bin");
    machine.link("looping/codex", "codex");
    machine.link("npm/lib/node_modules/.bin/codex", "../@openai/codex/bin/codex.js");
    machine.link("alias", "npm/lib/node_modules/@openai/codex");
    machine.link("home/.local/share/mise/shims/codex", machine / "tools/mise");
    machine.link(pnpm, machine / (store + "@openai/codex"));
    const struct {
        std::string chosen;
        std::string helper;
    } cases[] = {{"npm/bin/codex", npm},
                 {"own/codex", npm},
                 {"linked/bin/codex", npm},
                 {"npm/lib/node_modules/.bin/codex", npm},
                 {"npm/lib/node_modules/@openai/codex/bin/codex.js", npm},
                 {"npm/lib/node_modules/@openai/codex", npm},
                 {"npm/lib/node_modules/@openai/codex/", npm},
                 {"alias", npm},
                 {"alias/bin/codex.js", npm},
                 {"home/.asdf/installs/nodejs/20/lib/node_modules/@openai/codex-linux-x64", asdf},
                 {"home/.asdf/shims/codex", asdf},
                 {"home/.local/share/mise/shims/codex", mise},
                 {"home/.local/share/pnpm/bin/codex", store + packagedHelper},
                 {pnpm, store + packagedHelper},
                 {"looping/codex", ""},
                 {"home/.asdf/shims/node", ""},
                 {"npm/lib/node_modules/other/codex", ""},
                 {"tools/mise", ""}};
    for (const auto& [chosen, helper] : cases)
        EXPECT_EQ(machine.resolve(chosen), helper) << chosen;
    machine.link("home/.local/bin/codex", machine / "npm/bin/codex");
    EXPECT_EQ(machine.candidates(), (Names{npm, store + packagedHelper, asdf}))
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

TEST(CodexLocator, LooksAtTheFirst24PartsOfTheSearchPath) {
    Machine machine;
    machine.plant({"not UTF-8 \xff\xfe, \n/codex"});
    const std::string part = machine / "not UTF-8 \xff\xfe, \n";
    std::string others = "/" + std::string(100'000, 'x') + ":";
    for (int i = 0; i < 22; ++i)
        others.append("relative").append(1'000, ':'); // empty parts do not count
    const auto count = [&](const std::string& searchPath) {
        machine.searchPath = searchPath;
        return machine.candidates().size();
    };
    EXPECT_EQ(count(others + part), 1);
    EXPECT_EQ(count(others + "/none:" + part), 0);
    EXPECT_EQ(count(fs::relative(part)), 0);
}

TEST(CodexLocator, LooksAtTheLastSixExtensionsByNameAndAtTheNewest48Versions) {
    const Machine machine;
    const auto inVersion = [](int number) {
        return "home/.nvm/versions/node/v" + std::to_string(number) + "/lib/node_modules/"
               + packagedHelper;
    };
    for (int number = 2; number < 50; ++number)
        fs::create_directories((machine / inVersion(number)).parent_path());
    machine.plant({inVersion(1)});
    EXPECT_EQ(machine.candidates(), Names{}) << "a 49th was looked at";
    // No folder at all, and never answers.
    ASSERT_EQ(::mkfifo((machine / "home/.vscode/extensions").c_str(), 0777), 0);
    Names names;
    for (const char* version : {"gpt-0.4.1", "gpt-0.4.10", "gpt-0.4.2", "gpt-0.5", "gpt-1",
                                "gpt-1\xff", "gpt-2", "gpt-A", "gpt", "-9"})
        names.push_back("home/.cursor/extensions/openai.chat"s + version
                        + "/bin/linux-x86_64/codex");
    machine.plant(names);
    EXPECT_EQ(machine.candidates(), Names(names.begin() + 2, names.begin() + 5));
    for (std::size_t i = 2; i < 8; ++i)
        fs::remove(machine / names[i]);
    EXPECT_EQ(machine.candidates(), Names{}) << "a seventh was looked at";
}

} // namespace
} // namespace tallywick
