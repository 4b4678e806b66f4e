#pragma once

#include "hardware/HardwareSnapshot.h"
#include "views/parts/Buttons.h"

namespace tallywick {

/// Draws how much of a volume is free, as a bar.
void paintFreeSpace(QPainter& painter, const QRectF& area, const Theme& theme,
                    const VolumeInfo& volume);

/// One volume: its symbol, its name, how much of it is free, and its figures. Pressing it opens the
/// volume.
class VolumeRow final : public PressablePart {
    Q_OBJECT

  public:
    VolumeRow(const ViewStyle& style, QWidget* parent);

    void present(const VolumeInfo& volume);

    /// The one that it shows.
    const VolumeInfo& volume() const { return shown; }

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    VolumeInfo shown;
    QString name;
    QString capacity;
};

} // namespace tallywick
