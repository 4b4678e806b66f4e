#include "views/layouts/MiniView.h"

#include "state/NumberTexts.h"
#include "views/layouts/DesignLayout.h"
#include "views/parts/Buttons.h"
#include "views/parts/Cards.h"
#include "views/parts/Figures.h"
#include "views/parts/UsageGraphs.h"

namespace tallywick {

MiniView::MiniView(const ViewStyle& viewStyle, const UtilityActions& actions, QWidget* parent)
    : QWidget(parent), style(viewStyle),
      caption(new TextLine(style, {.font = FontRole::title}, this)),
      pin(new PinBox(style, QStringLiteral("Pin"), actions, this)),
      expand(new UtilityButton(style, QStringLiteral("Expand ↗"), Symbol::none,
                               UtilityButton::Treatment::plain, this)),
      close(makeQuitButton(style, actions, this)),
      usage(new TextLine(style, {.font = FontRole::miniUsage}, this)),
      remaining(new TextLine(style,
                             {.font = FontRole::remaining,
                              .color = &Theme::secondaryText,
                              .alignment = Qt::AlignRight,
                              .figures = true},
                             this)),
      meter(new SegmentedMeter(style, this)), lifetime(new TokenCard(style, this)),
      latestDay(new TokenCard(style, this)),
      status(new TextLine(style, {.font = FontRole::small, .color = &Theme::secondaryText}, this)) {
    caption->present(QStringLiteral("CODEX WEEKLY"));
    expand->setToolTip(QStringLiteral("Switch to the full layout"));
    performOnClick(expand, actions, UtilityCommand::toggleLayout);
}

void MiniView::present(const UtilityFields& fields) {
    pin->present(fields);
    const QString freshness = QString::fromStdString(fields.status.text());
    usage->present(QString::fromStdString(weeklyUsageText(fields.quota)), freshness);
    remaining->present(QString::fromStdString(remainingText(fields.quota)));
    meter->present(fields.quota, fields.now);
    lifetime->present("LIFETIME TOKENS", fields.tokens.lifetime, fields.tokenStatus);
    latestDay->present(latestDayTitle(fields.tokens), fields.tokens.latestTokens,
                       fields.tokenStatus);
    status->present(freshness);
    status->setVisible(!fields.status.isLive());
}

void MiniView::arrange() {
    namespace Place = DesignLayout::Mini;
    const auto put = [this](QWidget* part, const QRectF& place) {
        DesignLayout::put(part, place, style.scale);
    };
    put(caption, Place::caption);
    put(pin, Place::pin);
    put(expand, Place::expand);
    put(close, Place::close);
    put(usage, Place::usage);
    put(remaining, Place::remaining);
    put(meter, Place::meter);
    put(lifetime, Place::lifetime);
    put(latestDay, Place::latestDay);
    put(status, Place::status);
}

QWidget* MiniView::layoutToggle() const { return expand; }

} // namespace tallywick
