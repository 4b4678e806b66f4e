#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

namespace tallywick::testing {

/// An empty folder that is removed with everything in it at the end of the test; also when the
/// process ends before that, as that of a test which runs apart does.
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
    struct AtExit {
        ~AtExit() {
            std::error_code ignored;
            for (const auto& left : folders)
                std::filesystem::remove_all(left, ignored);
        }
        std::set<std::filesystem::path> folders;
    };
    static inline AtExit atExit;

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
