#include "platform/StandardFolders.h"

#include <QByteArray>
#include <gtest/gtest.h>

namespace tallywick {
namespace {

void setOrUnset(const char* variable, const char* value) {
    if (value)
        qputenv(variable, value);
    else
        qunsetenv(variable);
}

TEST(StandardFolders, comeFromAbsoluteValuesOfTheEnvironment) {
    const struct {
        const char* dataHome;
        const char* home;
        const char* expectedSupport;
        const char* expectedHome;
    } rows[] = {
        {nullptr, "/home/a", "/home/a/.local/share", "/home/a"},
        {"share", "/home/a", "/home/a/.local/share", "/home/a"},
        {"/data", "/home/a", "/data", "/home/a"},
        {"/data/\xFF", "/home/\xE9", "/data/\xFF", "/home/\xE9"},
        {"/data", nullptr, "/data", "/"},
        {nullptr, nullptr, "/", "/"},
    };
    qputenv("TMPDIR", "/"); // a folder that certainly exists
    for (const auto& row : rows) {
        setOrUnset("XDG_DATA_HOME", row.dataHome);
        setOrUnset("HOME", row.home);
        EXPECT_EQ(applicationSupportFolder(), row.expectedSupport) << row.expectedSupport;
        EXPECT_EQ(homeFolder(), row.expectedHome);
    }
    qputenv("TMPDIR", "/no such folder");
    EXPECT_EQ(applicationSupportFolder(), "/tmp");
}

} // namespace
} // namespace tallywick
