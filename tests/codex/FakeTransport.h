#pragma once

#include "codex/AccountTransport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <deque>
#include <functional>
#include <future>
#include <map>
#include <mutex>
#include <sstream>
#include <utility>

namespace tallywick::testing {

/// What happened, step by step. Any thread may add to it.
class Transcript {
  public:
    /// Called after each new step, on the thread that added it.
    std::function<void(const std::string& step)> react = [](const std::string&) {};

    template <typename... Parts>
    void add(const Parts&... parts) {
        std::ostringstream step;
        (step << ... << parts);
        {
            const std::lock_guard guard(mutex);
            text += (text.empty() ? "" : ", ") + step.str();
        }
        react(step.str());
    }
    /// Everything since the last call, on one line.
    std::string take() {
        const std::lock_guard guard(mutex);
        return std::exchange(text, {});
    }

  private:
    std::mutex mutex;
    std::string text;
};

class FakeTransport;

/// Answers one request or throws. Runs in mid-request, so it may also change the transport.
using Answer = std::function<Json(FakeTransport&)>;

inline Answer gives(const Json& result) {
    return [result](FakeTransport&) { return result; };
}
template <typename Failure>
Answer fails(Failure failure) {
    return [failure](FakeTransport&) -> Json { throw failure; };
}

/// The behaviour of one helper. A method's answers are given in order, the last one again and
/// again. "launch" and "initialize" succeed unless they have an answer, which can only throw.
struct FakeHelper {
    /// Unknown until the helper has reported it, as a real one does when the service has answered
    /// its check of the account, for which "account/read" waits. Without one it makes no report, as
    /// an older helper and one that is signed out.
    std::optional<std::string> mode;
    std::map<std::string, std::deque<Answer>> answers;

    FakeHelper with(const std::string& method, std::deque<Answer> queued) const {
        FakeHelper changed = *this;
        changed.answers[method] = std::move(queued);
        return changed;
    }
};

/// A helper without a process: plays a `FakeHelper` and writes down what it is asked.
class FakeTransport : public AccountTransport {
  public:
    FakeTransport(std::string helperName, FakeHelper helper, Transcript& record,
                  BridgeEventHandler handler)
        : emit(std::move(handler)), name(std::move(helperName)), script(std::move(helper)),
          transcript(record) {
        transcript.add("launch ", name);
        answer("launch");
    }

    /// Delivers an event to the service as a real helper's queue would.
    const BridgeEventHandler emit;

    void changeAccount() {
        countReport();
        emit(AccountChanged{script.mode});
    }
    /// As much of a report as is known before its event comes.
    void countReport() { ++changes; }
    bool isClosed() const { return closed; }
    void waitUntilClosed() const { closed.wait(false); }

    std::optional<std::string> mode() const override {
        return changes > 0 ? script.mode : std::nullopt;
    }
    std::int64_t revision() const override { return changes; }
    std::string version() const override { return "0.169.0"; }
    void initialize() override { answer("initialize"); }
    Json request(const std::string& method, const Json& params, Seconds timeout) override {
        EXPECT_EQ(timeout, defaultTimeout);
        const bool refreshes = boolMember(params, "refreshToken").value_or(false);
        transcript.add(method.substr(method.find('/') + 1), refreshes ? " refreshing" : "");
        if (script.mode && changes == 0 && method == "account/read")
            changeAccount();
        return answer(method);
    }
    void close() override {
        if (closed.exchange(true))
            return;
        transcript.add("close ", name);
        closed.notify_all();
    }

  private:
    Json answer(const std::string& method) {
        std::deque<Answer>& queued = script.answers[method];
        if (queued.empty())
            return {};
        const Answer next = queued.front();
        if (queued.size() > 1)
            queued.pop_front();
        return next(*this);
    }

    const std::string name;
    FakeHelper script;
    Transcript& transcript;
    std::atomic<std::int64_t> changes = 0;
    std::atomic<bool> closed = false;
};

} // namespace tallywick::testing
