#include "views/sheets/SettingsView.h"

#include <QHBoxLayout>
#include <QVBoxLayout>

namespace tallywick {

SettingsView::SettingsView(const Theme& theme, const UtilityActions& windowActions, QWidget* window)
    : Sheet(QStringLiteral("Utility Settings"), windowActions, UtilityCommand::closeSettings,
            window) {
    addHeader();
    sections = {new ConnectionSection(*this),
                new LocalDataSection(*this),
                new UpdateSection(*this),
                new SessionSection(*this, windowActions),
                new NoticesSection(*this, windowActions),
                new InstallationSection(*this)};
    for (SettingsSection* section : sections)
        column().addWidget(section);
    addFooter();
    setTheme(theme);
}

void SettingsView::addHeader() {
    constexpr int lineSpacing = 3;
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

void SettingsView::addFooter() {
    constexpr int buttonWidth = 104;
    UtilityButton* done = makeDefaultButton(QStringLiteral("Done"), UtilityCommand::closeSettings);
    done->setMinimumWidth(buttonWidth);
    buttonRow().addStretch();
    buttonRow().addWidget(done);
}

void SettingsView::present(const UtilityFields& fields, const ApplicationTexts& texts) {
    // A label does nothing when it is given the text that it has.
    version->setText(QStringLiteral("Mac v") + texts.appVersion);
    installation->setText(texts.installationLabel);
    const QString result = QString::fromStdString(fields.settingsStatus);
    if (!result.isEmpty() && result != status->text())
        scrollToTop(); // where it is read
    status->present(result);
    for (SettingsSection* section : sections)
        section->present(fields);
}

} // namespace tallywick
