#include "platform/bundle/linux/ApplicationBundle.h"

#include "base/CanonicalPath.h"
#include "base/PropertyList.h"
#include "base/WholeNumber.h"
#include "platform/bundle/ApplicationBundle.h"
#include "platform/files/FileAccess.h"
#include "platform/linux/Descriptors.h"

#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

extern "C" { // the header of glibc 2.36 does not say so itself
#include <sys/pidfd.h>
}

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <fstream>
#include <map>
#include <optional>
#include <system_error>

namespace tallywick {

namespace fs = std::filesystem;

std::optional<fs::path> enclosingBundle(const fs::path& executable) {
    const fs::path folder = executable.parent_path();
    const fs::path contents = folder.parent_path();
    const fs::path bundle = contents.parent_path();
    if (folder.filename() != "MacOS" || contents.filename() != "Contents"
        || bundle.extension() != ".app")
        return std::nullopt;
    return bundle;
}

fs::path runningBundle() {
    std::error_code error;
    const fs::path executable = fs::read_symlink("/proc/self/exe", error);
    return enclosingBundle(executable).value_or(executable.parent_path());
}

std::optional<Json> informationDictionary(const fs::path& bundle) {
    std::error_code error;
    const fs::path file = fs::canonical(bundle / "Contents/Info.plist", error);
    if (error)
        return std::nullopt;
    const auto text = readRegularFile(file, maximumPropertyListBytes);
    auto dictionary = text ? parsePropertyList(*text) : std::nullopt;
    if (!dictionary || dictionary->empty())
        return std::nullopt;
    return dictionary;
}

bool isManagedBundle(const fs::path& folder) {
    const fs::path bundle = standardisedPath(folder);
    struct stat owned {};
    struct stat mark {};
    return ::lstat(bundle.c_str(), &owned) == 0
           && ::lstat((bundle.native() + managedMark).c_str(), &mark) == 0 && S_ISREG(mark.st_mode)
           && (mark.st_uid == 0 || mark.st_uid == owned.st_uid);
}

namespace {

/// Looked at in one call; machines run some hundreds, and the kernel's own limit is 4 million.
constexpr std::size_t maximumProcesses = 65'536;

/// The process that the name of an entry stands for, when it does.
std::optional<int> processId(const std::string& name) {
    const auto id = wholeNumber<int>(name);
    return id > 0 ? id : std::nullopt;
}

bool isOwn(const fs::path& process) {
    struct stat status {};
    return ::stat(process.c_str(), &status) == 0 && status.st_uid == ::geteuid();
}

/// The bundle that the process runs from. Threads of the kernel and processes that have ended have
/// no executable.
std::optional<fs::path> bundleOf(const fs::path& process) {
    std::error_code error;
    const fs::path executable = fs::read_symlink(process / "exe", error);
    return error ? std::nullopt : enclosingBundle(executable);
}

/// What it was started with. Whoever starts a program with more than we look at is no concern of
/// ours: the rest is left out.
std::vector<std::string> argumentsOf(const fs::path& process) {
    constexpr std::size_t maximumBytes = 65'536;
    std::string text(maximumBytes, '\0');
    std::ifstream stream(process / "cmdline", std::ios::binary);
    stream.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(stream.gcount()));
    std::vector<std::string> arguments;
    for (std::size_t start = 0, end = 0; (end = text.find('\0', start)) != std::string::npos;
         start = end + 1)
        arguments.push_back(text.substr(start, end - start));
    if (!arguments.empty())
        arguments.erase(arguments.begin());
    return arguments;
}

/// Whether the bundle's identifier is one of these.
bool isOneOf(const std::vector<std::string>& bundleIdentifiers, const fs::path& bundle) {
    const auto information = informationDictionary(bundle);
    const std::string* identifier =
        information ? stringMember(*information, "CFBundleIdentifier") : nullptr;
    return identifier
           && std::find(bundleIdentifiers.begin(), bundleIdentifiers.end(), *identifier)
                  != bundleIdentifiers.end();
}

} // namespace

std::vector<RunningApplication>
runningApplicationsIn(const fs::path& processes,
                      const std::vector<std::string>& bundleIdentifiers) {
    std::vector<RunningApplication> applications;
    std::map<fs::path, bool> wanted; // an application may have many processes
    std::error_code error;
    fs::directory_iterator entry(processes, error);
    for (std::size_t seen = 0;
         !error && entry != fs::directory_iterator() && seen < maximumProcesses; ++seen) {
        const fs::path process = entry->path();
        entry.increment(error);
        const auto id = processId(process.filename());
        const auto bundle = id && isOwn(process) ? bundleOf(process) : std::nullopt;
        if (!bundle)
            continue;
        const auto [known, isNew] = wanted.try_emplace(*bundle, false);
        if (isNew)
            known->second = isOneOf(bundleIdentifiers, *bundle);
        if (known->second)
            applications.push_back({*id, *bundle, argumentsOf(process)});
    }
    std::sort(applications.begin(), applications.end(),
              [](const auto& a, const auto& b) { return a.processId < b.processId; });
    return applications;
}

std::vector<RunningApplication>
runningApplications(const std::vector<std::string>& bundleIdentifiers) {
    return runningApplicationsIn("/proc", bundleIdentifiers);
}

bool isRunning(const RunningApplication& application) {
    return bundleOf(fs::path("/proc") / std::to_string(application.processId))
           == application.bundle;
}

bool askToQuit(const RunningApplication& application) {
    // The signal goes to the process that had the id before the look, whoever has it by then.
    const UniqueFd process(::pidfd_open(application.processId, 0));
    if (!process)
        return errno == ESRCH;
    if (!isRunning(application))
        return true;
    return ::pidfd_send_signal(process.get(), SIGTERM, nullptr, 0) == 0 || errno == ESRCH;
}

} // namespace tallywick
