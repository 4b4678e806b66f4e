#include "views/sheets/SheetHost.h"

#include "views/sheets/InstallationView.h"

#include <utility>

namespace tallywick {

namespace {

/// Gone for the user now, and for good once whatever it is doing has returned: the action that ends
/// a sheet may be one of its own.
template <typename SheetType>
void end(QPointer<SheetType>& place) {
    const QPointer<SheetType> sheet = std::exchange(place, nullptr);
    if (!sheet)
        return;
    sheet->hide();
    sheet->deleteLater();
}

} // namespace

SheetHost::SheetHost(QWidget* shownWindow, const UtilityActions& given)
    : window(shownWindow), actions(given) {}

SheetHost::~SheetHost() {
    delete settings.sheet.data();
    delete installer.sheet.data();
    delete shade.data();
}

void SheetHost::present(const UtilityFields& fields, const Theme& theme,
                        const ApplicationTexts& texts) {
    follow(settings, fields.showingSettings, theme, fields, texts);
    follow(installer, fields.showingInstaller, theme, fields);
    shadeWindow();
}

void SheetHost::shadeWindow() {
    if (!settings.sheet && !installer.sheet)
        delete shade.data();
    else if (!shade)
        shade = new WindowShade(window);
}

template <typename SheetType, typename... Shown>
void SheetHost::follow(Place<SheetType>& place, bool wanted, const Theme& theme,
                       const Shown&... shown) {
    place.wanted = wanted;
    if (!wanted) {
        place.ended = false;
        end(place.sheet);
        return;
    }
    const bool isNew = !place.sheet;
    if (isNew) {
        if (place.ended || !window->isVisible())
            return;
        place.sheet = new SheetType(theme, actions, window);
    }
    place.sheet->setTheme(theme);
    place.sheet->present(shown...);
    if (isNew)
        place.sheet->open();
}

void SheetHost::endAll() {
    settings.ended = settings.wanted;
    installer.ended = installer.wanted;
    end(settings.sheet);
    end(installer.sheet);
    shadeWindow();
}

} // namespace tallywick
