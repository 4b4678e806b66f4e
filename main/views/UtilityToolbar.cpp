#include "views/UtilityToolbar.h"

#include "views/DesignLayout.h"
#include "views/PopupMenu.h"
#include "views/UtilityButton.h"
#include "views/UtilityCheckBox.h"

#include <QSignalBlocker>

namespace tallywick {

namespace {

constexpr int menuGap = 4; ///< between a button and its menu, in points

} // namespace

UtilityToolbar::UtilityToolbar(const ViewStyle& viewStyle, const UtilityActions& windowActions,
                               QWidget* parent)
    : QWidget(parent), style(viewStyle), actions(windowActions),
      mini(addButton(QStringLiteral("Mini"), {}, QStringLiteral("Switch to the mini layout"),
                     actions.toggleLayout)),
      theme(addButton(QStringLiteral("Day"), {}, {}, actions.toggleTheme)),
      pin(new UtilityCheckBox(style, QStringLiteral("Always on top"), this)),
      refresh(addButton(QStringLiteral("Refresh"), "arrow.clockwise",
                        QStringLiteral("Read the usage again now"), actions.refresh)),
      settings(addButton(QStringLiteral("Settings"), {}, QStringLiteral("Open the settings"),
                         actions.openSettings)),
      share(
          addButton(QStringLiteral("Share"), "square.and.arrow.up",
                    QStringLiteral("Share the public utility page; your readings are not included"),
                    [this] { showShareMenu(); })) {
    pin->setToolTip(QStringLiteral("Keep this window above all others"));
    // Not its clicks: a screen reader toggles it without one.
    connect(pin, &QAbstractButton::toggled, this,
            [this](bool checked) { actions.setPinned(checked); });
}

void UtilityToolbar::present(const UtilityFields& fields) {
    const QSignalBlocker nobodyChose(pin);
    pin->setChecked(fields.pinned);
    theme->setText(fields.light ? QStringLiteral("Night") : QStringLiteral("Day"));
    theme->setToolTip(fields.light ? QStringLiteral("Switch to the night theme")
                                   : QStringLiteral("Switch to the day theme"));
}

QWidget* UtilityToolbar::layoutToggle() const { return mini; }

void UtilityToolbar::resizeEvent(QResizeEvent*) {
    namespace Place = DesignLayout::Toolbar;
    const auto put = [this](QWidget* part, const QRectF& place) {
        part->setGeometry(DesignLayout::inPoints(place, style.scale));
    };
    put(mini, Place::mini);
    put(theme, Place::theme);
    put(pin, Place::pin);
    put(refresh, Place::refresh);
    put(settings, Place::settings);
    put(share, Place::share);
}

UtilityButton* UtilityToolbar::addButton(const QString& text, std::string_view symbol,
                                         const QString& help,
                                         const UtilityActions::Action& action) {
    auto* const button =
        new UtilityButton(style, text, symbol, UtilityButton::Treatment::plain, this);
    button->setToolTip(help);
    button->setAccessibleDescription(help);
    connect(button, &QAbstractButton::clicked, this, action);
    return button;
}

void UtilityToolbar::showShareMenu() {
    auto* const menu = new PopupMenu(share->text(), share);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    connect(menu->addAction(QStringLiteral("Mail Link…")), &QAction::triggered, this,
            actions.mailProductPage);
    connect(menu->addAction(QStringLiteral("Copy Link")), &QAction::triggered, this,
            actions.copyProductAddress);
    const QPoint below(share->width() - menu->sizeHint().width(), share->height() + menuGap);
    menu->popup(share->mapToGlobal(below));
}

} // namespace tallywick
