#include "views/sheets/InstallationView.h"

#include "views/sheets/SheetParts.h"

#include <QHBoxLayout>
#include <QSignalBlocker>
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

QString installText() { return QStringLiteral("Install and Open"); }

} // namespace

InstallationView::InstallationView(const Theme& theme, const UtilityActions& windowActions,
                                   QWidget* window)
    : Sheet(title(), windowActions, UtilityCommand::tryWithoutInstalling, window) {
    using Ink = SheetText::Ink;
    column().addWidget(new SheetText(FontRole::figure, Ink::text, title(), &content()));
    column().addWidget(new SheetText(FontRole::body, Ink::text, invitation(), &content()));
    shortcut =
        new UtilityCheckBox(viewStyle(), QStringLiteral("Create a Desktop shortcut"), &content());
    connect(shortcut, &QCheckBox::toggled, this,
            [&windowActions](bool checked) { windowActions.setCreateShortcut(checked); });
    column().addWidget(shortcut);
    column().addWidget(new SheetText(FontRole::body, Ink::secondary, uninstallHint(), &content()));
    status = new StatusNotice(&content());
    column().addWidget(status);
    buttonRow().addStretch();
    buttonRow().addWidget(makeButton(QStringLiteral("Try Without Installing"),
                                     UtilityCommand::tryWithoutInstalling, footer()));
    install = makeDefaultButton(installText(), UtilityCommand::install);
    buttonRow().addWidget(install);
    setTheme(theme);
}

void InstallationView::present(const UtilityFields& fields) {
    const QSignalBlocker presenting(shortcut); // is no wish of the user's
    shortcut->setChecked(fields.createShortcutOnInstall);
    install->setText(fields.installing ? QStringLiteral("Installing…") : installText());
    status->present(QString::fromStdString(fields.settingsStatus));
}

} // namespace tallywick
