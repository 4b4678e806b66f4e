#include "views/FullView.h"

#include "state/NumberTexts.h"
#include "views/DesignLayout.h"
#include "views/HeaderView.h"
#include "views/MetricCard.h"
#include "views/NeonDivider.h"
#include "views/ResetCountdown.h"
#include "views/SegmentedMeter.h"
#include "views/TextLine.h"
#include "views/TokenCard.h"
#include "views/UsageHistoryGraph.h"
#include "views/UtilityToolbar.h"
#include "views/VolumeRow.h"
#include "views/WeeklyFigure.h"

#include <algorithm>
#include <cstddef>

namespace tallywick {

namespace Place = DesignLayout::Full;

// The parts are made in the order in which they are read: it is that of the Tab key too.
FullView::FullView(const ViewStyle& viewStyle, const UtilityActions& actions, QWidget* parent)
    : QWidget(parent), style(viewStyle), layoutHeight(Place::baseHeight),
      header(new HeaderView(style, actions, this)), usage(new WeeklyFigure(style, this)),
      remaining(new TextLine(
          style, {.font = FontRole::remaining, .alignment = Qt::AlignRight, .figures = true},
          this)),
      countdown(new ResetCountdown(style, this)), meter(new SegmentedMeter(style, this)),
      thisWeek(addCaption(QStringLiteral("THIS WEEK"))), graph(new UsageHistoryGraph(style, this)),
      lifetime(new TokenCard(style, this)), latestDay(new TokenCard(style, this)),
      localHardware(addCaption(QStringLiteral("LOCAL HARDWARE"))),
      thisMac(addCaption(QStringLiteral("THIS MAC"), Qt::AlignRight)),
      cpu(new MetricCard(style, "CPU", this)), memory(new MetricCard(style, "RAM", this)),
      volumes(addCaption(QStringLiteral("VOLUMES"))),
      freeAndTotal(addCaption(QStringLiteral("FREE / TOTAL"), Qt::AlignRight)),
      rows(addVolumeRows(actions)), toolbar(new UtilityToolbar(style, actions, this)),
      footer(new TextLine(style, {.font = FontRole::small, .color = &Theme::secondaryText}, this)) {
}

void FullView::present(const UtilityFields& fields, int volumeRows) {
    header->present(fields);
    usage->present(fields.quota);
    remaining->present(QString::fromStdString(remainingText(fields.quota)));
    countdown->present(resetText(fields.quota, fields.now));
    meter->present(fields.quota);
    graph->present(fields.history, fields.now,
                   fields.quota ? std::optional(fields.quota->reset) : std::nullopt);
    lifetime->present("LIFETIME TOKENS", fields.tokens.lifetime, fields.tokenStatus);
    latestDay->present(latestDayTitle(fields.tokens), fields.tokens.latestTokens,
                       fields.tokenStatus);
    cpu->present(fields.cpuPercent);
    memory->present(fields.memoryPercent);
    presentVolumes(fields.volumes, volumeRows);
    toolbar->present(fields);
    const QString status = QString::fromStdString(fields.status);
    footer->present(status, status);
}

void FullView::arrange(double newLayoutHeight) {
    layoutHeight = newLayoutHeight;
    const auto put = [this](QWidget* part, const QRectF& place) {
        part->setGeometry(DesignLayout::inPoints(place, style.scale));
    };
    const auto putLow = [&](QWidget* part, const QRectF& place) {
        put(part, DesignLayout::anchoredToBottom(place, layoutHeight));
    };
    put(header, Place::header);
    arrangeSections();
    putLow(toolbar, Place::toolbar);
    putLow(footer, Place::footer);
}

void FullView::arrangeSections() {
    const auto put = [this](double share, QWidget* part, const QRectF& place) {
        part->setGeometry(
            DesignLayout::inPoints(place.translated(0, share * freeHeight()), style.scale));
    };
    put(Place::usageShare, usage, Place::usage);
    put(Place::usageShare, remaining, Place::remaining);
    put(Place::usageShare, countdown, Place::countdown);
    put(Place::usageShare, meter, Place::meter);
    put(Place::weekShare, thisWeek, Place::thisWeek);
    put(Place::weekShare, graph, Place::graph);
    put(Place::weekShare, lifetime, Place::lifetime);
    put(Place::weekShare, latestDay, Place::latestDay);
    put(Place::hardwareShare, localHardware, Place::localHardware);
    put(Place::hardwareShare, thisMac, Place::thisMac);
    put(Place::hardwareShare, cpu, Place::cpu);
    put(Place::hardwareShare, memory, Place::memory);
    put(Place::volumesShare, volumes, Place::volumes);
    put(Place::volumesShare, freeAndTotal, Place::freeAndTotal);
    for (std::size_t index = 0; index < rows.size(); ++index)
        put(Place::volumesShare, rows[index],
            Place::firstVolumeRow.translated(0, WindowSizing::volumeRowHeight
                                                    * static_cast<double>(index)));
}

/// The layout has room for two rows at least. Until the volumes are known there will be one.
double FullView::freeHeight() const { return shownRows < 2 ? WindowSizing::volumeRowHeight : 0; }

QWidget* FullView::layoutToggle() const { return toolbar->layoutToggle(); }

void FullView::paintEvent(QPaintEvent*) {
    PartPainter painter(this, style);
    const double lower = Place::hardwareDividerShare * freeHeight();
    const QRectF dividers[] = {Place::headerDivider, Place::hardwareDivider.translated(0, lower),
                               DesignLayout::anchoredToBottom(Place::toolbarDivider, layoutHeight)};
    for (const QRectF& divider : dividers)
        paintDivider(painter, divider, style.theme);
}

TextLine* FullView::addCaption(const QString& text, Qt::Alignment alignment) {
    auto* const caption = new TextLine(
        style, {.font = FontRole::caption, .color = &Theme::secondaryText, .alignment = alignment},
        this);
    caption->present(text);
    return caption;
}

FullView::VolumeRows FullView::addVolumeRows(const UtilityActions& actions) {
    VolumeRows added{};
    for (VolumeRow*& row : added) {
        row = new VolumeRow(style, this);
        row->hide();
        connect(row, &QAbstractButton::clicked, this,
                [row, &actions] { actions.openVolume(row->volume()); });
    }
    return added;
}

void FullView::presentVolumes(const std::vector<VolumeInfo>& newVolumes, int count) {
    const std::size_t shown =
        std::min({newVolumes.size(), rows.size(), static_cast<std::size_t>(std::max(count, 0))});
    for (std::size_t index = 0; index < rows.size(); ++index) {
        if (index < shown)
            rows[index]->present(newVolumes[index]);
        rows[index]->setVisible(index < shown);
    }
    const double before = freeHeight();
    shownRows = shown;
    if (freeHeight() == before)
        return;
    arrangeSections();
    update(); // the divider between them
}

} // namespace tallywick
