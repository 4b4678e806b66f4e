#include "UtilityApp/RenderCommand.h"

#include "UtilityApp/Scenarios.h"
#include "UtilityApp/SystemServices.h"
#include "base/Product.h"
#include "state/WindowSizing.h"
#include "views/layouts/UtilityView.h"
#include "views/sheets/InstallationView.h"
#include "views/sheets/SettingsView.h"

#include <QApplication>
#include <QEventLoop>
#include <QFile>
#include <QImage>
#include <QTimer>

#include <cstdio>
#include <cstdlib>

namespace tallywick {

namespace {

constexpr std::chrono::seconds longestReading{20};

/// Stands for the window while there is none: a full layout that can be seen.
class Canvas final : public UtilityWindow {
  public:
    bool isVisible() const override { return true; }
    bool isMinimised() const override { return false; }
    bool isZoomed() const override { return false; }
    QRectF frame() const override { return {QPointF(), contentSize()}; }
    QSizeF contentSize() const override { return WindowSizing::fullBaseSize; }
    std::optional<QRectF> visibleScreenFrame() const override { return std::nullopt; }
    bool canBePlaced() const override { return true; }
    void setFrame(QRectF) override {}
    void setContentLimits(QSizeF, QSizeF) override {}
    void setFloating(bool) override {}
    void showInFront(const std::string&) override {}
};

bool isComplete(const UtilityFields& fields) {
    return !fields.accountBusy && fields.status != Status::Kind::findingCodex && fields.cpuPercent
           && !fields.volumes.empty();
}

/// What the window would show now. Its size and its place are not kept.
UtilityFields currentFields(const std::optional<std::filesystem::path>& helper) {
    SystemServices services(helper);
    constexpr bool showsInstaller = false;
    Canvas canvas;
    UtilityState state(services.forState(showsInstaller, nullptr));
    state.attachWindow(&canvas);
    state.refreshNow();
    QEventLoop loop;
    QObject::connect(&state, &UtilityState::changed, &loop, [&] {
        if (isComplete(state.fields()))
            loop.quit();
    });
    QTimer::singleShot(longestReading, &loop, &QEventLoop::quit);
    loop.exec();
    state.attachWindow(nullptr);
    return state.fields();
}

/// The widget as it is drawn on a screen of this scale.
QImage pictureOf(QWidget& widget, double scale) {
    const bool hasCorners = widget.mask().isEmpty(); // a sheet has none
    QImage picture((QSizeF(widget.size()) * scale).toSize(),
                   hasCorners ? QImage::Format_RGB32 : QImage::Format_ARGB32);
    picture.fill(Qt::transparent);
    picture.setDevicePixelRatio(scale);
    widget.render(&picture);
    return picture;
}

template <typename SheetType, typename... Shown>
QImage sheetPicture(const PictureOptions& options, const Shown&... shown) {
    const UtilityActions none;
    SheetType sheet(makeTheme(options.light, {}), none, nullptr);
    sheet.present(shown...);
    sheet.show();                         // takes the size that its content needs
    QCoreApplication::sendPostedEvents(); // and lays the content out in it
    return pictureOf(sheet, options.scale);
}

QImage windowPicture(const PictureOptions& options, UtilityFields fields) {
    fields.mini = options.mini;
    fields.light = options.light;
    const double availableHeight = WindowSizing::maximumContentHeight({}, {});
    const QSizeF size = options.mini
                            ? WindowSizing::miniSize
                            : WindowSizing::fullSize(fields.volumes.size(), availableHeight);
    const UtilityActions none;
    UtilityView view(none);
    view.resize(size.toSize());
    view.present(fields, availableHeight);
    return pictureOf(view, options.scale);
}

QImage draw(const PictureOptions& options, const UtilityFields& fields) {
    switch (options.sheet) {
    case PictureOptions::Sheet::settings:
        return sheetPicture<SettingsView>(
            options, fields,
            ApplicationTexts{QLatin1String(Product::version),
                             QString::fromStdString(
                                 installationLabel(false, !fields.offersInstallation, true))});
    case PictureOptions::Sheet::welcome:
        return sheetPicture<InstallationView>(options, fields);
    case PictureOptions::Sheet::none:
        break;
    }
    return windowPicture(options, fields);
}

int fail(const char* sentence) {
    static_cast<void>(std::fprintf(stderr, "%s\n", sentence));
    return EXIT_FAILURE;
}

} // namespace

int runRender(const CommandLine& commandLine, int argc, char** argv) {
    ::qputenv("QT_QPA_PLATFORM", "offscreen");
    // What the toolkit finds missing without a desktop is nobody's concern here.
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    const QApplication application(argc, argv);
    const PictureOptions& options = commandLine.picture;
    const auto fields =
        options.scenario ? scenario(*options.scenario) : currentFields(commandLine.helper);
    waitForWorkToEnd();
    if (!fields)
        return fail("There is no scenario of that name.");
    if (!draw(options, *fields).save(QFile::decodeName(options.file.c_str()), "PNG"))
        return fail("The picture could not be written.");
    return EXIT_SUCCESS;
}

} // namespace tallywick
