#pragma once

#include "base/Mutex.h"
#include "platform/process/ChildProcess.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tallywick::testing {

/// How long a test waits for what must come: long at first, since several share a slow machine, and
/// hardly at all once it has failed, so that it ends within its time and tells why.
std::chrono::seconds patience();

/// Looks again and again until the condition holds; whether it did in the end.
bool waitUntil(const std::function<bool()>& condition);

/// The output of a shell command, errors included, without the line feed at its end.
std::string outputOf(const std::string& command);

/// What another thread tells, piece by piece.
class Transcript {
  public:
    void add(std::string_view text);
    /// Nothing more comes.
    void close();

    /// All that has come when it contains `text`; else the test fails.
    std::string waitFor(const std::string& text) const;
    /// All that has come when it is closed; else the test fails.
    std::string waitForEnd(std::chrono::seconds limit) const;
    std::string text() const;

  private:
    mutable Mutex mutex;
    mutable Condition changed;
    std::string received GUARDED_BY(mutex);
    bool isClosed GUARDED_BY(mutex) = false;
};

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
    std::string waitFor(const std::string& text) const { return transcript.waitFor(text); }
    std::string output() const { return transcript.text(); }

    /// Asks it to end and waits for that. Returns all that it has written.
    std::string end();

  private:
    Transcript transcript;
    std::unique_ptr<ChildProcess> process;
};

} // namespace tallywick::testing
