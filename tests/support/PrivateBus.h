#pragma once

#include "platform/ChildProcess.h"
#include "support/TemporaryFolder.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QTimer>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <future>
#include <iostream>
#include <string>

namespace tallywick::testing {

/// Runs the event loop until the condition holds; whether it did in the end.
inline bool eventually(const std::function<bool()>& condition) {
    QTimer deadline;
    deadline.setSingleShot(true);
    deadline.start(std::chrono::seconds(30));
    while (!condition() && deadline.isActive())
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

/// For EXPECT_EXIT, with a successful exit: runs a test that uses a bus in a process of its own,
/// since Qt's thread for the bus stays until the process ends.
[[noreturn]] inline void runAndExit(const std::function<void()>& test) {
    {
        int count = 0;
        const QCoreApplication application(count, nullptr);
        test();
    }
    const ::testing::TestResult& result =
        *::testing::UnitTest::GetInstance()->current_test_info()->result();
    for (int i = 0; i < result.total_part_count(); ++i) {
        const ::testing::TestPartResult& part = result.GetTestPartResult(i);
        if (part.failed())
            std::cerr << part.file_name() << ':' << part.line_number() << ": " << part.message()
                      << '\n';
    }
    std::exit(::testing::Test::HasFailure() ? EXIT_FAILURE : EXIT_SUCCESS);
}

} // namespace tallywick::testing
