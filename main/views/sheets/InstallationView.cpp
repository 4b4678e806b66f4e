#include "views/sheets/InstallationView.h"

#include "views/sheets/SheetParts.h"

#include <QHBoxLayout>
#include <QVBoxLayout>

namespace tallywick {

namespace {

QString title() { return QStringLiteral("Welcome to Tallywick"); }

QString invitation() {
    return QStringLiteral(
        "Install the app in Applications so it is always easy to find. It will automatically "
        "connect to Codex if you are already signed in on this Mac.");
}

QString uninstallHint() { return QStringLiteral("You can uninstall at any time from Settings."); }

} // namespace

InstallationView::InstallationView(const Theme& theme, const UtilityActions& windowActions,
                                   QWidget* window)
    : Sheet(title(), windowActions, UtilityCommand::tryWithoutInstalling, window) {
    using Ink = SheetText::Ink;
    column().addWidget(new SheetText(FontRole::figure, Ink::text, title(), &content()));
    column().addWidget(new SheetText(FontRole::body, Ink::text, invitation(), &content()));
    column().addWidget(new SheetText(FontRole::body, Ink::secondary, uninstallHint(), &content()));
    status = new StatusNotice(&content());
    column().addWidget(status);
    buttonRow().addStretch();
    buttonRow().addWidget(makeDefaultButton(QStringLiteral("Try Without Installing"),
                                            UtilityCommand::tryWithoutInstalling));
    setTheme(theme);
}

void InstallationView::present(const UtilityFields& fields) {
    status->present(QString::fromStdString(fields.settingsStatus));
}

} // namespace tallywick
