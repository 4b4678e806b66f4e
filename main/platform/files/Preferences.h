#pragma once

#include "base/Json.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace tallywick {

/// The user's choices, kept from one start of the program to the next.
///
/// Main thread only. A key that is missing, or whose value is of another type, reads as absent.
/// Setting a value writes it through; a failed write loses nothing but that value.
class Preferences {
  public:
    /// While one lives, values are set but not written; those of the outermost one are written
    /// together at its end. What belongs together is so kept together or not at all.
    class Group {
      public:
        explicit Group(Preferences& grouped) : preferences(grouped) { preferences.beginGroup(); }
        ~Group() { preferences.endGroup(); }
        Group(const Group&) = delete;
        Group& operator=(const Group&) = delete;

      private:
        Preferences& preferences;
    };

    virtual ~Preferences() = default;

    virtual std::optional<bool> boolValue(std::string_view key) const = 0;
    virtual std::optional<double> doubleValue(std::string_view key) const = 0;
    virtual std::optional<std::string> stringValue(std::string_view key) const = 0;

    virtual void setBool(std::string_view key, bool value) = 0;
    virtual void setDouble(std::string_view key, double value) = 0;
    virtual void setString(std::string_view key, const std::string& value) = 0;
    virtual void remove(std::string_view key) = 0;

    /// Removes every choice with what holds them, and keeps nothing that is set afterwards. Waits
    /// for the disk. False when something stays behind.
    virtual bool removeAll() = 0;

  private:
    virtual void beginGroup() = 0;
    virtual void endGroup() = 0;
};

/// Preferences in a file: one JSON object, replaced as a whole at each change, so that a full disk
/// or a crash leaves the choices as they were before. It is written on a queue of its own, so that
/// nobody waits for the disk; only the end of this object does.
///
/// A file that is damaged, too large, another user's or reached through a symbolic link counts as
/// one without any choice; the next change replaces it, unless it is a link or another user's.
class FilePreferences final : public Preferences {
  public:
    static constexpr std::size_t maximumBytes = 65'536; ///< some hundred times what is kept

    /// "preferences.json" in the folder "Corvane Tallywick" among the user's preferences; empty
    /// when there is no place for these, and nothing is kept then.
    static std::filesystem::path defaultFile();

    explicit FilePreferences(std::filesystem::path file = defaultFile());
    FilePreferences(FilePreferences&&) noexcept;
    FilePreferences& operator=(FilePreferences&&) noexcept;
    ~FilePreferences() override;

    std::optional<bool> boolValue(std::string_view key) const override;
    std::optional<double> doubleValue(std::string_view key) const override;
    std::optional<std::string> stringValue(std::string_view key) const override;

    void setBool(std::string_view key, bool value) override { set(key, value); }
    void setDouble(std::string_view key, double value) override { set(key, value); }
    void setString(std::string_view key, const std::string& value) override { set(key, value); }
    void remove(std::string_view key) override;
    bool removeAll() override;

  private:
    void beginGroup() override { ++openGroups; }
    void endGroup() override;

    void set(std::string_view key, const Json& value);
    void valuesDidChange();
    void write();

    class Writer;

    std::filesystem::path file;
    Json values = Json::object();
    int openGroups = 0;
    bool changedInGroup = false;
    bool isWritten = true;          ///< until all was removed
    std::unique_ptr<Writer> writer; ///< since the first write
};

} // namespace tallywick
