#pragma once

#include "platform/files/Preferences.h"

#include <QPointF>
#include <QSizeF>

#include <optional>
#include <string>

namespace tallywick {

/// The user's choices as they are kept from one start of the program to the next: the name of each
/// preference, and how its value is written. Main thread only.
class KeptChoices {
  public:
    /// How the window looks; a choice that was never made is false.
    struct Look {
        bool mini = false;   ///< the layout
        bool light = false;  ///< the theme
        bool pinned = false; ///< always on top
    };

    /// The preferences must outlive it.
    explicit KeptChoices(Preferences& given) : preferences(given) {}

    /// As long as it lives, what is kept is not written yet.
    Preferences::Group together() { return Preferences::Group(preferences); }

    Look look() const;
    void keepLook(const Look& look);

    /// Of the window's content, in points; as good as nothing when none was kept.
    QSizeF contentSize() const;
    /// To be called while `together` lives: it is two values.
    void keepContentSize(QSizeF size);

    /// Of the window's top left corner, in whole points.
    std::optional<QPointF> windowPosition() const;
    void keepWindowPosition(QPointF position);

    /// The helper that the user has chosen.
    std::optional<std::string> helper() const;
    void keepHelper(const std::string& path);
    void forgetHelper();

    /// Whether the desktop is to tell of the allowance; false when that was never chosen.
    bool tellsOfUsage() const;
    void keepTellsOfUsage(bool tells);

    /// Forgets everything, and keeps nothing any more. Waits for the disk. False when something
    /// stays behind.
    bool forgetAll() { return preferences.removeAll(); }

  private:
    Preferences& preferences;
};

} // namespace tallywick
