#pragma once

#include <deque>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include <QStringList>

#include "app/app_context.h"
#include "app/user_dialogs.h"
#include "tests/temp_dir.h"

namespace slidebox::testing {

/// Dialog answers given by the test instead of the user: nothing blocks.
class ScriptedDialogs : public app::UserDialogs {
  public:
    std::optional<std::vector<std::filesystem::path>>
    chooseFolders(QWidget* parent, const std::filesystem::path& startFolder) override;
    void runModal(QDialog& dialog) override;
    int runAlert(QWidget* parent, const QString& title, const QString& message,
                 const QString& defaultButton, const QString& alternateButton) override;

    /// One answer per chooser call, in order; a missing answer cancels.
    std::deque<std::optional<std::vector<std::filesystem::path>>> folderAnswers;
    std::filesystem::path lastStartFolder;
    int folderCalls = 0;
    /// What the "user" does with the modal dialog (typing, clicking); with
    /// none the dialog is rejected.
    std::function<void(QDialog&)> onModal;
    /// One answer per question; a missing answer is the default button (1).
    std::deque<int> alertAnswers;
    QStringList lastAlert; // title, message, default, alternate
};

/// A temporary world for the application: user defaults, a home folder
/// with Pictures, and a resource folder holding only the pictures (no
/// scripts, so no switch starts a program).
class AppFixture {
  public:
    AppFixture();
    ~AppFixture();

    std::filesystem::path home() const { return temp_ / "home"; }
    std::filesystem::path pictures() const { return home() / "Pictures"; }
    std::filesystem::path resources() const { return temp_ / "resources"; }
    std::filesystem::path defaultsFolder() const { return temp_ / "config"; }
    /// The photo application's preference file in the fixture's home.
    std::filesystem::path iPhotoPreferenceFile() const;

    app::AppContext& context() { return *context_; }
    ScriptedDialogs& dialogs() { return *dialogs_; }

    /// Ends the context and opens a new one on the same folders, as a new
    /// run of the program would.
    void restart();

  private:
    TempDir temp_;
    ScriptedDialogs* dialogs_ = nullptr; // owned by the context
    std::unique_ptr<app::AppContext> context_;
};

} // namespace slidebox::testing
