#pragma once

#include "base/PropertyList.h"
#include "platform/bundle/linux/CodeSignature.h"
#include "support/TemporaryFolder.h"

namespace tallywick::testing {

/// Makes a small, complete and sealed copy of the application in `parent`. `information` replaces
/// entries of its information dictionary; null removes one.
inline std::filesystem::path makeSampleBundle(const std::filesystem::path& parent,
                                              const Json& information = Json::object(),
                                              const char* name = "Corvane Tallywick.app") {
    Json dictionary{{"CFBundleIdentifier", "com.corvane.tallywick"},
                    {"CFBundleExecutable", "CorvaneUtility"},
                    {"CFBundleShortVersionString", "0.6.0"},
                    {"CFBundleVersion", "1"},
                    {"LSMinimumSystemVersion", "6.1"}};
    dictionary.merge_patch(information);
    std::filesystem::path bundle = parent / name;
    std::filesystem::create_directories(bundle / "Contents/MacOS");
    std::filesystem::create_directories(bundle / "Contents/Resources");
    writeAll(bundle / "Contents/Info.plist", writePropertyList(dictionary));
    writeAll(bundle / "Contents/MacOS/CorvaneUtility", "#!/bin/sh\nexit 0\n");
    std::filesystem::permissions(bundle / "Contents/MacOS/CorvaneUtility",
                                 std::filesystem::perms{0755});
    writeAll(bundle / "Contents/Resources/corvane-logo.png", "a logo");
    writeAll(bundle / "Contents/Resources/CorvaneIcon.icns", "an icon");
    EXPECT_TRUE(sealBundle(bundle));
    return bundle;
}

} // namespace tallywick::testing
