#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

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

} // namespace tallywick::testing
