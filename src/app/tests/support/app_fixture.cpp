#include "support/app_fixture.h"

#include <QDialog>

namespace slidebox::testing {

std::optional<std::vector<std::filesystem::path>>
ScriptedDialogs::chooseFolders(QWidget*, const std::filesystem::path& startFolder) {
    ++folderCalls;
    lastStartFolder = startFolder;
    if (folderAnswers.empty())
        return std::nullopt;
    auto answer = folderAnswers.front();
    folderAnswers.pop_front();
    return answer;
}

void ScriptedDialogs::runModal(QDialog& dialog) {
    dialog.show();
    if (onModal)
        onModal(dialog);
    else
        dialog.reject();
}

int ScriptedDialogs::runAlert(QWidget*, const QString& title, const QString& message,
                              const QString& defaultButton, const QString& alternateButton) {
    lastAlert = {title, message, defaultButton, alternateButton};
    if (alertAnswers.empty())
        return 1;
    const int answer = alertAnswers.front();
    alertAnswers.pop_front();
    return answer;
}

AppFixture::AppFixture() {
    std::filesystem::create_directories(pictures());
    std::filesystem::create_directories(resources());
    for (const char* name : {"FilmStrip.tif", "SmallFilmStrip.tif"})
        std::filesystem::copy_file(buildDir() / "share" / "slidebox" / name, resources() / name);
    restart();
}

AppFixture::~AppFixture() {
    if (context_)
        context_->switcher().waitUntilIdle(std::chrono::seconds(5));
    context_.reset();
}

std::filesystem::path AppFixture::iPhotoPreferenceFile() const {
    return home() / "Library" / "Preferences" / "com.apple.iPhoto.plist";
}

void AppFixture::restart() {
    if (context_)
        context_->switcher().waitUntilIdle(std::chrono::seconds(5));
    context_.reset();
    auto dialogs = std::make_unique<ScriptedDialogs>();
    dialogs_ = dialogs.get();
    context_ = std::make_unique<app::AppContext>(
        app::AppContext::Folders{defaultsFolder(), home(), resources()}, std::move(dialogs));
}

} // namespace slidebox::testing
