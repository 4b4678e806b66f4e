#include "platform/files/Preferences.h"

#include "base/Product.h"
#include "base/SerialQueue.h"
#include "platform/files/FileAccess.h"
#include "platform/files/StandardFolders.h"

#include <utility>

namespace tallywick {

namespace {

/// A text that is not valid UTF-8, such as a path can be, counts only until the program ends.
bool canBeWritten(const Json& value) {
    try {
        writeJson(value);
        return true;
    } catch (const Json::exception&) {
        return false;
    }
}

} // namespace

/// Its end waits for what is still to be written.
class FilePreferences::Writer {
  public:
    ~Writer() { finish(); }

    void finish() {
        queue.sync([] {});
    }

    void write(const std::filesystem::path& path, std::string text) {
        queue.async([path, bytes = std::move(text)] {
            static_cast<void>(writeFileAtomically(path, bytes)); // the next change tries again
        });
    }

  private:
    SerialQueue queue{"com.corvane.utility.preferences"};
};

std::filesystem::path FilePreferences::defaultFile() {
    const auto folder = preferencesFolder();
    return folder ? *folder / Product::dataFolderName / "preferences.json"
                  : std::filesystem::path();
}

FilePreferences::FilePreferences(std::filesystem::path preferencesFile)
    : file(std::move(preferencesFile)) {
    const std::optional<std::string> text = readOwnFile(file, maximumBytes);
    std::optional<Json> stored = text ? parseJson(*text) : std::nullopt;
    if (stored && stored->is_object())
        values = std::move(*stored);
}

FilePreferences::FilePreferences(FilePreferences&&) noexcept = default;
FilePreferences& FilePreferences::operator=(FilePreferences&&) noexcept = default;
FilePreferences::~FilePreferences() = default;

std::optional<bool> FilePreferences::boolValue(std::string_view key) const {
    return boolMember(values, key);
}

std::optional<double> FilePreferences::doubleValue(std::string_view key) const {
    const Json* value = member(values, key);
    if (!value || !value->is_number())
        return std::nullopt;
    return value->get<double>();
}

std::optional<std::string> FilePreferences::stringValue(std::string_view key) const {
    const std::string* value = stringMember(values, key);
    return value ? std::optional(*value) : std::nullopt;
}

void FilePreferences::remove(std::string_view key) {
    if (values.erase(std::string(key)) > 0)
        valuesDidChange();
}

bool FilePreferences::removeAll() {
    values = Json::object();
    isWritten = false;
    if (writer)
        writer->finish();
    return removeOwnFile(file);
}

void FilePreferences::set(std::string_view key, const Json& value) {
    Json& stored = values[std::string(key)];
    if (stored == value)
        return;
    stored = value;
    valuesDidChange();
}

void FilePreferences::valuesDidChange() {
    if (openGroups > 0)
        changedInGroup = true;
    else
        write();
}

void FilePreferences::endGroup() {
    if (--openGroups == 0 && std::exchange(changedInGroup, false))
        write();
}

void FilePreferences::write() {
    if (!isWritten)
        return;
    Json kept = Json::object();
    for (const auto& [key, value] : values.items())
        if (canBeWritten(value))
            kept[key] = value;
    std::string text = writeJson(kept) + '\n';
    if (text.size() > maximumBytes)
        return;
    if (!writer)
        writer = std::make_unique<Writer>();
    writer->write(file, std::move(text));
}

} // namespace tallywick
