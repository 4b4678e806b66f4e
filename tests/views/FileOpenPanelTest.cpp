#include "views/FileOpenPanel.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QFileDialog>
#include <QLabel>
#include <QTimer>

#include <fstream>
#include <functional>
#include <string>
#include <vector>

namespace tallywick {
namespace {

namespace fs = std::filesystem;

/// What the user does once the dialog is there.
using Use = std::function<void(QFileDialog& dialog)>;

std::optional<fs::path> chooseFile(const Use& use) {
    FileOpenPanel panel;
    QTimer::singleShot(0, [&use] {
        auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
        ASSERT_NE(dialog, nullptr);
        use(*dialog);
        if (dialog->isVisible()) {
            ADD_FAILURE() << "the dialog stayed open";
            dialog->reject();
        }
    });
    return panel.chooseFile("Select <Codex>", "The native helper, or the app & its content.");
}

Use choosing(const fs::path& path) {
    return [path](QFileDialog& dialog) {
        dialog.selectFile(QString::fromStdString(path.string()));
        static_cast<QDialog&>(dialog).accept();
    };
}

TEST(FileOpenPanel, takesFilesAndApplicationBundlesAndFollowsLinks) {
    const testing::TemporaryFolder folder;
    std::ofstream(folder / "codex") << "a program";
    std::ofstream(folder / ".hidden") << "a program";
    fs::create_symlink(folder / "codex", folder / "link");
    fs::create_directories(folder / "Some.app" / "Contents");
    fs::create_symlink(folder / "Some.app", folder / "Alias.app");
    const std::vector<std::pair<std::string, std::string>> cases{
        {"codex", "codex"},       {".hidden", ".hidden"},    {"link", "codex"},
        {"Some.app", "Some.app"}, {"Alias.app", "Some.app"},
    };
    for (const auto& [chosen, result] : cases)
        EXPECT_EQ(chooseFile(choosing(folder / chosen)), folder / result) << chosen;
}

TEST(FileOpenPanel, showsItsTextsAsTheyStandAndGoesIntoAnyOtherFolder) {
    const testing::TemporaryFolder folder;
    const auto result = chooseFile([&folder](QFileDialog& dialog) {
        EXPECT_EQ(dialog.windowTitle().toStdString(), "Select <Codex>");
        bool showsMessage = false;
        for (const auto* label : dialog.findChildren<QLabel*>())
            showsMessage |= label->isVisible() && label->textFormat() == Qt::PlainText
                            && label->text() == u"The native helper, or the app & its content."_qs;
        EXPECT_TRUE(showsMessage);

        choosing(folder.path())(dialog);
        EXPECT_TRUE(dialog.isVisible());
        EXPECT_EQ(dialog.directory().absolutePath().toStdString(), folder.path());
        dialog.reject();
    });
    EXPECT_EQ(result, std::nullopt);
}

TEST(FileOpenPanel, outlivesTheWindowItStandsOver) {
    auto window = std::make_unique<QWidget>();
    FileOpenPanel panel;
    panel.setParent(window.get());
    QTimer::singleShot(0, [&window] {
        ASSERT_NE(QApplication::activeModalWidget(), nullptr);
        EXPECT_EQ(QApplication::activeModalWidget()->parentWidget(), window.get());
        window.reset();
    });
    EXPECT_EQ(panel.chooseFile("Select", "A file"), std::nullopt);
}

} // namespace
} // namespace tallywick
