#pragma once

#include <deque>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include <QDialog>
#include <QStringList>
#include <gtest/gtest.h>

#include "app/app_context.h"
#include "app/ui_controller.h"
#include "app/user_dialogs.h"
#include "platform/plist_value.h"
#include "tests/temp_dir.h"

namespace slidebox::testing {

/// Dialog answers given by the test instead of the user: nothing blocks.
struct ScriptedDialogs : app::UserDialogs {
    std::optional<std::vector<std::filesystem::path>>
    chooseFolders(QWidget*, const std::filesystem::path& startFolder) override {
        ++folderCalls;
        lastStartFolder = startFolder;
        return next(folderAnswers, std::optional<std::vector<std::filesystem::path>>());
    }
    void runModal(QDialog& dialog) override {
        dialog.show();
        onModal ? onModal(dialog) : dialog.reject();
    }
    int runAlert(QWidget*, const QString& title, const QString& message,
                 const QString& defaultButton, const QString& alternateButton) override {
        lastAlert = {title, message, defaultButton, alternateButton};
        return next(alertAnswers, 1);
    }
    template <typename T> static T next(std::deque<T>& answers, T otherwise) {
        if (answers.empty())
            return otherwise;
        T answer = answers.front();
        answers.pop_front();
        return answer;
    }

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

/// The library paths of the stored list in a user defaults file's root, ""
/// for a record without one.
std::vector<std::string> storedLibraryPaths(const platform::PlistValue& root);

/// A temporary world for the application: user defaults, a home folder
/// with Pictures, and a resource folder holding only the pictures (no
/// scripts, so no switch starts a program).
class AppFixture {
  public:
    AppFixture();
    ~AppFixture() { restart(false); }

    std::filesystem::path home() const { return temp_ / "home"; }
    std::filesystem::path pictures() const { return home() / "Pictures"; }
    std::filesystem::path resources() const { return temp_ / "resources"; }
    /// The photo application's preference file in the fixture's home.
    std::filesystem::path iPhotoPreferenceFile() const {
        return home() / "Library" / "Preferences" / "com.apple.iPhoto.plist";
    }
    app::AppContext& context() { return *context_; }
    ScriptedDialogs& dialogs() { return *dialogs_; }

    /// Ends the context and opens a new one on the same folders, as a new
    /// run of the program would.
    void restart(bool again = true);

  private:
    TempDir temp_;
    ScriptedDialogs* dialogs_ = nullptr; // owned by the context
    std::unique_ptr<app::AppContext> context_;
};

/// A controller test: a fresh temporary world, no current event, no
/// language table, the rate limiter at its start.
class ControllerTest : public ::testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    /// A generation-6 library with images 1.jpg .. N.jpg under Data/Roll;
    /// in the Pictures folder unless another parent is given.
    std::filesystem::path makeLibrary(const std::string& name, int images,
                                      const std::filesystem::path& parent = {});
    /// initWithWindowKind and activateWindow, as the delegate does.
    std::unique_ptr<app::UIController> start(int kind = 0);

    /// Real clicks on a row of the table.
    static void clickRow(app::UIController& controller, int row,
                         Qt::KeyboardModifiers modifiers = Qt::NoModifier);
    /// The path of the record at a row, as text.
    static std::string pathAt(const app::UIController& controller, int row);
    /// The path of the record in the viewer, or "" without one.
    static std::string pathOnShow(const app::UIController& controller);
    /// The list's count, the selected row, the folder name of the library on
    /// show ("-" for none), the viewer's number field and the count field.
    static std::string state(const app::UIController& controller);

    AppFixture fixture;
};

} // namespace slidebox::testing
