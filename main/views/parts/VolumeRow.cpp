#include "views/parts/VolumeRow.h"

#include "state/NumberTexts.h"
#include "views/look/Painting.h"
#include "views/look/Symbols.h"
#include "views/look/TextPainting.h"

#include <algorithm>

namespace tallywick {

namespace {

constexpr double cornerRadius = 6;

constexpr QRectF symbolPlace{8, 4, 16, 16};
constexpr QRectF namePlace{32, 2, 168, 20};
constexpr QRectF barPlace{208, 9.5, 128, 5};
constexpr QRectF capacityPlace{344, 2, 152, 20};

Symbol symbolOf(const VolumeInfo& volume) {
    return volume.url == "/" ? Symbol::internalDrive : Symbol::externalDrive;
}

} // namespace

void paintFreeSpace(QPainter& painter, const QRectF& area, const Theme& theme,
                    const VolumeInfo& volume) {
    const double radius = area.height() / 2;
    fillRounded(painter, area, radius, withOpacity(theme.accent, 0.16));
    if (volume.total <= 0)
        return;
    const double free =
        std::clamp(static_cast<double>(volume.free) / static_cast<double>(volume.total), 0.0, 1.0);
    if (free <= 0)
        return;
    QRectF filled = area;
    filled.setWidth(std::max(area.width() * free, area.height())); // at least a dot
    fillRounded(painter, filled, radius, theme.accent);
}

VolumeRow::VolumeRow(const ViewStyle& viewStyle, QWidget* parent)
    : PressablePart(viewStyle, parent) {
    setCursor(Qt::PointingHandCursor);
    setAttribute(Qt::WA_Hover);
}

void VolumeRow::present(const VolumeInfo& volume) {
    if (volume == shown)
        return;
    shown = volume;
    name = oneLine(QString::fromStdString(shown.name));
    capacity = QString::fromStdString(capacityText(shown));
    setAccessibleName(name + QStringLiteral(", ") + capacity);
    const QString help = QStringLiteral("Open ") + name
                         + QStringLiteral(" in Finder. APFS volumes may share container capacity.");
    const bool isElided =
        figuresWidth(capacity, designFont(FontRole::body)) > capacityPlace.width();
    setHelp(isElided ? help + u' ' + capacity : help);
    update();
}

void VolumeRow::paintEvent(QPaintEvent*) {
    PartPainter painter(this, style);
    const Theme& theme = style.theme;
    if (underMouse() || isDown()) {
        fillRounded(painter, painter.bounds(), cornerRadius, theme.card);
    }
    const QFont font = designFont(FontRole::body);
    drawSymbol(painter, symbolPlace, symbolOf(shown), theme.accent);
    drawLine(painter, namePlace, name, font, theme.text);
    paintFreeSpace(painter, barPlace, theme, shown);
    drawFigures(painter, capacityPlace, capacity, font, theme.secondaryText, Qt::AlignRight);
    paintFocus(painter, painter.bounds(), cornerRadius);
}

} // namespace tallywick
