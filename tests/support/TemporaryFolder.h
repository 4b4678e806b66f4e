#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <stdexcept>
#include <string>

namespace tallywick::testing {

/// An empty folder that is removed with everything in it at the end of the test; also when the
/// process ends before that, as that of a test which runs apart does.
class TemporaryFolder {
  public:
    TemporaryFolder() {
        const auto all = std::filesystem::canonical(std::filesystem::temp_directory_path());
        std::string name = all / "tallywick-XXXXXX";
        if (!mkdtemp(name.data()))
            throw std::runtime_error("mkdtemp " + name);
        folder = name;
        atExit.folders.insert(folder);
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
        EXPECT_FALSE(std::filesystem::exists(folder)) << folder;
        atExit.folders.erase(folder);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return folder; }
    std::filesystem::path operator/(const std::string& name) const { return folder / name; }

  private:
    static inline struct AtExit {
        std::set<std::filesystem::path> folders;
        ~AtExit() {
            std::error_code ignored;
            for (const auto& left : folders)
                std::filesystem::remove_all(left, ignored);
        }
    } atExit;

    std::filesystem::path folder;
};

inline std::string readAll(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

inline void writeAll(const std::filesystem::path& file, const std::string& bytes) {
    std::ofstream(file, std::ios::binary | std::ios::trunc) << bytes;
}

/// Runs a shell command in a folder. The test fails when any part of the command does.
inline void runIn(const std::filesystem::path& folder, const std::string& command) {
    ASSERT_EQ(std::system(("set -e; cd '" + folder.string() + "'\n" + command).c_str()), 0)
        << command;
}

} // namespace tallywick::testing
