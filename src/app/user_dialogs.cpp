#include "app/user_dialogs.h"

#include <QAbstractItemView>
#include <QDialog>
#include <QFileDialog>
#include <QListView>
#include <QMessageBox>
#include <QPushButton>
#include <QTreeView>

namespace slidebox::app {

namespace {

class DesktopDialogs final : public UserDialogs {
  public:
    std::optional<std::vector<std::filesystem::path>>
    chooseFolders(QWidget* parent, const std::filesystem::path& startFolder) override {
        QFileDialog dialog(parent);
        dialog.setFileMode(QFileDialog::Directory);
        dialog.setOption(QFileDialog::ShowDirsOnly, true);
        // The desktop's native choosers take one folder at a time; Qt's own
        // takes several once its views allow an extended selection.
        dialog.setOption(QFileDialog::DontUseNativeDialog, true);
        dialog.setDirectory(QFile::decodeName(startFolder.c_str()));
        for (auto* view : dialog.findChildren<QListView*>(QStringLiteral("listView")))
            view->setSelectionMode(QAbstractItemView::ExtendedSelection);
        for (auto* view : dialog.findChildren<QTreeView*>())
            view->setSelectionMode(QAbstractItemView::ExtendedSelection);
        if (dialog.exec() != QDialog::Accepted)
            return std::nullopt;
        std::vector<std::filesystem::path> folders;
        for (const QString& file : dialog.selectedFiles())
            folders.emplace_back(QFile::encodeName(file).toStdString());
        return folders;
    }

    void runModal(QDialog& dialog) override { dialog.exec(); }

    int runAlert(QWidget* parent, const QString& title, const QString& message,
                 const QString& defaultButton, const QString& alternateButton) override {
        QMessageBox box(QMessageBox::Question, title, message, QMessageBox::NoButton, parent);
        QPushButton* keep = box.addButton(defaultButton, QMessageBox::RejectRole);
        QPushButton* remove = box.addButton(alternateButton, QMessageBox::DestructiveRole);
        box.setDefaultButton(keep);
        box.setEscapeButton(keep);
        box.exec();
        if (box.clickedButton() == remove)
            return 0;
        if (box.clickedButton() == keep)
            return 1;
        return -1;
    }
};

} // namespace

std::unique_ptr<UserDialogs> makeDesktopDialogs() {
    return std::make_unique<DesktopDialogs>();
}

} // namespace slidebox::app
