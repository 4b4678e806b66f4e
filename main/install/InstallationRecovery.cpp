#include "install/InstallationRecovery.h"

#include "base/CanonicalPath.h"
#include "platform/files/FileAccess.h"

#include <QUuid>

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace tallywick::InstallationRecovery {

namespace fs = std::filesystem;

namespace {

/// Looked at in one folder; a full one holds some hundred.
constexpr int maximumEntries = 100'000;

bool isHiddenName(std::string_view name, std::string_view prefix) {
    constexpr std::string_view extension = ".app";
    if (!name.starts_with(prefix) || !name.ends_with(extension))
        return false;
    name.remove_prefix(prefix.size());
    name.remove_suffix(std::min(name.size(), extension.size()));
    const QUuid uuid = QUuid::fromString(QString::fromStdString(std::string(name)));
    return name == uuid.toString(QUuid::WithoutBraces).toUpper().toStdString();
}

/// A copy that was not finished holds a part of what a bundle holds, and nothing else.
bool isUnfinishedCopy(const fs::path& folder) {
    std::error_code error;
    const fs::directory_iterator entries(folder, error);
    return !error && std::all_of(fs::begin(entries), fs::end(entries), [](const auto& entry) {
        std::error_code ignored;
        return entry.path().filename() == "Contents" && !entry.is_symlink(ignored);
    });
}

struct Leftovers {
    std::vector<fs::path> copies;
    std::vector<fs::path> backups; ///< the latest first
};

Leftovers leftoversIn(const fs::path& folder) {
    Leftovers found;
    std::vector<std::pair<std::int64_t, fs::path>> backups; // by the time of their move
    std::error_code error;
    fs::directory_iterator entry(folder, error);
    for (int seen = 0; !error && entry != fs::directory_iterator() && seen < maximumEntries;
         entry.increment(error), ++seen) {
        const fs::path item = entry->path();
        const std::string name = item.filename();
        const bool isCopy = isHiddenName(name, AppInstallation::stagingPrefix);
        if (!isCopy && !isHiddenName(name, AppInstallation::backupPrefix))
            continue;
        const auto change = changeOfOwnFolder(item);
        const bool isOurs = change && AppInstallation::hasBundleIdentity(item);
        if (isCopy && change && (isOurs || isUnfinishedCopy(item)))
            found.copies.push_back(item);
        else if (!isCopy && isOurs)
            backups.emplace_back(*change, item);
    }
    std::sort(backups.rbegin(), backups.rend());
    for (const auto& [change, place] : backups)
        found.backups.push_back(place);
    return found;
}

/// Sentences, one behind the other, each of them once.
class Notice {
  public:
    void add(const std::string& sentence) {
        if (text.find(sentence) == std::string::npos)
            text += (text.empty() ? "" : " ") + sentence;
    }
    const std::string& sentences() const { return text; }

  private:
    std::string text;
};

void putBack(const std::vector<fs::path>& backups, const fs::path& destination,
             const AppInstallation::Verify& verify, FileManager& files, Notice& notice) {
    const auto backup = std::find_if(backups.begin(), backups.end(), verify);
    if (backup == backups.end()) {
        for (const fs::path& damaged : backups)
            notice.add("An earlier copy that is incomplete lies at " + damaged.string() + ".");
        return;
    }
    const auto moved = files.move(*backup, destination);
    notice.add(moved ? "An installation was interrupted. The previous copy is back at "
                           + destination.string() + "."
                     : "An installation was interrupted. The previous copy is preserved at "
                           + backup->string() + ". " + moved.error());
}

void discard(const std::vector<fs::path>& items, Trash& trash, Notice& notice) {
    for (const fs::path& item : items) {
        const auto moved = trash.move(item);
        notice.add(moved ? "What an earlier installation had left behind is in the Trash."
                         : moved.error());
    }
}

} // namespace

std::string recover(const fs::path& applicationsFolder, const AppInstallation::Verify& verify,
                    FileManager& files, Trash& trash, const fs::path& running) {
    const fs::path folder = standardisedPath(applicationsFolder);
    const fs::path destination = folder / Product::applicationFolderName;
    const Leftovers leftovers = leftoversIn(folder);
    Notice notice;
    const bool isEmpty = !files.exists(destination);
    if (isEmpty)
        putBack(leftovers.backups, destination, verify, files, notice);
    discard(leftovers.copies, trash, notice);
    if (!leftovers.backups.empty() && !isEmpty && standardisedPath(running) == destination
        && verify(destination))
        discard(leftovers.backups, trash, notice);
    return notice.sentences();
}

} // namespace tallywick::InstallationRecovery
