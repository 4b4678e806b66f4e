#pragma once

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

  private:
    virtual void beginGroup() = 0;
    virtual void endGroup() = 0;
};

} // namespace tallywick
