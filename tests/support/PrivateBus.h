#pragma once

#include "support/RunningProgram.h"
#include "support/TemporaryFolder.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDeadlineTimer>
#include <QTimer>

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

/// A message bus for one test, which ends with it. It starts no service of the machine.
class PrivateBus {
  public:
    PrivateBus() { daemon.waitFor("\n"); } // its address

    std::string address() const { return "unix:path=" + (folder / "bus").string(); }

    /// A connection of its own, which the bus tells from all others.
    QDBusConnection connection(const std::string& name) const {
        return QDBusConnection::connectToBus(QString::fromStdString(address()),
                                             QString::fromStdString(name));
    }

  private:
    std::string configuration() const {
        const std::filesystem::path file = folder / "bus.conf";
        writeAll(file, "<busconfig><type>session</type><listen>" + address() + R"(</listen>
<policy context="default"><allow send_destination="*"/><allow receive_sender="*"/><allow own="*"/>
</policy></busconfig>)");
        return file;
    }

    TemporaryFolder folder;
    RunningProgram daemon{"/usr/bin/dbus-daemon",
                          {"--nofork", "--print-address", "--config-file=" + configuration()}};
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
