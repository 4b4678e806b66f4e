#pragma once

#include "views/InstallationView.h"
#include "views/SettingsView.h"
#include "views/SheetHost.h"
#include "views/ViewHarness.h"

#include <gtest/gtest.h>

#include <QApplication>

#include <string>

namespace tallywick::testing {

/// Lets everything happen that has been posted: layouts, deletions, paint events.
inline void settle() {
    for (int pass = 0; pass < 4; ++pass) {
        QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QApplication::processEvents();
    }
}

/// A window with its sheets, and the names of the actions that were called.
class SheetsFixture : public ::testing::Test {
  protected:
    void SetUp() override {
        window.resize(500, 225);
        window.show();
        fields.displayedHelperPath = "/opt/codex/codex";
    }
    void TearDown() override {
        host.endAll();
        settle();
    }

    void present() {
        host.present(fields, theme, texts);
        settle();
    }
    void openSettings() {
        fields.showingSettings = true;
        present();
    }
    void openInstaller() {
        fields.showingInstaller = true;
        present();
    }

    SettingsView* settings() { return window.findChild<SettingsView*>(); }
    InstallationView* installer() { return window.findChild<InstallationView*>(); }

    /// The visible buttons of a sheet, in the order in which they were made; "-" marks a disabled
    /// one.
    static Strings buttonsOf(const QWidget* sheet) {
        Strings names;
        for (const auto* button : sheet->findChildren<UtilityButton*>())
            if (button->isVisible())
                names.push_back((button->isEnabled() ? "" : "-") + button->text().toStdString());
        return names;
    }

    static UtilityButton* button(const QWidget* sheet, const std::string& text) {
        for (auto* candidate : sheet->findChildren<UtilityButton*>())
            if (candidate->text().toStdString() == text)
                return candidate;
        return nullptr;
    }

    Strings calls;
    QWidget window;
    UtilityFields fields;
    Theme theme = makeTheme(false, {});
    ApplicationTexts texts{u"0.6.0"_qs, u"Installed in Applications"_qs};
    SheetHost host{&window, recordingActions(calls)};
};

} // namespace tallywick::testing
