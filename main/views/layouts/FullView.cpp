#include "views/layouts/FullView.h"

#include "base/Product.h"
#include "state/NumberTexts.h"
#include "state/StatusTexts.h"
#include "views/layouts/DesignLayout.h"
#include "views/look/Painting.h"
#include "views/look/TextPainting.h"
#include "views/parts/Buttons.h"
#include "views/parts/Cards.h"
#include "views/parts/Figures.h"
#include "views/parts/Menus.h"
#include "views/parts/UsageGraphs.h"
#include "views/parts/VolumeRow.h"

#include <QImage>
#include <QSignalBlocker>

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace tallywick {

LogoButton::LogoButton(const ViewStyle& viewStyle, QWidget* parent)
    : PressablePart(viewStyle, parent) {
    setText(QStringLiteral("Open ") + QString::fromUtf8(OfficialLinks::host));
    setHelp(text());
    setCursor(Qt::PointingHandCursor);
}

void LogoButton::paintEvent(QPaintEvent*) {
    constexpr double margin = DesignLayout::Full::logoMargin;
    PartPainter painter(this, style);
    const QRectF picture = painter.bounds().adjusted(margin, margin, -margin, -margin);
    const double pixelsPerUnit = style.scale * devicePixelRatioF();
    const QPixmap& image = logoOfSize((picture.size() * pixelsPerUnit).toSize());
    painter.drawPixmap(picture, image, QRectF(image.rect()));
    paintFocus(painter, painter.bounds(), painter.bounds().width() * 0.25);
}

const QPixmap& LogoButton::logoOfSize(QSize pixels) {
    if (logo.size() == pixels)
        return logo;
    logo = QPixmap::fromImage(builtInPicture(QStringLiteral("corvane-logo.png"))
                                  .scaled(pixels, Qt::IgnoreAspectRatio, Qt::SmoothTransformation));
    return logo;
}

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
