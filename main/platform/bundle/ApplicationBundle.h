#pragma once

#include "base/Json.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tallywick {

/// The bundle whose executable this is: the folder X.app of "X.app/Contents/MacOS/name". Looks at
/// the text of the path alone; absent when it has another shape.
std::optional<std::filesystem::path> enclosingBundle(const std::filesystem::path& executable);

/// The bundle that this program runs from, without links; of a program outside any bundle, the
/// folder of its executable. It follows the bundle when that is moved while the program runs.
std::filesystem::path runningBundle();

/// The information dictionary of a bundle, its "Contents/Info.plist" as `parsePropertyList` reads
/// it: "CFBundleShortVersionString" and "CFBundleVersion" are its `stringMember`s, "CorvanePreview"
/// its `boolMember`. Links are followed. Absent when the file is missing, is no property list, or
/// holds an empty dictionary.
std::optional<Json> informationDictionary(const std::filesystem::path& bundle);

/// What the name of a file beside a bundle has behind the bundle's own.
inline constexpr const char* managedMark = ".managed";

/// Whether the system's package manager looks after the bundle. It says so by a regular file beside
/// it, "X.app.managed", whose content means nothing. One that is a link, or that belongs neither to
/// root nor to the owner of the bundle, says nothing.
bool isManagedBundle(const std::filesystem::path& bundle);

/// A process of this user whose executable is that of an application bundle.
struct RunningApplication {
    int processId = 0;
    std::filesystem::path bundle;
    std::vector<std::string> arguments = {}; ///< without the program's own name

    bool operator==(const RunningApplication&) const = default;
};

/// The applications with one of these bundle identifiers that run now, this program included, by
/// ascending process id. A bundle that was moved meanwhile is given where it lies now. What ends
/// or cannot be examined while the list is made is left out. Reads an information dictionary for
/// every bundle that has a process; any thread.
std::vector<RunningApplication>
runningApplications(const std::vector<std::string>& bundleIdentifiers);

/// Asks an application to quit, as its user would. False when that cannot be asked of it. One that
/// has ended meanwhile, or whose process id is somebody else's by now, needs not be asked: true.
[[nodiscard]] bool askToQuit(const RunningApplication& application);

/// Whether that process still runs that application.
bool isRunning(const RunningApplication& application);

} // namespace tallywick
