#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

#include <QString>

class QDialog;
class QWidget;

namespace slidebox::app {

/// The three places where the controller waits for the user: the folder
/// chooser, the modal dialog for a new library's name and the question
/// before a library is taken off the list. The desktop's own dialogs serve
/// the application; tests put in answers of their own so that nothing blocks.
class UserDialogs {
  public:
    virtual ~UserDialogs() = default;

    /// A chooser of folders (no plain files, several at once) opened in the
    /// start folder. The chosen folders, or nothing when it was cancelled.
    virtual std::optional<std::vector<std::filesystem::path>>
    chooseFolders(QWidget* parent, const std::filesystem::path& startFolder) = 0;

    /// Runs the dialog modally and returns once it has been closed, which
    /// its own buttons do. The dialog stays owned by the caller.
    virtual void runModal(QDialog& dialog) = 0;

    /// A question with two buttons. 1 for the default button, 0 for the
    /// alternate one, -1 when no answer could be had.
    virtual int runAlert(QWidget* parent, const QString& title, const QString& message,
                         const QString& defaultButton, const QString& alternateButton) = 0;
};

/// QFileDialog, QDialog::exec and QMessageBox.
std::unique_ptr<UserDialogs> makeDesktopDialogs();

} // namespace slidebox::app
