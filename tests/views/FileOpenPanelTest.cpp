#include "views/window/FileOpenPanel.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QFileDialog>
#include <QPointer>
#include <QTimer>

#include <fstream>
#include <functional>
#include <memory>
#include <string>

namespace tallywick {
namespace {

namespace fs = std::filesystem;

/// What is chosen by a user who does that once the dialog is there.
std::optional<fs::path> chooseFile(const std::function<void(QFileDialog& dialog)>& use,
                                   QWidget* window = nullptr) {
    FileOpenPanel panel;
    panel.setParent(window);
    QTimer::singleShot(0, [&use] {
        const QPointer dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
        ASSERT_TRUE(dialog);
        use(*dialog);
        if (dialog && dialog->isVisible())
            dialog->reject();
    });
    return panel.chooseFile("Select <Codex>", "The native helper, or the app & its content.");
}

void choose(QFileDialog& dialog, const fs::path& path) {
    dialog.selectFile(QString::fromStdString(path.string()));
    static_cast<QDialog&>(dialog).accept();
}

TEST(FileOpenPanel, TakesFilesLinksAndApplicationBundles) {
    const testing::TemporaryFolder folder;
    std::ofstream(folder / "codex") << "a program";
    std::ofstream(folder / ".hidden") << "a program";
    fs::create_symlink(folder / "codex", folder / "link");
    fs::create_directories(folder / "Some.app" / "Contents");
    fs::create_symlink(folder / "Some.app", folder / "Alias.app");
    for (const char* name : {".hidden", "link", "Some.app", "Alias.app"})
        EXPECT_EQ(chooseFile([&](QFileDialog& dialog) { choose(dialog, folder / name); }),
                  folder / name);
    // Any other folder is entered.
    EXPECT_EQ(chooseFile([&](QFileDialog& dialog) { choose(dialog, folder.path()); }),
              std::nullopt);
}

TEST(FileOpenPanel, OutlivesTheWindowItStandsOver) {
    auto window = std::make_unique<QWidget>();
    EXPECT_EQ(chooseFile([&window](QFileDialog&) { window.reset(); }, window.get()), std::nullopt);
}

} // namespace
} // namespace tallywick
