#include "views/layouts/FullView.h"

#include "base/Product.h"
#include "state/NumberTexts.h"
#include "state/Status.h"
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
#include <QPixmap>

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace tallywick {

namespace Place = DesignLayout::Full;

namespace {

constexpr int menuGap = 4; ///< between a button and its menu, in points

/// The maker's mark, which leads to the maker's website.
class LogoButton final : public PressablePart {
  public:
    LogoButton(const ViewStyle& viewStyle, QWidget* parent) : PressablePart(viewStyle, parent) {
        setText(QStringLiteral("Open ") + QString::fromUtf8(OfficialLinks::host));
        setHelp(text());
        setCursor(Qt::PointingHandCursor);
    }

  protected:
    void paintEvent(QPaintEvent* /*event*/) override {
        constexpr double margin = Place::logoMargin;
        PartPainter painter(this, style);
        const QRectF picture = painter.bounds().adjusted(margin, margin, -margin, -margin);
        const double pixelsPerUnit = style.scale * devicePixelRatioF();
        const QPixmap& image = logoOfSize((picture.size() * pixelsPerUnit).toSize());
        painter.drawPixmap(picture, image, QRectF(image.rect()));
        paintFocus(painter, painter.bounds(), painter.bounds().width() * 0.25);
    }

  private:
    const QPixmap& logoOfSize(QSize pixels) {
        if (logo.size() == pixels)
            return logo;
        const QImage image = builtInPicture(QStringLiteral("corvane-logo.png"));
        logo = QPixmap::fromImage(
            image.scaled(pixels, Qt::IgnoreAspectRatio, Qt::SmoothTransformation));
        return logo;
    }

    QPixmap logo; ///< at the size in pixels that was last needed
};

} // namespace

/// The top of the layout: the maker's mark, the title, the status, and the close button.
class FullView::Header final : public QWidget {
  public:
    Header(const ViewStyle& viewStyle, const UtilityActions& actions, QWidget* parent)
        : QWidget(parent), style(viewStyle), logo(new LogoButton(style, this)),
          title(new TextLine(style, {.font = FontRole::title}, this)),
          subtitle(new TextLine(style, {.font = FontRole::caption, .color = &Theme::secondaryText},
                                this)),
          badge(new StatusBadge(style, this)), status(new TextLine(style,
                                                                   {.font = FontRole::small,
                                                                    .color = &Theme::secondaryText,
                                                                    .alignment = Qt::AlignRight},
                                                                   this)),
          close(makeQuitButton(style, actions, this)) {
        title->present(QStringLiteral("CODEX WEEKLY USAGE"));
        subtitle->present(QStringLiteral("ACCOUNT + THIS MAC"));
        performOnClick(logo, actions, UtilityCommand::openHomePage);
    }

    void present(const UtilityFields& fields) {
        badge->present(fields.status.badge(fields.loginPending), fields.status.isLive());
        status->present(QString::fromStdString(fields.status.text()));
    }

  protected:
    void resizeEvent(QResizeEvent* /*event*/) override {
        const double scale = style.scale;
        DesignLayout::put(logo, Place::logo, scale);
        DesignLayout::put(title, Place::title, scale);
        DesignLayout::put(badge, Place::badge, scale);
        // The status has all the room that the subtitle leaves.
        constexpr double gap = 14;
        QRectF subtitlePlace = Place::subtitle;
        subtitlePlace.setWidth(
            std::ceil(lineWidth(subtitle->text(), designFont(FontRole::caption)) + 1));
        QRectF statusPlace = Place::status;
        statusPlace.setLeft(subtitlePlace.right() + gap);
        DesignLayout::put(subtitle, subtitlePlace, scale);
        DesignLayout::put(status, statusPlace, scale);
        DesignLayout::put(close, Place::close, scale);
    }

  private:
    const ViewStyle& style;
    LogoButton* const logo;
    TextLine* const title;
    TextLine* const subtitle;
    StatusBadge* const badge;
    TextLine* const status;
    UtilityButton* const close;
};

/// The row of controls at the bottom of the layout.
class FullView::Toolbar final : public QWidget {
  public:
    Toolbar(const ViewStyle& viewStyle, const UtilityActions& windowActions, QWidget* parent)
        : QWidget(parent), style(viewStyle), actions(windowActions),
          mini(addButton("Mini", Symbol::none, "Switch to the mini layout")),
          theme(addButton("Day", Symbol::none, "")),
          pin(new PinBox(style, QStringLiteral("Always on top"), actions, this)),
          refresh(addButton("Refresh", Symbol::refresh, "Read the usage again now")),
          settings(addButton("Settings", Symbol::none, "Open the settings")),
          share(addButton("Share", Symbol::share,
                          "Share the public utility page; your readings are not included")) {
        performOnClick(mini, actions, UtilityCommand::toggleLayout);
        performOnClick(theme, actions, UtilityCommand::toggleTheme);
        performOnClick(refresh, actions, UtilityCommand::refresh);
        performOnClick(settings, actions, UtilityCommand::openSettings);
        connect(share, &QAbstractButton::clicked, this, [this] { showShareMenu(); });
    }

    void present(const UtilityFields& fields) {
        pin->present(fields);
        theme->setText(fields.light ? QStringLiteral("Night") : QStringLiteral("Day"));
        theme->setToolTip(fields.light ? QStringLiteral("Switch to the night theme")
                                       : QStringLiteral("Switch to the day theme"));
    }

    /// The button that switches to the mini layout.
    QWidget* layoutToggle() const { return mini; }

  protected:
    void resizeEvent(QResizeEvent* /*event*/) override {
        namespace Places = DesignLayout::Toolbar;
        DesignLayout::put(mini, Places::mini, style.scale);
        DesignLayout::put(theme, Places::theme, style.scale);
        DesignLayout::put(pin, Places::pin, style.scale);
        DesignLayout::put(refresh, Places::refresh, style.scale);
        DesignLayout::put(settings, Places::settings, style.scale);
        DesignLayout::put(share, Places::share, style.scale);
    }

  private:
    UtilityButton* addButton(const char* text, Symbol symbol, const char* help) {
        auto* const button = new UtilityButton(style, QString::fromUtf8(text), symbol,
                                               UtilityButton::Treatment::plain, this);
        button->setToolTip(QString::fromUtf8(help));
        button->setAccessibleDescription(button->toolTip());
        return button;
    }

    void showShareMenu() {
        auto* const menu = new PopupMenu(share->text(), share);
        menu->setAttribute(Qt::WA_DeleteOnClose);
        menu->addCommand(QStringLiteral("Mail Link…"), actions, UtilityCommand::mailProductPage);
        menu->addCommand(QStringLiteral("Copy Link"), actions, UtilityCommand::copyProductAddress);
        const QPoint below(share->width() - menu->sizeHint().width(), share->height() + menuGap);
        menu->popup(share->mapToGlobal(below));
    }

    const ViewStyle& style;
    const UtilityActions& actions;
    UtilityButton* const mini;
    UtilityButton* const theme;
    PinBox* const pin;
    UtilityButton* const refresh;
    UtilityButton* const settings;
    UtilityButton* const share;
};

// The parts are made in the order in which they are read: it is that of the Tab key too.
FullView::FullView(const ViewStyle& viewStyle, const UtilityActions& actions, QWidget* parent)
    : QWidget(parent), style(viewStyle), layoutHeight(Place::baseHeight),
      header(new Header(style, actions, this)), usage(new WeeklyFigure(style, this)),
      remaining(new TextLine(
          style, {.font = FontRole::remaining, .alignment = Qt::AlignRight, .figures = true},
          this)),
      countdown(new ResetCountdown(style, this)), meter(new SegmentedMeter(style, this)),
      thisWeek(addCaption(QStringLiteral("THIS WEEK"))), graph(new UsageHistoryGraph(style, this)),
      lookedBack(addCaption({}, Qt::AlignRight)), lifetime(new TokenCard(style, this)),
      latestDay(new TokenCard(style, this)),
      localHardware(addCaption(QStringLiteral("LOCAL HARDWARE"))),
      thisMac(addCaption(QStringLiteral("THIS MAC"), Qt::AlignRight)),
      cpu(new MetricCard(style, QStringLiteral("CPU"), Symbol::processor, this)),
      memory(new MetricCard(style, QStringLiteral("RAM"), Symbol::memory, this)),
      volumes(addCaption(QStringLiteral("VOLUMES"))),
      freeAndTotal(addCaption(QStringLiteral("FREE / TOTAL"), Qt::AlignRight)),
      rows(addVolumeRows(actions)), toolbar(new Toolbar(style, actions, this)),
      footer(new TextLine(style, {.font = FontRole::small, .color = &Theme::secondaryText}, this)) {
    lookedBack->hide();
    connect(graph, &UsageHistoryGraph::lookedBack, lookedBack, [this](const QString& text) {
        lookedBack->present(text);
        lookedBack->setVisible(!text.isEmpty());
    });
}

void FullView::present(const UtilityFields& fields, int volumeRows) {
    header->present(fields);
    usage->present(fields.quota);
    remaining->present(QString::fromStdString(remainingText(fields.quota)));
    countdown->present(resetText(fields.quota, fields.now));
    meter->present(fields.quota, fields.now);
    graph->present(fields.week, paceSentence(fields.pace, fields.now));
    lifetime->present("LIFETIME TOKENS", fields.tokens.lifetime, fields.tokenStatus);
    latestDay->present(latestDayTitle(fields.tokens), fields.tokens.latestTokens,
                       fields.tokenStatus);
    cpu->present(fields.cpuPercent);
    memory->present(fields.memoryPercent);
    presentVolumes(fields.volumes, volumeRows);
    toolbar->present(fields);
    const QString status = QString::fromStdString(fields.status.text());
    footer->present(status, status);
}

void FullView::arrange(double newLayoutHeight) {
    layoutHeight = newLayoutHeight;
    const auto putLow = [this](QWidget* part, const QRectF& place) {
        DesignLayout::put(part, DesignLayout::anchoredToBottom(place, layoutHeight), style.scale);
    };
    DesignLayout::put(header, Place::header, style.scale);
    arrangeSections();
    putLow(toolbar, Place::toolbar);
    putLow(footer, Place::footer);
}

void FullView::arrangeSections() {
    const auto put = [this](double share, QWidget* part, const QRectF& place) {
        DesignLayout::put(part, place.translated(0, share * freeHeight()), style.scale);
    };
    put(Place::usageShare, usage, Place::usage);
    put(Place::usageShare, remaining, Place::remaining);
    put(Place::usageShare, countdown, Place::countdown);
    put(Place::usageShare, meter, Place::meter);
    put(Place::weekShare, thisWeek, Place::thisWeek);
    put(Place::weekShare, lookedBack, Place::lookedBack);
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
