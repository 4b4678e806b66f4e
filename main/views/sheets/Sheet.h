#pragma once

#include "views/look/Painting.h"
#include "views/parts/Buttons.h"
#include "views/parts/UtilityActions.h"
#include "views/sheets/SheetParts.h"

#include <QDialog>
#include <QString>

#include <optional>

class QHBoxLayout;
class QScrollArea;
class QVBoxLayout;

namespace tallywick {

/// What the sheets have in common: a dialog over one window, in its theme, with one column of
/// content above one row of buttons. It is as high as its content needs, or as its screen allows,
/// and then scrolls. It has no frame: it stands before the middle of its window, wherever that
/// goes, though always on the screen. Its title is for lists of windows and for screen readers.
///
/// A sheet of the state never closes itself: Escape, the window manager and the buttons call
/// actions, and the owner closes it when the state says so.
class Sheet : public QDialog {
    Q_OBJECT

  public:
    /// Called by each kind of sheet once it is complete, and whenever the theme may have changed.
    void setTheme(const Theme& theme);

    const ViewStyle& viewStyle() const { return style; }

    /// The parent of what is in the column.
    QWidget& content() { return *page; }

    /// A button that has the command performed.
    UtilityButton* makeButton(const QString& text, UtilityCommand command, QWidget& parent,
                              UtilityButton::Treatment treatment = UtilityButton::Treatment::plain);

    /// What Escape and the window manager ask for.
    void reject() override;

  protected:
    /// `dismissal` is performed when the user wants to be rid of the sheet; without one, it closes.
    /// The actions must outlive the sheet.
    Sheet(const QString& title, const UtilityActions& actions,
          std::optional<UtilityCommand> dismissal, QWidget* window);

    QVBoxLayout& column() { return *contentColumn; }
    /// The row at the bottom, and the parent of what is in it.
    QWidget& footer() { return *buttonBar; }
    QHBoxLayout& buttonRow() { return *buttons; }

    /// Shows the beginning of the content, where that is higher than the sheet.
    void scrollToTop();

    /// The button that Return presses, and that has the keyboard at first.
    UtilityButton* makeDefaultButton(const QString& text, UtilityCommand command);

    bool eventFilter(QObject* watched, QEvent* event) override;
    bool focusNextPrevChild(bool next) override;
    void keyPressEvent(QKeyEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

  private:
    /// Takes the size that the content needs, and its place.
    void fit();
    void place();
    /// Of the screen on which the window is.
    QRect availableArea() const;

    const UtilityActions& actions;
    const std::optional<UtilityCommand> dismissal;
    ViewStyle style;
    QScrollArea* scroller;
    QWidget* page;
    QVBoxLayout* contentColumn;
    QWidget* buttonBar;
    QHBoxLayout* buttons;
};

} // namespace tallywick
