#include "support/app_fixture.h"

#include <QLabel>
#include <QTest>

#include "app/album_viewer.h"
#include "app/current_event.h"
#include "app/library_table_view.h"
#include "app/localized.h"
#include "library/tests/support/library_fixtures.h"

namespace slidebox::testing {

std::vector<std::string> storedLibraryPaths(const platform::PlistValue& root) {
    std::vector<std::string> paths;
    if (const platform::PlistArray* list = root["AM_photoAlbumDictionaries"].array())
        for (const platform::PlistValue& entry : *list)
            paths.push_back(entry["AM_AlbumPath"].string() ? *entry["AM_AlbumPath"].string() : "");
    return paths;
}

AppFixture::AppFixture() {
    std::filesystem::create_directories(pictures());
    std::filesystem::create_directories(resources());
    for (const char* name : {"FilmStrip.tif", "SmallFilmStrip.tif"})
        std::filesystem::copy_file(buildDir() / "share" / "slidebox" / name, resources() / name);
    restart();
}

void AppFixture::restart(bool again) {
    if (context_)
        context_->switcher().waitUntilIdle(std::chrono::seconds(5));
    context_.reset();
    if (!again)
        return;
    auto dialogs = std::make_unique<ScriptedDialogs>();
    dialogs_ = dialogs.get();
    context_ = std::make_unique<app::AppContext>(
        app::AppContext::Folders{temp_ / "config", home(), resources()}, std::move(dialogs));
}

void ControllerTest::SetUp() {
    app::AlbumViewer::resetLastTime();
    app::CurrentEvent::install();
    app::CurrentEvent::clear();
    app::removeLocalizedTable();
}

void ControllerTest::TearDown() {
    app::CurrentEvent::clear();
}

std::filesystem::path ControllerTest::makeLibrary(const std::string& name, int images,
                                                  const std::filesystem::path& parent) {
    const auto folder = (parent.empty() ? fixture.pictures() : parent) / name;
    libraryOf(6, folder, {"Roll"}, images);
    return folder;
}

std::unique_ptr<app::UIController> ControllerTest::start(int kind) {
    auto controller = std::make_unique<app::UIController>(kind, fixture.context());
    controller->activateWindow();
    return controller;
}

void ControllerTest::clickRow(app::UIController& controller, int row,
                              Qt::KeyboardModifiers modifiers) {
    auto* table = controller.photoManagersTableView();
    const QRect rect = table->visualRect(table->model()->index(row, 0));
    QTest::mouseClick(table->viewport(), Qt::LeftButton, modifiers, rect.center());
}

static std::string pathOf(const auto& record) {
    return record && record->albumPath() ? record->albumPath()->string() : std::string();
}

std::string ControllerTest::pathAt(const app::UIController& controller, int row) {
    return pathOf(controller.photoManagerAtIndex(row));
}

std::string ControllerTest::pathOnShow(const app::UIController& controller) {
    return pathOf(controller.albumViewer()->photoManager());
}

std::string ControllerTest::state(const app::UIController& controller) {
    const std::string name = std::filesystem::path(pathOnShow(controller)).filename().string();
    return std::to_string(controller.numberOfPhotoManager()) + " " +
           std::to_string(controller.currentPhotoManagerIndex()) + " " +
           (name.empty() ? "-" : name) + " " +
           controller.albumViewer()->numberField()->text().toStdString() + " " +
           controller.albumNumberField()->text().toStdString();
}

} // namespace slidebox::testing
