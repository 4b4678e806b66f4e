#include "views/window/FileOpenPanel.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QGridLayout>
#include <QLabel>

#include <memory>

namespace tallywick {

namespace {

bool isApplicationBundle(const QString& path) {
    const QFileInfo file(path);
    return file.isDir() && file.suffix() == QStringLiteral("app");
}

/// A file dialog that takes an application bundle for a file.
class FileDialog final : public QFileDialog {
  public:
    FileDialog(QWidget* parent, const QString& title, const QString& message)
        : QFileDialog(parent, title, QDir::homePath()) {
        setOption(QFileDialog::DontUseNativeDialog);
        setFileMode(QFileDialog::ExistingFile);
        setFilter(filter() | QDir::Hidden); // programs are often installed in hidden folders
        addMessage(message);
    }

    void accept() override {
        const QStringList files = selectedFiles();
        if (files.size() == 1 && isApplicationBundle(files.front()))
            done(Accepted);
        else
            QFileDialog::accept(); // goes into any other folder
    }

  private:
    void addMessage(const QString& message) {
        auto* grid = qobject_cast<QGridLayout*>(layout());
        if (!grid)
            return;
        auto* label = new QLabel(this);
        label->setTextFormat(Qt::PlainText);
        label->setText(message);
        label->setWordWrap(true);
        grid->addWidget(label, grid->rowCount(), 0, 1, grid->columnCount());
    }
};

} // namespace

std::optional<std::filesystem::path> FileOpenPanel::chooseFile(const std::string& title,
                                                               const std::string& message) {
    QWidget* sheet = QApplication::activeModalWidget();
    QPointer<FileDialog> dialog =
        new FileDialog(sheet ? sheet : parent.data(), QString::fromStdString(title),
                       QString::fromStdString(message));
    const bool isAccepted = dialog->exec() == QDialog::Accepted;
    // What it stands over may have gone meanwhile, and it with that.
    const std::unique_ptr<FileDialog> owned(dialog.data());
    if (!owned || !isAccepted || owned->selectedFiles().isEmpty())
        return std::nullopt;
    return QFile::encodeName(owned->selectedFiles().front()).toStdString();
}

} // namespace tallywick
