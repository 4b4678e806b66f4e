#pragma once

#include <gtest/gtest.h>

#include <spawn.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace tallywick::testing {

/// An empty folder that is removed with everything in it at the end of the test.
class TemporaryFolder {
  public:
    TemporaryFolder() {
        std::string name = (std::filesystem::canonical(std::filesystem::temp_directory_path())
                            / "tallywick-XXXXXX")
                               .string();
        if (!mkdtemp(name.data()))
            throw std::filesystem::filesystem_error(
                "mkdtemp", name, std::error_code(errno, std::generic_category()));
        folder = name;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
        EXPECT_FALSE(std::filesystem::exists(folder)) << folder;
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return folder; }
    std::filesystem::path operator/(const std::string& name) const { return folder / name; }

  private:
    std::filesystem::path folder;
};

inline std::string readAll(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

inline void writeAll(const std::filesystem::path& file, const std::string& bytes) {
    std::ofstream(file, std::ios::binary | std::ios::trunc) << bytes;
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

} // namespace tallywick::testing
