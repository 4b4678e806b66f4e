#pragma once

#include <QWidget>

namespace tallywick {

/// Dims a window, with all of its content, as long as it is there.
class WindowShade final : public QWidget {
    Q_OBJECT

  public:
    explicit WindowShade(QWidget* window);

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
};

} // namespace tallywick
