#pragma once

#include "base/Mutex.h"
#include "platform/process/ChildProcess.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace tallywick::testing {

/// When a test gives up what must come: late at first, since several share a slow machine, and soon
/// once it has failed, so that it ends within its time and tells why.
inline std::chrono::steady_clock::time_point endOfPatience() {
    const std::chrono::seconds patience(::testing::Test::HasFailure() ? 1 : 60);
    return std::chrono::steady_clock::now() + patience;
}

/// Looks again and again until the condition holds; whether it did in the end.
inline bool waitUntil(const std::function<bool()>& condition) {
    const auto deadline = endOfPatience();
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
}

/// The output of a shell command, errors included, without the line feed at its end.
inline std::string outputOf(const std::string& command) {
    std::FILE* const stream = ::popen(("( " + command + " ) 2>&1").c_str(), "r");
    std::string text;
    for (int byte = 0; (byte = std::getc(stream)) != EOF;)
        text += static_cast<char>(byte);
    ::pclose(stream);
    if (text.ends_with('\n'))
        text.pop_back();
    return text;
}

/// What another thread tells, piece by piece.
class Transcript {
  public:
    void add(std::string_view text) {
        const MutexLock lock(mutex);
        received += text;
        changed.notifyAll();
    }
    /// Nothing more comes.
    void close() {
        const MutexLock lock(mutex);
        isClosed = true;
        changed.notifyAll();
    }

    /// All that has come by now.
    std::string output() const {
        const MutexLock lock(mutex);
        return received;
    }
    /// All that has come when it contains `text`; else the test fails.
    std::string waitFor(const std::string& text) const {
        const auto deadline = endOfPatience();
        const MutexLock lock(mutex);
        while (received.find(text) == std::string::npos && !isClosed
               && changed.waitUntil(mutex, deadline)) {
        }
        EXPECT_NE(received.find(text), std::string::npos) << text << " is missing in " << received;
        return received;
    }
    /// All that has come when it is closed; else the test fails.
    std::string waitForEnd(std::chrono::seconds limit) const {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        const MutexLock lock(mutex);
        while (!isClosed && changed.waitUntil(mutex, deadline)) {
        }
        EXPECT_TRUE(isClosed) << "no end after " << received;
        return received;
    }

  private:
    mutable Mutex mutex;
    mutable Condition changed;
    std::string received GUARDED_BY(mutex);
    bool isClosed GUARDED_BY(mutex) = false;
};

/// A program that runs beside the test, with its environment, and ends with this object. The
/// transcript is its output.
class RunningProgram : public Transcript {
  public:
    RunningProgram(const std::string& executable, const std::vector<std::string>& arguments)
        : process(ChildProcess::launch(
            {executable, arguments, "/", killGrace},
            {[this](std::string_view piece) { add(piece); }, {}, [this] { close(); }})) {}
    ~RunningProgram() { end(); }
    RunningProgram(const RunningProgram&) = delete;
    RunningProgram& operator=(const RunningProgram&) = delete;

    /// Asks it to end, if it still runs, and waits for that. Returns all that it has written.
    std::string end() {
        process->terminate();
        return waitForEnd(2 * killGrace);
    }

  private:
    /// For ending by itself: one with the sanitizers still looks for leaks.
    static constexpr std::chrono::seconds killGrace{15};

    std::unique_ptr<ChildProcess> process;
};

} // namespace tallywick::testing
