#pragma once

#include "base/PropertyList.h"
#include "platform/bundle/linux/CodeSignature.h"
#include "support/TemporaryFolder.h"

namespace tallywick::testing {

/// Makes a small, complete and sealed copy of the application in `parent`. `information` replaces
/// entries of its information dictionary; null removes one.
inline std::filesystem::path makeSampleBundle(const std::filesystem::path& parent,
                                              const Json& information = Json::object(),
                                              const std::string& name = "Corvane Tallywick.app") {
    Json dictionary{{"CFBundleIdentifier", "com.corvane.tallywick"},
                    {"CFBundleExecutable", "CorvaneUtility"},
                    {"CFBundleShortVersionString", "0.6.0"},
                    {"CFBundleVersion", "1"},
                    {"LSMinimumSystemVersion", "6.1"}};
    dictionary.merge_patch(information);
    std::filesystem::path bundle = parent / name;
    runIn(parent, "mkdir -p '" + name + "/Contents/MacOS' '" + name + "/Contents/Resources'");
    writeAll(bundle / "Contents/Info.plist", writePropertyList(dictionary));
    runIn(bundle / "Contents", "echo '#!/bin/sh' >MacOS/CorvaneUtility; chmod 755 MacOS/*\n"
                               "printf 'a logo' >Resources/corvane-logo.png\n"
                               "printf 'an icon' >Resources/CorvaneIcon.icns");
    EXPECT_TRUE(sealBundle(bundle));
    return bundle;
}

} // namespace tallywick::testing
