#pragma once

#include "base/Mutex.h"
#include "platform/process/ChildProcess.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tallywick::testing {

/// How long a test on a desktop waits for what must come: long at first, since several share a slow
/// machine, and hardly at all once it has failed, so that it ends within its time and tells why.
std::chrono::seconds patience();

/// Looks again and again until the condition holds; whether it did in the end.
bool waitUntil(const std::function<bool()>& condition);

/// The output of a shell command, errors included, without the line feed at its end.
std::string outputOf(const std::string& command);

/// A program that runs beside the test and ends with this object. Its output is read as it comes.
class RunningProgram {
  public:
    /// Starts it, with the environment of the test.
    RunningProgram(const std::string& executable, const std::vector<std::string>& arguments);

    /// Ends it, if it still runs.
    ~RunningProgram();
    RunningProgram(const RunningProgram&) = delete;
    RunningProgram& operator=(const RunningProgram&) = delete;

    /// Waits until the output contains `text`, else the test fails. Returns all that has come.
    std::string waitFor(const std::string& text);

    std::string output() const;

    /// Asks it to end and waits for that. Returns all that it has written.
    std::string end();

  private:
    void add(std::string_view text);

    mutable Mutex mutex;
    Condition changed;
    std::string received GUARDED_BY(mutex);
    bool hasEnded GUARDED_BY(mutex) = false;
    std::unique_ptr<ChildProcess> process;
};

} // namespace tallywick::testing
