#include "views/sheets/SettingsSections.h"

#include "state/NumberTexts.h"
#include "views/parts/Figures.h"
#include "views/sheets/Sheet.h"

#include <QGridLayout>
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

void SettingsSection::addExplanation(const QString& text) {
    frame->column().addWidget(
        new SheetText(FontRole::body, SheetText::Ink::secondary, text, frame));
}

void SettingsSection::addButtons(std::initializer_list<UtilityButton*> buttons) {
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

} // namespace tallywick
