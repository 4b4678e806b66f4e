#include "views/HeaderView.h"

#include "state/StatusTexts.h"
#include "views/DesignLayout.h"
#include "views/LogoButton.h"
#include "views/StatusBadge.h"
#include "views/TextLine.h"
#include "views/TextPainting.h"
#include "views/UtilityButton.h"

#include <cmath>

namespace tallywick {

HeaderView::HeaderView(const ViewStyle& viewStyle, const UtilityActions& actions, QWidget* parent)
    : QWidget(parent), style(viewStyle), logo(new LogoButton(style, this)),
      title(new TextLine(style, {.font = FontRole::title}, this)),
      subtitle(
          new TextLine(style, {.font = FontRole::caption, .color = &Theme::secondaryText}, this)),
      badge(new StatusBadge(style, this)),
      status(new TextLine(
          style,
          {.font = FontRole::small, .color = &Theme::secondaryText, .alignment = Qt::AlignRight},
          this)),
      close(new UtilityButton(style, QStringLiteral("Quit Tallywick"), "xmark",
                              UtilityButton::Treatment::bare, this)) {
    title->present(QStringLiteral("CODEX WEEKLY USAGE"));
    subtitle->present(QStringLiteral("ACCOUNT + THIS MAC"));
    close->setToolTip(close->text());
    connect(logo, &QAbstractButton::clicked, this, actions.openHomePage);
    connect(close, &QAbstractButton::clicked, this, actions.quit);
}

void HeaderView::present(const UtilityFields& fields) {
    badge->present(statusBadge(fields.status, fields.loginPending), isLive(fields.status));
    status->present(QString::fromStdString(fields.status));
}

void HeaderView::resizeEvent(QResizeEvent*) {
    namespace Place = DesignLayout::Full;
    const auto put = [this](QWidget* part, const QRectF& place) {
        part->setGeometry(DesignLayout::inPoints(place, style.scale));
    };
    put(logo, Place::logo);
    put(title, Place::title);
    put(badge, Place::badge);
    // The status has all the room that the subtitle leaves.
    constexpr double gap = 14;
    QRectF subtitlePlace = Place::subtitle;
    subtitlePlace.setWidth(
        std::ceil(lineWidth(subtitle->text(), designFont(FontRole::caption)) + 1));
    QRectF statusPlace = Place::status;
    statusPlace.setLeft(subtitlePlace.right() + gap);
    put(subtitle, subtitlePlace);
    put(status, statusPlace);
    put(close, Place::close);
}

} // namespace tallywick
