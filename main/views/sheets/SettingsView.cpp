#include "views/sheets/SettingsView.h"

#include "state/NumberTexts.h"
#include "views/parts/Figures.h"
#include "views/sheets/SheetParts.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QVBoxLayout>

#include <initializer_list>
#include <utility>

namespace tallywick {

namespace {

constexpr int buttonSpacing = 8;
constexpr int footerButtonWidth = 104;
constexpr int lineSpacing = 3;
constexpr int sectionGap = 4; ///< above a section, beside the column's own spacing
constexpr int captionGap = 6; ///< below its caption

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

/// Buttons in two columns of one width, row by row.
void addButtons(SheetCard& card, std::initializer_list<UtilityButton*> buttons) {
    constexpr int columns = 2;
    auto* grid = new QGridLayout;
    grid->setSpacing(buttonSpacing);
    int index = 0;
    for (UtilityButton* button : buttons) {
        grid->addWidget(button, index / columns, index % columns);
        grid->setColumnStretch(index % columns, 1);
        ++index;
    }
    card.column().addLayout(grid);
}

} // namespace

SettingsView::SettingsView(const Theme& theme, UtilityActions given, QWidget* window)
    : Sheet(QStringLiteral("Utility Settings"), given.closeSettings, window),
      actions(std::move(given)) {
    addHeader();
    addConnection();
    addLocalData();
    addFooter();
    setTheme(theme);
}

void SettingsView::addHeader() {
    auto* lines = new QVBoxLayout;
    lines->setSpacing(lineSpacing);
    lines->addWidget(new SheetText(FontRole::title, SheetText::Ink::text,
                                   QStringLiteral("UTILITY SETTINGS"), &content()));
    for (SheetText** line : {&version, &installation}) {
        *line = new SheetText(FontRole::body, SheetText::Ink::secondary, {}, &content());
        lines->addWidget(*line);
    }
    column().addLayout(lines);
    status = new StatusNotice(&content());
    column().addWidget(status);
}

SheetCard& SettingsView::addSection(const QString& caption) {
    auto* section = new QVBoxLayout;
    section->setContentsMargins(0, sectionGap, 0, 0);
    section->setSpacing(captionGap);
    section->addWidget(
        new SheetText(FontRole::caption, SheetText::Ink::secondary, caption, &content()));
    auto* card = new SheetCard(viewStyle(), &content());
    section->addWidget(card);
    column().addLayout(section);
    return *card;
}

void SettingsView::addConnection() {
    SheetCard& card = addSection(QStringLiteral("Codex connection"));
    card.column().addWidget(
        new SheetText(FontRole::body, SheetText::Ink::secondary, connectionText(), &card));
    helperPath = new PathLine(viewStyle(), QStringLiteral("Codex helper"), &card);
    card.column().addWidget(helperPath);

    const auto button = [&](const char16_t* text, const Action& action) {
        accountButtons.push_back(makeButton(QString::fromUtf16(text), action, card));
        return accountButtons.back();
    };
    auto* retry = button(u"Retry Connection", actions.retryConnection);
    auto* choose = button(u"Choose Codex…", actions.chooseHelper);
    auto* automatic = button(u"Use Automatic", actions.useAutomaticDiscovery);
    signIn = button(u"Sign In in Browser…", actions.startSignIn);
    auto* details = button(u"Copy Connection Details", actions.copyConnectionDetails);
    cancelSignIn = makeButton(QStringLiteral("Cancel Sign-In"), actions.cancelSignIn, card);
    addButtons(card, {retry, choose, automatic, signIn, details, cancelSignIn});
}

void SettingsView::addLocalData() {
    SheetCard& card = addSection(QStringLiteral("Local data"));
    card.column().addWidget(
        new SheetText(FontRole::body, SheetText::Ink::secondary, localDataText(), &card));
    historyCount = new SheetText(FontRole::strong, SheetText::Ink::text, {}, &card);
    card.column().addWidget(historyCount);
}

void SettingsView::addFooter() {
    UtilityButton* setup =
        makeButton(QStringLiteral("Get Setup"), actions.openProductPage, footer());
    UtilityButton* done = makeDefaultButton(QStringLiteral("Done"), actions.closeSettings);
    buttonRow().addWidget(setup);
    buttonRow().addStretch();
    buttonRow().addWidget(done);
    for (UtilityButton* button : {setup, done})
        button->setMinimumWidth(footerButtonWidth);
}

void SettingsView::present(const UtilityFields& fields, const ApplicationTexts& texts) {
    // A label does nothing when it is given the text that it has.
    version->setText(QStringLiteral("Mac v") + texts.appVersion);
    installation->setText(texts.installationLabel);
    status->present(QString::fromStdString(fields.settingsStatus));
    helperPath->present(QString::fromStdString(fields.displayedHelperPath));
    offerCancel(fields.loginPending);
    enableAccountButtons(!accountActionsBusy(fields));
    historyCount->setText(QString::fromStdString(historyCountText(fields.history.size())));
}

/// The keyboard goes from the button that began the sign-in to the one that ends it, and back.
void SettingsView::offerCancel(bool offered) {
    if (offered == cancelSignIn->isVisibleTo(this))
        return;
    if (offered) {
        cancelSignIn->show();
        if (signIn == focusWidget())
            cancelSignIn->setFocus(Qt::OtherFocusReason);
        return;
    }
    if (cancelSignIn == focusWidget())
        restKeyboardFor(signIn);
    cancelSignIn->hide();
}

/// A refresh disables them for a moment. The toolkit would carry the keyboard to another button;
/// here it rests with the sheet and comes back.
void SettingsView::enableAccountButtons(bool enabled) {
    for (UtilityButton* button : accountButtons) {
        if (!enabled && button == focusWidget())
            restKeyboardFor(button);
        button->setEnabled(enabled);
    }
    if (enabled && restsFor && focusWidget() == this)
        restsFor->setFocus(Qt::OtherFocusReason);
    if (enabled)
        restsFor = nullptr;
}

void SettingsView::restKeyboardFor(UtilityButton* button) {
    restsFor = button;
    setFocus(Qt::OtherFocusReason);
}

} // namespace tallywick
