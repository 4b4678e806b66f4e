#pragma once

#include "views/layouts/UtilityView.h"

#include <QApplication>
#include <QEvent>

#include <set>
#include <string>
#include <vector>

namespace tallywick::testing {

using Strings = std::vector<std::string>;

/// A live reading, a week's history and three volumes.
UtilityFields sampleFields();

/// The longest texts that the fields can hold.
UtilityFields widestFields();

/// So many volumes.
std::vector<VolumeInfo> manyVolumes(std::size_t count);

/// The available height in which the fields are shown: enough for seven volumes.
inline constexpr double roomyScreen = 900;

/// All actions, each of which adds to the calls what was asked for.
UtilityActions recordingActions(Strings& calls);
/// What a command adds.
std::string called(UtilityCommand command);

/// Lets everything happen that has been posted: layouts, deletions, paint events.
void settle();

/// Notes the classes of the widgets that are painted.
class PaintRecorder : public QObject {
  public:
    PaintRecorder() { qApp->installEventFilter(this); }
    bool eventFilter(QObject* watched, QEvent* event) override {
        const std::string_view name = watched->metaObject()->className();
        if (event->type() == QEvent::Paint && watched->isWidgetType())
            painted.emplace(name.substr(name.rfind(':') + 1));
        return false;
    }

    std::set<std::string> painted;
};

/// What the Tab key reaches in a window, from this part on, by its accessible names.
Strings tabOrder(QWidget* first);

/// The content of the window on the offscreen display, with a record of the actions that it called.
class ShownView {
  public:
    ShownView(const UtilityFields& fields, QSize size);

    UtilityView* operator->() { return &view; }

    /// The visible part of this accessible name, which must exist.
    QWidget* part(const std::string& name) const;
    /// The visible parts that hold no others.
    std::vector<QWidget*> leaves() const;

    /// Shows these fields and draws what is to be drawn anew. Returns what that was: the parts'
    /// classes, each once.
    Strings repaintedBy(const UtilityFields& fields);

    Strings calls; ///< of actions, in their order

  private:
    const UtilityActions actions = recordingActions(calls);
    UtilityView view{actions};
};

std::string accessibleName(QWidget* part);

} // namespace tallywick::testing
