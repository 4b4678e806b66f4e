#include "views/sheets/SettingsSections.h"

#include "state/NumberTexts.h"
#include "views/parts/Figures.h"
#include "views/sheets/Sheet.h"

#include <QGridLayout>
#include <QSignalBlocker>
#include <QVBoxLayout>

namespace tallywick {

namespace {

QString connectionText() {
    return QStringLiteral(
        "Uses your existing Codex sign-in. One limited managed-session recovery is allowed; "
        "browser sign-in starts only when you choose it. No chats, passwords, cookies, or "
        "authentication files are read by this utility.");
}

QString localDataText() {
    return QStringLiteral(
        "Up to 14 days or 4,096 quota samples are stored locally. Account identity is SHA-256 "
        "hashed before storage. No usage history is uploaded by this utility.");
}

QString sessionText() {
    return QStringLiteral("The window opens in its last place and leaves the keyboard where it is. "
                          "If you move this app, choose this again.");
}

QString uninstallingText() {
    return QStringLiteral("Uninstall moves this app and its Desktop shortcut to the Trash. Keeping "
                          "your saved settings and history is the default.");
}

QString packageText() {
    return QStringLiteral("The system’s package manager has installed this copy; it also updates "
                          "and removes it.");
}

} // namespace

SettingsSection::SettingsSection(const QString& caption, Sheet& shownIn)
    : QWidget(&shownIn.content()), sheet(shownIn) {
    constexpr int gap = 4; // above the section, beside the column's own spacing
    constexpr int captionGap = 6;
    auto* lines = new QVBoxLayout(this);
    lines->setContentsMargins(0, gap, 0, 0);
    lines->setSpacing(captionGap);
    lines->addWidget(new SheetText(FontRole::caption, SheetText::Ink::secondary, caption, this));
    frame = new SheetCard(sheet.viewStyle(), this);
    lines->addWidget(frame);
}

SheetText* SettingsSection::addExplanation(const QString& text) {
    auto* explanation = new SheetText(FontRole::body, SheetText::Ink::secondary, text, frame);
    frame->column().addWidget(explanation);
    return explanation;
}

QGridLayout* SettingsSection::addButtons(std::initializer_list<UtilityButton*> buttons) {
    constexpr int columns = 2;
    constexpr int spacing = 8;
    auto* grid = new QGridLayout;
    grid->setSpacing(spacing);
    int index = 0;
    for (UtilityButton* button : buttons) {
        grid->addWidget(button, index / columns, index % columns);
        grid->setColumnStretch(index % columns, 1);
        ++index;
    }
    frame->column().addLayout(grid);
    return grid;
}

void SettingsSection::enable(UtilityButton* button, bool enabled) {
    if (!enabled && button == sheet.focusWidget())
        restKeyboardFor(button);
    button->setEnabled(enabled);
    if (!enabled || button != restsFor)
        return;
    restsFor = nullptr;
    if (sheet.focusWidget() == &sheet)
        button->setFocus(Qt::OtherFocusReason);
}

void SettingsSection::restKeyboardFor(UtilityButton* button) {
    restsFor = button;
    sheet.setFocus(Qt::OtherFocusReason);
}

void SettingsSection::offer(UtilityButton* button, bool offered, UtilityButton* heir) {
    if (!offered && button == sheet.focusWidget())
        restKeyboardFor(heir);
    else if (!offered && button == restsFor)
        restsFor = heir;
    button->setVisible(offered);
}

ConnectionSection::ConnectionSection(Sheet& shownIn)
    : SettingsSection(QStringLiteral("Codex connection"), shownIn) {
    addExplanation(connectionText());
    helperPath = new PathLine(sheet.viewStyle(), QStringLiteral("Codex helper"), &card());
    card().column().addWidget(helperPath);
    const auto button = [&](const char16_t* text, UtilityCommand command) {
        accountButtons.push_back(sheet.makeButton(QString::fromUtf16(text), command, card()));
        return accountButtons.back();
    };
    auto* retry = button(u"Retry Connection", UtilityCommand::retryConnection);
    auto* choose = button(u"Choose Codex…", UtilityCommand::chooseHelper);
    auto* automatic = button(u"Use Automatic", UtilityCommand::useAutomaticDiscovery);
    signIn = button(u"Sign In in Browser…", UtilityCommand::startSignIn);
    auto* details = button(u"Copy Connection Details", UtilityCommand::copyConnectionDetails);
    cancelSignIn =
        sheet.makeButton(QStringLiteral("Cancel Sign-In"), UtilityCommand::cancelSignIn, card());
    addButtons({retry, choose, automatic, signIn, details, cancelSignIn});
}

void ConnectionSection::present(const UtilityFields& fields) {
    helperPath->present(QString::fromStdString(fields.displayedHelperPath));
    offerCancel(fields.loginPending);
    for (UtilityButton* button : accountButtons)
        enable(button, !accountActionsBusy(fields));
}

/// The keyboard goes from the button that began the sign-in to the one that ends it, and back.
void ConnectionSection::offerCancel(bool offered) {
    if (offered == cancelSignIn->isVisibleTo(&sheet))
        return;
    if (offered) {
        cancelSignIn->show();
        if (signIn == sheet.focusWidget())
            cancelSignIn->setFocus(Qt::OtherFocusReason);
        return;
    }
    if (cancelSignIn == sheet.focusWidget())
        restKeyboardFor(signIn);
    cancelSignIn->hide();
}

LocalDataSection::LocalDataSection(Sheet& shownIn)
    : SettingsSection(QStringLiteral("Local data"), shownIn) {
    addExplanation(localDataText());
    count = new SheetText(FontRole::strong, SheetText::Ink::text, {}, &card());
    card().column().addWidget(count);
}

void LocalDataSection::present(const UtilityFields& fields) {
    count->setText(QString::fromStdString(historyCountText(fields.historyCount)));
}

UpdateSection::UpdateSection(Sheet& shownIn) : SettingsSection(QStringLiteral("Updates"), shownIn) {
    const auto button = [&](const char16_t* text, UtilityCommand command) {
        return sheet.makeButton(QString::fromUtf16(text), command, card());
    };
    check = button(u"Check for Updates", UtilityCommand::checkForUpdates);
    download = button(u"Download Update", UtilityCommand::downloadUpdate);
    cancel = button(u"Cancel", UtilityCommand::cancelUpdate);
    show = button(u"Show Download", UtilityCommand::showUpdate);
    open = button(u"Open Update", UtilityCommand::openUpdate);
    QSizePolicy keepsItsPlace = download->sizePolicy();
    keepsItsPlace.setRetainSizeWhenHidden(true); // so that the columns stay where they are
    download->setSizePolicy(keepsItsPlace);
    addButtons({check, download, cancel, open})->addWidget(show, 0, 1);
    progress = new SheetProgress(sheet.viewStyle(), QStringLiteral("Download"), &card());
    card().column().addWidget(progress);
    status = new StatusNotice(&card());
    card().column().addWidget(status);
}

void UpdateSection::present(const UtilityFields& fields) {
    setVisible(!fields.isManaged);
    const UpdateFields& updates = fields.updates;
    UtilityButton* heir = updates.offersDownload ? download : updates.offersShow ? show : check;
    offer(download, updates.offersDownload, heir);
    offer(cancel, updates.busy, heir);
    offer(show, updates.offersShow, heir);
    offer(open, updates.offersOpen, heir);
    for (UtilityButton* button : {check, download, show, open})
        enable(button, !updates.busy);

    const QString given = QString::fromStdString(updates.status);
    const QString text = oneLine(given, given.size()); // it wraps, and is bounded by the feed
    progress->setVisible(updates.progress.has_value());
    if (!updates.progress)
        return status->present(text);
    progress->present(updates.progress->received, updates.progress->expected);
    status->setText(text); // the bar tells of its value by itself
}

SessionSection::SessionSection(Sheet& shownIn, const UtilityActions& actions)
    : SettingsSection(QStringLiteral("Start with the session"), shownIn) {
    box = new UtilityCheckBox(sheet.viewStyle(), QStringLiteral("Open Tallywick when I log in"),
                              &card());
    connect(box, &QCheckBox::toggled, this,
            [&actions](bool checked) { actions.setStartsWithSession(checked); });
    card().column().addWidget(box);
    addExplanation(sessionText());
}

void SessionSection::present(const UtilityFields& fields) {
    const QSignalBlocker nobodyChose(box);
    setVisible(fields.offersSessionStart);
    box->setChecked(fields.startsWithSession.value_or(false));
    box->setEnabled(fields.startsWithSession && !fields.installing);
}

NoticesSection::NoticesSection(Sheet& shownIn, const UtilityActions& actions)
    : SettingsSection(QStringLiteral("Notices"), shownIn) {
    box = new UtilityCheckBox(
        sheet.viewStyle(), QStringLiteral("Tell me at 80% and 95%, and when the week begins anew"),
        &card());
    connect(box, &QCheckBox::toggled, this,
            [&actions](bool checked) { actions.setTellsOfUsage(checked); });
    card().column().addWidget(box);
}

void NoticesSection::present(const UtilityFields& fields) {
    const QSignalBlocker nobodyChose(box);
    box->setChecked(fields.tellsOfUsage);
}

InstallationSection::InstallationSection(Sheet& shownIn)
    : SettingsSection(QStringLiteral("Installation"), shownIn) {
    const auto button = [&](const char16_t* text, UtilityCommand command) {
        buttons.push_back(sheet.makeButton(QString::fromUtf16(text), command, card()));
        return buttons.back();
    };
    install = button(u"Install and Open", UtilityCommand::install);
    card().column().addWidget(install);
    auto* create = button(u"Create Desktop Alias", UtilityCommand::createDesktopAlias);
    auto* reveal = button(u"Reveal Alias", UtilityCommand::revealDesktopAlias);
    auto* revealCopy = button(u"Reveal This Copy", UtilityCommand::revealThisCopy);
    auto* setup = button(u"Get Setup", UtilityCommand::openProductPage);
    addButtons({create, reveal, revealCopy, setup});
    uninstallText = addExplanation(uninstallingText());
    managedText = addExplanation(packageText());
    uninstall = button(u"Uninstall…", UtilityCommand::uninstall);
    auto* alone = addButtons({uninstall});
    alone->setColumnStretch(1, 1);
    alone->setContentsMargins(0, 0, alone->spacing(), 0); // an empty column has no gap beside it
}

void InstallationSection::present(const UtilityFields& fields) {
    install->setVisible(fields.offersInstallation);
    uninstall->setVisible(!fields.isManaged);
    uninstallText->setVisible(!fields.isManaged);
    managedText->setVisible(fields.isManaged);
    for (UtilityButton* button : buttons)
        enable(button, !fields.installing);
}

} // namespace tallywick
