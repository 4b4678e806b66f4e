#pragma once

#include "views/look/Painting.h"
#include "views/look/TextPainting.h"
#include "views/look/Theme.h"

#include <QLabel>
#include <QProgressBar>
#include <QWidget>

#include <cstdint>

class QVBoxLayout;

namespace tallywick {

/// Dims a window or a sheet, with all of its content, as long as it is there.
class WindowShade final : public QWidget {
    Q_OBJECT

  public:
    explicit WindowShade(QWidget* window);

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
};

/// A text on a sheet. It is shown as it stands, wraps, long paths too, without leaving its last
/// word alone, and takes the colours of the theme. A screen reader meets it as its accessible name.
class SheetText : public QLabel {
    Q_OBJECT

  public:
    enum class Ink { text, secondary, accent };

    explicit SheetText(FontRole role, Ink ink, const QString& text = {}, QWidget* parent = nullptr);

    void setTheme(const Theme& theme);

    void setText(const QString& text);
    /// The text as it was given.
    QString text() const { return accessibleName(); }

  private:
    const Ink ink;
};

/// A card of a sheet: the frame around what belongs together, one below the other.
class SheetCard final : public QWidget {
    Q_OBJECT

  public:
    /// The style must outlive the card.
    explicit SheetCard(const ViewStyle& style, QWidget* parent = nullptr);

    QVBoxLayout& column() { return *content; }

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    const ViewStyle& style;
    QVBoxLayout* content;
};

/// The result of the user's last action, on a sheet: a notification to a screen reader, announced
/// whenever it changes. It can be selected with the mouse, and copied. Hidden while there is none.
class StatusNotice final : public SheetText {
    Q_OBJECT

  public:
    explicit StatusNotice(QWidget* parent = nullptr);

    /// Shows the text, or hides for an empty one.
    void present(const QString& text);

  protected:
    void keyPressEvent(QKeyEvent* event) override;
};

/// How much of something has been done, as a bar; a progress bar to a screen reader too.
class SheetProgress final : public QProgressBar {
    Q_OBJECT

  public:
    /// `subject` is the name to a screen reader. The style must outlive the bar.
    SheetProgress(const ViewStyle& style, const QString& subject, QWidget* parent = nullptr);

    /// At most 2 GiB.
    void present(std::int64_t done, std::int64_t whole);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    const ViewStyle& style;
};

} // namespace tallywick
