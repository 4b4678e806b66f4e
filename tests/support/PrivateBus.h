#pragma once

#include "platform/process/ChildProcess.h"
#include "support/TemporaryFolder.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDeadlineTimer>
#include <QTimer>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <future>
#include <string>

namespace tallywick::testing {

/// Runs the event loop until the condition holds; whether it did in the end.
inline bool eventually(const std::function<bool()>& condition) {
    const QDeadlineTimer deadline(std::chrono::seconds(30));
    QTimer look; // some event loops wait on when the event that was waited for has been handled
    look.start(std::chrono::milliseconds(10));
    while (!condition() && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    return condition();
}

/// A message bus for one test, which ends with it.
class PrivateBus {
  public:
    PrivateBus() {
        ChildCommand command;
        command.executable = "/usr/bin/dbus-daemon";
        command.arguments = {"--session", "--nofork", "--print-address", "--address=" + address()};
        command.currentFolder = "/";
        ChildProcess::Handlers handlers;
        handlers.output = [this](std::string_view piece) {
            if (piece.find('\n') != std::string_view::npos)
                running.set_value();
        };
        handlers.terminated = [this] { ended.set_value(); };
        process = ChildProcess::launch(command, std::move(handlers));
        EXPECT_EQ(running.get_future().wait_for(patience), std::future_status::ready);
    }
    ~PrivateBus() {
        process->terminate();
        EXPECT_EQ(ended.get_future().wait_for(patience), std::future_status::ready);
    }
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    /// A connection of its own, which the bus tells from all others.
    QDBusConnection connection(const std::string& name) const {
        return QDBusConnection::connectToBus(QString::fromStdString(address()),
                                             QString::fromStdString(name));
    }

  private:
    static constexpr std::chrono::seconds patience{30};

    std::string address() const { return "unix:path=" + (folder / "bus").string(); }

    TemporaryFolder folder;
    std::promise<void> running;
    std::promise<void> ended;
    std::unique_ptr<ChildProcess> process;
};

/// Runs the body of a test, to its first failure, in a process of its own: Qt's thread for a bus
/// stays until the process ends.
inline void runApart(const std::function<void()>& body) {
    GTEST_FLAG_SET(death_test_style, "threadsafe"); // started anew, without a thread of this one
    const auto runAndExit = [&] {
        GTEST_FLAG_SET(throw_on_failure, true); // what is thrown is shown
        {
            int count = 0;
            const QCoreApplication application(count, nullptr);
            body();
        }
        std::exit(EXIT_SUCCESS);
    };
    EXPECT_EXIT(runAndExit(), ::testing::ExitedWithCode(EXIT_SUCCESS), "");
}

} // namespace tallywick::testing
