#pragma once

#include "support/TemporaryFolder.h"

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace tallywick::testing {

/// A misbehaving helper that is ready to be started: see MisbehavingHelper.cpp for its steps.
class ScriptedHelper {
  public:
    explicit ScriptedHelper(const std::vector<std::string>& steps) {
        std::filesystem::create_symlink(MISBEHAVING_HELPER, path());
        std::ofstream script(path().string() + ".script");
        for (const std::string& step : steps)
            script << step << '\n';
    }

    /// The lines that the helper has read. Whole once it has ended.
    std::vector<std::string> received() const {
        std::vector<std::string> lines;
        std::ifstream file(path().string() + ".received");
        for (std::string line; std::getline(file, line);)
            lines.push_back(line);
        return lines;
    }

    std::filesystem::path path() const { return folder / "codex"; }

  private:
    TemporaryFolder folder;
};

} // namespace tallywick::testing
