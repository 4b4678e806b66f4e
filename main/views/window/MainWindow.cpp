#include "views/window/MainWindow.h"

#include "platform/desktop/WindowActivation.h"
#include "platform/desktop/WindowSystem.h"
#include "platform/desktop/Workspace.h"
#include "state/UtilityState.h"
#include "views/look/Painting.h"
#include "views/look/Theme.h"
#include "views/parts/Menus.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QApplication>
#include <QContextMenuEvent>
#include <QGuiApplication>
#include <QIcon>
#include <QMenuBar>
#include <QMouseEvent>
#include <QPixmap>
#include <QScreen>
#include <QToolTip>
#include <QWindow>

#include <chrono>
#include <functional>
#include <utility>

namespace tallywick {

namespace {

void perform(UtilityState& state, UtilityCommand command) {
    switch (command) {
    case UtilityCommand::showUtility:
        return state.showUtility();
    case UtilityCommand::toggleLayout:
        return state.toggleLayout();
    case UtilityCommand::toggleTheme:
        return state.toggleTheme();
    case UtilityCommand::refresh:
        return state.refreshNow();
    case UtilityCommand::quit:
        return state.quit();
    case UtilityCommand::endResize:
        return state.endResize();
    case UtilityCommand::openSettings:
        return state.setShowingSettings(true);
    case UtilityCommand::closeSettings:
        return state.setShowingSettings(false);
    case UtilityCommand::openHomePage:
        return state.openHomePage();
    case UtilityCommand::openProductPage:
        return state.openProductPage();
    case UtilityCommand::mailProductPage:
        return state.shareByMail();
    case UtilityCommand::copyProductAddress:
        return state.copyProductAddress();
    case UtilityCommand::retryConnection:
        return state.reloadConnection();
    case UtilityCommand::chooseHelper:
        return state.chooseHelper();
    case UtilityCommand::useAutomaticDiscovery:
        return state.useAutomaticDiscovery();
    case UtilityCommand::startSignIn:
        return state.startSignIn();
    case UtilityCommand::cancelSignIn:
        return state.cancelSignIn();
    case UtilityCommand::copyConnectionDetails:
        return state.copyConnectionDetails();
    case UtilityCommand::checkForUpdates:
        return state.checkForUpdates();
    case UtilityCommand::downloadUpdate:
        return state.downloadUpdate();
    case UtilityCommand::cancelUpdate:
        return state.cancelUpdate();
    case UtilityCommand::showUpdate:
        return state.showUpdate();
    case UtilityCommand::openUpdate:
        return state.openUpdate();
    case UtilityCommand::tryWithoutInstalling:
        return state.setShowingInstaller(false);
    case UtilityCommand::install:
        return state.install();
    case UtilityCommand::createDesktopAlias:
        return state.createDesktopAlias();
    case UtilityCommand::revealDesktopAlias:
        return state.revealDesktopAlias();
    case UtilityCommand::revealThisCopy:
        return state.revealThisCopy();
    case UtilityCommand::uninstall:
        return state.uninstall();
    }
}

UtilityActions actionsOf(UtilityState& state, std::function<bool()> startSystemResize) {
    return {
        .perform = [&state](UtilityCommand command) { perform(state, command); },
        .setPinned = [&state](bool pinned) { state.choosePinned(pinned); },
        .setCreateShortcut = [&state](bool create) { state.setCreateShortcutOnInstall(create); },
        .setStartsWithSession = [&state](bool starts) { state.chooseSessionStart(starts); },
        .setTellsOfUsage = [&state](bool tells) { state.chooseUsageNotices(tells); },
        .openVolume = [&state](const VolumeInfo& volume) { state.openVolume(volume); },
        .startSystemResize = std::move(startSystemResize),
        .resizeBy = [&state](double dx, double dy) { state.resizeBy(dx, dy); },
    };
}

constexpr std::chrono::milliseconds settlingTime{500};
/// While the compositor resizes, the user may pause with the mouse held.
constexpr std::chrono::milliseconds grippedTime{3000};

/// Some compositors take the largest size for that of the window with its decoration.
constexpr QSize decorationSlack{80, 80};

QString titleOf(const UtilityState& state) {
    return state.isPreviewBuild() ? QStringLiteral("Corvane — Tallywick — Preview")
                                  : QStringLiteral("Corvane — Tallywick");
}

/// In the sizes that title bars, task lists and switchers show; each is drawn for its own.
QIcon applicationIcon() {
    QIcon icon;
    for (const int size : {16, 32, 64, 128})
        icon.addPixmap(QPixmap::fromImage(builtInPicture(QStringLiteral("icon-%1.png").arg(size))));
    return icon;
}

/// To a screen reader, any other widget that is a window is a mere container. This one holds the
/// menu that is open over it as well, which the toolkit leaves out.
class AccessibleWindow final : public QAccessibleWidget {
  public:
    explicit AccessibleWindow(QWidget* window) : QAccessibleWidget(window, QAccessible::Window) {}

    int childCount() const override { return ownChildren() + (menu() ? 1 : 0); }
    QAccessibleInterface* child(int index) const override {
        return index == ownChildren() && menu() ? QAccessible::queryAccessibleInterface(menu())
                                                : QAccessibleWidget::child(index);
    }
    int indexOfChild(const QAccessibleInterface* child) const override {
        return child && menu() && child->object() == menu()
                   ? ownChildren()
                   : QAccessibleWidget::indexOfChild(child);
    }

  private:
    int ownChildren() const { return QAccessibleWidget::childCount(); }
    PopupMenu* menu() const { return PopupMenu::openOver(widget()); }
};

QAccessibleInterface* makeAccessibleWindow(const QString& /*className*/, QObject* object) {
    auto* window = qobject_cast<MainWindow*>(object);
    return window ? new AccessibleWindow(window) : nullptr;
}

} // namespace

MainWindow::MainWindow(UtilityState& shown)
    : state(shown), actions(actionsOf(shown, [this] { return startSystemResize(); })),
      view(actions, this), menu(actions, this), sheets(this, actions) {
    QAccessible::installFactory(makeAccessibleWindow);
    setWindowTitle(titleOf(state));
    setWindowIcon(applicationIcon());
    addActions(menu.actions());
    offerMenuToDesktop();
    settling.setSingleShot(true);
    qApp->installEventFilter(this);
    connect(&settling, &QTimer::timeout, this, &MainWindow::settle);
    connect(&state, &UtilityState::changed, this, [this] {
        if (exposed)
            present();
    });
    watchScreens();
    state.attachWindow(this);
    present();
}

MainWindow::~MainWindow() { state.attachWindow(nullptr); }

void MainWindow::setColors(const ColorPreferences& preferences) {
    view.setColors(preferences);
    present();
}

void MainWindow::present() {
    const UtilityFields& fields = state.fields();
    view.present(fields, state.maximumContentHeight());
    colorTheRest();
    menu.present(fields);
    sheets.present(fields, view.viewStyle().theme,
                   {QString::fromStdString(state.appVersion()),
                    QString::fromStdString(state.installationLabel())});
}

/// Menus, tooltips and dialogs wear the theme as the views do.
void MainWindow::colorTheRest() {
    const Theme& theme = view.viewStyle().theme;
    if (theme == worn)
        return;
    worn = theme;
    const QPalette palette = paletteOf(theme);
    QApplication::setPalette(palette);
    QToolTip::setPalette(palette);
}

/// A desktop that shows menus itself gets ours; inside the window a menu bar would take height from
/// the layout.
void MainWindow::offerMenuToDesktop() {
    if (!desktopShowsMenus())
        return;
    auto* bar = new QMenuBar(this);
    bar->addMenu(&menu);
    if (!bar->isNativeMenuBar())
        delete bar;
}

void MainWindow::watchScreens() {
    const auto changed = [this] { state.screenParametersDidChange(); };
    const auto watch = [this, changed](const QScreen* screen) {
        connect(screen, &QScreen::availableGeometryChanged, this, changed);
    };
    for (const QScreen* screen : QGuiApplication::screens())
        watch(screen);
    connect(qGuiApp, &QGuiApplication::screenAdded, this, watch);
    connect(qGuiApp, &QGuiApplication::screenAdded, this, changed);
    connect(qGuiApp, &QGuiApplication::screenRemoved, this, changed);
}

bool MainWindow::isVisible() const { return exposed && QWidget::isVisible(); }

bool MainWindow::isMinimised() const { return isMinimized(); }

bool MainWindow::isZoomed() const { return isMaximized() || isFullScreen(); }

QRectF MainWindow::frame() const {
    return canBePlaced() ? frameGeometry() : QRect(askedPlace, frameGeometry().size());
}

bool MainWindow::canBePlaced() const { return windowsCanBePlaced(); }

QSizeF MainWindow::contentSize() const { return size(); }

/// Of the screen with the window's middle: before the window is first shown, Qt knows no better
/// than the main screen.
std::optional<QRectF> MainWindow::visibleScreenFrame() const {
    const QScreen* own = QGuiApplication::screenAt(frameGeometry().center());
    if (!own)
        own = QGuiApplication::primaryScreen();
    return own ? std::optional<QRectF>(own->availableGeometry()) : std::nullopt;
}

void MainWindow::setFrame(QRectF frame) {
    const QRect outer = frame.toRect();
    const QSize content = outer.size() - (frameGeometry().size() - size());
    if (QWindow* window = windowHandle()) { // lets it through
        window->setMinimumSize(window->minimumSize().boundedTo(content));
        window->setMaximumSize(window->maximumSize().expandedTo(content));
    }
    askedPlace = outer.topLeft();
    if (pos() != askedPlace)
        move(askedPlace);
    resize(content);
    applyLimits();
}

void MainWindow::setContentLimits(QSizeF minimum, QSizeF maximum) {
    minimumContent = minimum.toSize();
    maximumContent = maximum.toSize();
    applyLimits();
}

/// Limits that the present size does not keep wait for the frame that does: Qt would resize the
/// window at once, to a size that nobody asked for. So do all limits before the window is made.
///
/// On Wayland there are none at first: of a tile, Qt would fill no more than they allow. A window
/// that has its own size holds it, since some compositors resend an old size with every change of
/// the focus.
void MainWindow::applyLimits() {
    QWindow* const window = windowHandle();
    if (!window || (!canBePlaced() && !holdsSize)
        || size().expandedTo(minimumContent).boundedTo(maximumContent) != size())
        return;
    window->setMinimumSize(holdsSize ? size() : minimumContent);
    window->setMaximumSize(holdsSize ? size() : maximumContent);
}

/// Only a size that comes from the compositor is not undone by it.
bool MainWindow::startSystemResize() {
    if (canBePlaced())
        return false;
    holdsSize = false;
    isGripped = true;
    settling.start(grippedTime);
    windowHandle()->setMinimumSize(minimumContent);
    windowHandle()->setMaximumSize(maximumContent + decorationSlack);
    return windowHandle()->startSystemResize(Qt::BottomEdge | Qt::RightEdge);
}

/// Told to the window system alone: a widget given another flag is hidden and made anew.
void MainWindow::setFloating(bool floating) {
    overrideWindowFlags(windowFlags().setFlag(Qt::WindowStaysOnTopHint, floating));
    if (QWindow* window = windowHandle())
        window->setFlag(Qt::WindowStaysOnTopHint, floating);
}

void MainWindow::showInFront(const std::string& launchToken) {
    setWindowState(windowState() & ~Qt::WindowMinimized);
    show();
    raise();
    bringToFront(*windowHandle(), launchToken);
}

void MainWindow::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    windowHandle()->installEventFilter(this);
    applyLimits();
}

bool MainWindow::eventFilter(QObject* watched, QEvent* event) {
    // Qt asks every window whether it lets the program end: a sheet waits for the state and says
    // no.
    if (event->type() == QEvent::Quit && watched == qApp)
        sheets.endAll();
    const bool handled = QWidget::eventFilter(watched, event);
    // The compositor has let go of the mouse, which it kept to itself.
    if (watched == windowHandle() && event->type() == QEvent::Enter && isGripped)
        settling.start(settlingTime);
    if (watched == windowHandle() && event->type() == QEvent::Expose)
        exposureDidChange();
    return handled;
}

void MainWindow::exposureDidChange() {
    if (windowHandle()->isExposed() == exposed)
        return;
    exposed = windowHandle()->isExposed();
    if (!exposed)
        return;
    present();
    settling.start(settlingTime);
    state.applyWindowConfiguration(); // the decoration is known now
    state.applicationDidUnhide();
    state.tick();
}

void MainWindow::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    view.setGeometry(rect());
    state.syncLayoutWithSize();
    settling.start(isGripped ? grippedTime : settlingTime);
}

void MainWindow::moveEvent(QMoveEvent* event) {
    QWidget::moveEvent(event);
    settling.start(settlingTime);
}

void MainWindow::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() != QEvent::WindowStateChange)
        return;
    state.syncLayoutWithSize();
    settling.start(settlingTime);
}

void MainWindow::settle() {
    if (!exposed) // begins anew when it is, perhaps with another size
        return;
    // A size that the desktop has refused is still the widget's, as far as Qt knows.
    if (const QSize given = windowHandle()->size(); given != size())
        resize(given);
    if (std::exchange(isGripped, false))
        resize(size().expandedTo(minimumContent).boundedTo(maximumContent));
    state.windowDidSettle();
    holdsSize = !canBePlaced() && !state.fields().sizeIsImposed;
    applyLimits();
}

void MainWindow::closeEvent(QCloseEvent* event) {
    state.windowDidSettle();
    QWidget::closeEvent(event);
}

void MainWindow::contextMenuEvent(QContextMenuEvent* event) { menu.popup(event->globalPos()); }

void MainWindow::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton && !canBePlaced())
        windowHandle()->startSystemMove();
    else
        QWidget::mousePressEvent(event);
}

} // namespace tallywick
