#include "views/parts/VolumeRow.h"

#include "state/NumberTexts.h"
#include "views/layouts/DesignLayout.h"
#include "views/look/Painting.h"
#include "views/look/Symbols.h"
#include "views/look/TextPainting.h"

#include <algorithm>

namespace tallywick {

namespace {

constexpr double cornerRadius = 6;

} // namespace

void paintFreeSpace(QPainter& painter, const QRectF& area, const Theme& theme,
                    const VolumeInfo& volume) {
    const double radius = area.height() / 2;
    painter.setPen(Qt::NoPen);
    painter.setBrush(withOpacity(theme.accent, 0.16));
    painter.drawRoundedRect(area, radius, radius);
    if (volume.total <= 0)
        return;
    const double free =
        std::clamp(static_cast<double>(volume.free) / static_cast<double>(volume.total), 0.0, 1.0);
    if (free <= 0)
        return;
    QRectF filled = area;
    filled.setWidth(std::max(area.width() * free, area.height())); // at least a dot
    painter.setBrush(theme.accent);
    painter.drawRoundedRect(filled, radius, radius);
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
    const bool isElided = figuresWidth(capacity, designFont(FontRole::body))
                          > DesignLayout::VolumeRow::capacity.width();
    setHelp(isElided ? help + u' ' + capacity : help);
    update();
}

void VolumeRow::paintEvent(QPaintEvent*) {
    namespace Place = DesignLayout::VolumeRow;
    PartPainter painter(this, style);
    const Theme& theme = style.theme;
    if (underMouse() || isDown()) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(theme.card);
        painter.drawRoundedRect(painter.bounds(), cornerRadius, cornerRadius);
    }
    const QFont font = designFont(FontRole::body);
    drawSymbol(painter, Place::symbol, volumeSymbol(shown.url), theme.accent);
    drawLine(painter, Place::name, name, font, theme.text);
    paintFreeSpace(painter, Place::bar, theme, shown);
    drawFigures(painter, Place::capacity, capacity, font, theme.secondaryText, Qt::AlignRight);
    paintFocus(painter, painter.bounds(), cornerRadius);
}

} // namespace tallywick
