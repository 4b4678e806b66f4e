#include "views/parts/UtilityStyle.h"

#include "views/look/Painting.h"
#include "views/look/TextPainting.h"
#include "views/parts/Menus.h"

#include <QApplication>
#include <QPainter>
#include <QStyleOptionMenuItem>
#include <QToolTip>

#include <memory>

namespace tallywick {

namespace {

// In points.
constexpr int cornerRadius = 7;
constexpr int menuMargin = 4; ///< between the border and the items
constexpr int itemRadius = 4;
constexpr int itemPadding = 10;
constexpr int itemHeight = 26;
constexpr int shortcutGap = 24;
constexpr int toolTipMargin = 6;

void paintPanel(QPainter& painter, const QStyleOption& option, QPalette::ColorRole ground) {
    paintRoundedPanel(painter, option.rect, cornerRadius, option.palette.color(QPalette::Mid),
                      option.palette.color(ground));
}

bool maskPanel(const QStyleOption* option, QStyleHintReturn* result) {
    auto* const mask = qstyleoption_cast<QStyleHintReturnMask*>(result);
    if (!option || !mask)
        return false;
    mask->region = roundedRegion(option->rect, cornerRadius);
    return true;
}

void paintItem(QPainter& painter, const QStyleOptionMenuItem& item) {
    const bool isEnabled = item.state & QStyle::State_Enabled;
    const bool isReached = isEnabled && item.state & QStyle::State_Selected;
    const QPalette::ColorGroup group = isEnabled ? QPalette::Active : QPalette::Disabled;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    if (isReached)
        fillRounded(painter, item.rect, itemRadius, item.palette.color(QPalette::Highlight));
    const auto ink = [&](QPalette::ColorRole idle) {
        return item.palette.color(group, isReached ? QPalette::HighlightedText : idle);
    };
    const QRect line = item.rect.adjusted(itemPadding, 0, -itemPadding, 0);
    painter.setFont(item.font);
    painter.setPen(ink(QPalette::Text));
    painter.drawText(line, Qt::AlignLeft | Qt::AlignVCenter, item.text.section(u'\t', 0, 0));
    painter.setPen(ink(QPalette::PlaceholderText));
    painter.drawText(line, Qt::AlignRight | Qt::AlignVCenter, item.text.section(u'\t', 1));
    painter.restore();
}

/// The item, if it is one of the window's own menus: others may hold what these never do.
const QStyleOptionMenuItem* itemOf(const QStyleOption* option, const QWidget* widget) {
    return qobject_cast<const PopupMenu*>(widget)
               ? qstyleoption_cast<const QStyleOptionMenuItem*>(option)
               : nullptr;
}

} // namespace

UtilityStyle::UtilityStyle() : QProxyStyle(QStringLiteral("fusion")) {}

void UtilityStyle::install() {
    QApplication::setStyle(std::make_unique<UtilityStyle>().release()); // which takes it
    QApplication::setFont(designFont(FontRole::body));                  // of the file dialog
    QApplication::setFont(designFont(FontRole::body), "QMenu");
    QToolTip::setFont(designFont(FontRole::body));
}

int UtilityStyle::pixelMetric(PixelMetric metric, const QStyleOption* option,
                              const QWidget* widget) const {
    switch (metric) {
    case PM_MenuPanelWidth:
        return 1;
    case PM_MenuHMargin:
    case PM_MenuVMargin:
        return menuMargin;
    case PM_ToolTipLabelFrameWidth:
        return toolTipMargin;
    default:
        return QProxyStyle::pixelMetric(metric, option, widget);
    }
}

int UtilityStyle::styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                            QStyleHintReturn* result) const {
    if (hint == SH_Menu_Mask || hint == SH_ToolTip_Mask)
        return maskPanel(option, result);
    return QProxyStyle::styleHint(hint, option, widget, result);
}

QSize UtilityStyle::sizeFromContents(ContentsType type, const QStyleOption* option,
                                     const QSize& size, const QWidget* widget) const {
    const auto* const item = type == CT_MenuItem ? itemOf(option, widget) : nullptr;
    if (!item)
        return QProxyStyle::sizeFromContents(type, option, size, widget);
    // The menu itself adds the width of the shortcuts.
    const int gap = item->reservedShortcutWidth > 0 ? shortcutGap : 0;
    return {size.width() + 2 * itemPadding + gap, itemHeight};
}

void UtilityStyle::drawPrimitive(PrimitiveElement element, const QStyleOption* option,
                                 QPainter* painter, const QWidget* widget) const {
    if (element == PE_PanelMenu)
        paintPanel(*painter, *option, QPalette::Window);
    else if (element == PE_PanelTipLabel)
        paintPanel(*painter, *option, QPalette::ToolTipBase);
    else if (element != PE_FrameMenu) // drawn with its panel
        QProxyStyle::drawPrimitive(element, option, painter, widget);
}

void UtilityStyle::drawControl(ControlElement element, const QStyleOption* option,
                               QPainter* painter, const QWidget* widget) const {
    const auto* const item = element == CE_MenuItem ? itemOf(option, widget) : nullptr;
    if (item)
        paintItem(*painter, *item);
    else if (element != CE_MenuEmptyArea)
        QProxyStyle::drawControl(element, option, painter, widget);
}

} // namespace tallywick
