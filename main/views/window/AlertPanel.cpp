#include "views/window/AlertPanel.h"

#include "views/sheets/Sheet.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QVBoxLayout>

#include <memory>
#include <utility>

namespace tallywick {

namespace {

/// It performs no command: whoever has asked waits for its answer.
const UtilityActions& noActions() {
    static const UtilityActions none;
    return none;
}

class AlertSheet final : public Sheet {
  public:
    AlertSheet(const Alert& alert, const Theme& theme, QWidget* parent)
        : Sheet(QString::fromStdString(alert.message), noActions(), std::nullopt, parent) {
        using Ink = SheetText::Ink;
        setWindowModality(Qt::ApplicationModal);
        addText(FontRole::strong, Ink::text, alert.message);
        addText(FontRole::body, Ink::secondary, alert.information);
        if (alert.checkBox) {
            box = new UtilityCheckBox(viewStyle(), QString::fromStdString(*alert.checkBox),
                                      &content());
            column().addWidget(box);
        }
        buttonRow().addStretch();
        addButton(QStringLiteral("Cancel"), UtilityButton::Treatment::plain, &QDialog::reject);
        auto* confirm = addButton(QString::fromStdString(alert.confirm),
                                  UtilityButton::Treatment::prominent, &QDialog::accept);
        confirm->setDefault(true);
        confirm->setFocus();
        setTheme(theme);
    }

    bool isChecked() const { return box && box->isChecked(); }

  private:
    void addText(FontRole role, SheetText::Ink ink, const std::string& text) {
        column().addWidget(new SheetText(role, ink, QString::fromStdString(text), &content()));
    }

    UtilityButton* addButton(const QString& text, UtilityButton::Treatment treatment,
                             void (QDialog::*press)()) {
        auto* button = new UtilityButton(viewStyle(), text, Symbol::none, treatment, &footer());
        connect(button, &QAbstractButton::clicked, this, press);
        buttonRow().addWidget(button);
        return button;
    }

    UtilityCheckBox* box = nullptr;
};

} // namespace

void AlertPanel::setWindow(QWidget* shown, std::function<Theme()> worn) {
    window = shown;
    theme = std::move(worn);
}

AlertAnswer AlertPanel::ask(const Alert& alert) {
    QWidget* const sheet = QApplication::activeModalWidget();
    QWidget* const below = sheet ? sheet : window.data();
    const QPointer<WindowShade> shade = below ? new WindowShade(below) : nullptr;
    const QPointer<AlertSheet> dialog = new AlertSheet(alert, theme(), below);
    const bool isConfirmed = dialog->exec() == QDialog::Accepted;
    // What they stand over may have gone meanwhile, and they with that.
    delete shade.data();
    const std::unique_ptr<AlertSheet> owned(dialog.data());
    if (!owned || !isConfirmed)
        return {};
    return {true, owned->isChecked()};
}

} // namespace tallywick
