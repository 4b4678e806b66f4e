#pragma once

#include "base/PropertyList.h"
#include "platform/linux/BundleSeal.h"

#include <gtest/gtest.h>

#include <spawn.h>
#include <sys/wait.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace tallywick::testing {

inline std::string readAll(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

inline void writeAll(const std::filesystem::path& file, const std::string& bytes) {
    std::ofstream(file, std::ios::binary | std::ios::trunc) << bytes;
    ASSERT_EQ(readAll(file), bytes) << file;
}

/// Runs a program and waits for its end. Its exit status, or -1 when it did not run or exit.
inline int run(std::vector<std::string> command) {
    std::vector<char*> arguments;
    for (std::string& argument : command)
        arguments.push_back(argument.data());
    arguments.push_back(nullptr);
    pid_t child = 0;
    int status = 0;
    if (posix_spawn(&child, arguments[0], nullptr, nullptr, arguments.data(), environ) != 0
        || waitpid(child, &status, 0) != child || !WIFEXITED(status))
        return -1;
    return WEXITSTATUS(status);
}

/// Runs a shell command in a folder. The test fails when any part of the command does.
inline void runIn(const std::filesystem::path& folder, const std::string& command) {
    ASSERT_EQ(run({"/bin/sh", "-ec", "cd \"$0\"\n" + command, folder}), 0) << command;
}

/// Makes a small, complete and sealed copy of the application in `parent`. `information` replaces
/// entries of its information dictionary; null removes one.
inline std::filesystem::path makeSampleBundle(const std::filesystem::path& parent,
                                              const Json& information = Json::object(),
                                              const char* name = "Corvane Tallywick.app") {
    Json dictionary{{"CFBundleIdentifier", "com.corvane.tallywick"},
                    {"CFBundleExecutable", "CorvaneUtility"},
                    {"CFBundleShortVersionString", "0.6.0"},
                    {"CFBundleVersion", "1"},
                    {"LSMinimumSystemVersion", "13.0"}};
    dictionary.merge_patch(information);
    std::filesystem::path bundle = parent / name;
    std::filesystem::create_directories(bundle / "Contents/MacOS");
    std::filesystem::create_directories(bundle / "Contents/Resources");
    writeAll(bundle / "Contents/Info.plist", writePropertyList(dictionary));
    writeAll(bundle / "Contents/MacOS/CorvaneUtility", "#!/bin/sh\nexit 0\n");
    std::filesystem::permissions(bundle / "Contents/MacOS/CorvaneUtility",
                                 std::filesystem::perms{0755});
    writeAll(bundle / "Contents/Resources/corvane-logo.png", "a logo");
    writeAll(bundle / "Contents/Resources/CorvaneIcon.icns", "an icon");
    EXPECT_TRUE(sealBundle(bundle));
    return bundle;
}

} // namespace tallywick::testing
