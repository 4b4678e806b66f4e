#include "support/RunningProgram.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <thread>

namespace tallywick::testing {

namespace {

/// What a program gets for ending by itself: one with the sanitizers still looks for leaks.
constexpr std::chrono::seconds killGrace{15};

} // namespace

std::chrono::seconds patience() {
    return std::chrono::seconds(::testing::Test::HasFailure() ? 1 : 60);
}

bool waitUntil(const std::function<bool()>& condition) {
    constexpr std::chrono::milliseconds pause{20};
    const auto deadline = std::chrono::steady_clock::now() + patience();
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(pause);
    }
    return true;
}

std::string outputOf(const std::string& command) {
    std::FILE* const stream = ::popen(("( " + command + " ) 2>&1").c_str(), "r");
    std::string text;
    std::array<char, 4096> bytes{};
    for (std::size_t count = 0; (count = std::fread(bytes.data(), 1, bytes.size(), stream)) > 0;)
        text.append(bytes.data(), count);
    ::pclose(stream);
    if (text.ends_with('\n'))
        text.pop_back();
    return text;
}

void Transcript::add(std::string_view text) {
    const MutexLock lock(mutex);
    received += text;
    changed.notifyAll();
}

void Transcript::close() {
    const MutexLock lock(mutex);
    isClosed = true;
    changed.notifyAll();
}

std::string Transcript::waitFor(const std::string& text) const {
    const auto deadline = std::chrono::steady_clock::now() + patience();
    const MutexLock lock(mutex);
    while (received.find(text) == std::string::npos && !isClosed
           && changed.waitUntil(mutex, deadline)) {
    }
    EXPECT_NE(received.find(text), std::string::npos) << text << " is missing in " << received;
    return received;
}

std::string Transcript::waitForEnd(std::chrono::seconds limit) const {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    const MutexLock lock(mutex);
    while (!isClosed && changed.waitUntil(mutex, deadline)) {
    }
    EXPECT_TRUE(isClosed) << "no end after " << received;
    return received;
}

std::string Transcript::text() const {
    const MutexLock lock(mutex);
    return received;
}

RunningProgram::RunningProgram(const std::string& executable,
                               const std::vector<std::string>& arguments)
    : process(ChildProcess::launch({executable, arguments, "/", killGrace},
                                   {[this](std::string_view piece) { transcript.add(piece); },
                                    {},
                                    [this] { transcript.close(); }})) {}

RunningProgram::~RunningProgram() { end(); }

std::string RunningProgram::end() {
    process->terminate();
    return transcript.waitForEnd(2 * killGrace);
}

} // namespace tallywick::testing
