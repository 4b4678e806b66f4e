#include "codex/PackageFolders.h"

#include <algorithm>
#include <string_view>
#include <system_error>

namespace tallywick {

namespace fs = std::filesystem;

namespace {

using Paths = std::vector<fs::path>;

constexpr std::size_t maximumFolders = 48; // a version for each month of four years
constexpr std::size_t maximumEntries = 10'000;
constexpr int maximumLinks = 8; // from a command into a package; 1 or 2

bool startsWithDigit(std::string_view text) {
    return !text.empty() && text.front() >= '0' && text.front() <= '9';
}

/// Takes the digits at the beginning, without leading zeros.
std::string_view takeNumber(std::string_view& text) {
    std::string_view number = text.substr(0, text.find_first_not_of("0123456789"));
    text.remove_prefix(number.size());
    number.remove_prefix(std::min(number.find_first_not_of('0'), number.size()));
    return number;
}

bool isOlder(std::string_view a, std::string_view b) {
    while (!a.empty() && !b.empty()) {
        if (startsWithDigit(a) && startsWithDigit(b)) {
            const std::string_view first = takeNumber(a);
            const std::string_view second = takeNumber(b);
            if (first != second)
                return first.size() != second.size() ? first.size() < second.size()
                                                     : first < second;
        } else if (a.front() != b.front()) {
            return a.front() < b.front();
        } else {
            a.remove_prefix(1);
            b.remove_prefix(1);
        }
    }
    return a.empty() && !b.empty();
}

/// Whether the entry is a link to another one of its folder, such as "latest" or "20".
bool isAlias(const fs::directory_entry& entry) {
    std::error_code error;
    if (!entry.is_symlink(error))
        return false;
    const fs::path target = entry.path().parent_path() / fs::read_symlink(entry.path(), error);
    return target.lexically_normal().parent_path() == entry.path().parent_path();
}

/// The names of the versions that lie there, the newest first.
std::vector<std::string> versionsIn(const fs::path& folder) {
    std::vector<std::string> versions;
    std::error_code error;
    fs::directory_iterator entry(folder, error);
    for (std::size_t seen = 0; !error && entry != fs::directory_iterator() && seen < maximumEntries;
         ++seen) {
        if (!isAlias(*entry))
            versions.push_back(entry->path().filename());
        entry.increment(error);
    }
    std::sort(versions.begin(), versions.end(),
              [](const std::string& a, const std::string& b) { return isOlder(b, a); });
    return versions;
}

void addFolders(const fs::path& base, fs::path::const_iterator part, fs::path::const_iterator end,
                Paths& found) {
    fs::path folder = base;
    for (; part != end && *part != "*"; ++part)
        folder /= *part;
    if (part == end) {
        found.push_back(folder);
        return;
    }
    ++part;
    for (const std::string& version : versionsIn(folder)) {
        if (found.size() == maximumFolders)
            return;
        addFolders(folder / version, part, end, found);
    }
}

} // namespace

Paths packageFolders(const PackageFolders& places) {
    Paths found;
    addFolders(places.base.lexically_normal(), places.pattern.begin(), places.pattern.end(), found);
    return found;
}

Paths linkChain(const fs::path& path) {
    Paths chain;
    std::error_code error;
    fs::path next = fs::absolute(path.has_filename() ? path : path.parent_path(), error);
    if (error || !fs::exists(fs::symlink_status(next, error)))
        return chain;
    for (int links = 0; links <= maximumLinks && !error; ++links) {
        chain.push_back(next);
        const fs::path folder = fs::canonical(next.parent_path(), error);
        if (!error && folder != next.parent_path())
            chain.push_back(folder / next.filename());
        if (!error)
            next = (folder / fs::read_symlink(next, error)).lexically_normal();
    }
    return chain;
}

fs::path folderOfPackages(const fs::path& path, const std::string& package) {
    const std::string packages = "/node_modules";
    const std::string name = packages + "/" + package;
    const std::size_t found = path.native().find(name);
    if (found == std::string::npos)
        return {};
    const std::string rest = path.native().substr(found + name.size());
    if (!rest.empty() && rest.front() != '/' && rest.front() != '-')
        return {};
    return path.native().substr(0, found + packages.size());
}

} // namespace tallywick
