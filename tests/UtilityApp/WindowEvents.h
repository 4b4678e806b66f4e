#pragma once

#include "RunningProgram.h"

#include <gtest/gtest.h>

#include <string>

namespace tallywick::testing {

/// What happens to a window on the display, from the end of the constructor on.
class WindowEvents {
  public:
    explicit WindowEvents(const std::string& window)
        : watcher("/usr/bin/xev", {"-id", window, "-event", "structure", "-event", "property"}) {
        // It watches as soon as it sees what is done here.
        EXPECT_TRUE(waitUntil([&] {
            outputOf("xprop -id " + window + " -f WATCHED 8s -set WATCHED yes");
            return watcher.output().find("WATCHED") != std::string::npos;
        }));
    }

    /// Waits until an event has been told in which that text occurs; returns all so far.
    std::string waitFor(const std::string& text) { return watcher.waitFor(text); }

    /// How often the text occurs in what has been told.
    int countOf(const std::string& text) const {
        int count = 0;
        const std::string told = watcher.output();
        for (std::size_t at = told.find(text); at != std::string::npos;
             at = told.find(text, at + 1))
            ++count;
        return count;
    }

  private:
    RunningProgram watcher;
};

} // namespace tallywick::testing
