#include "app/app_context.h"

#include "library/iphoto_application.h"
#include "platform/file_system.h"
#include "platform/script_runner.h"

namespace slidebox::app {

AppContext::Folders AppContext::Folders::standard() {
    return {platform::UserDefaults::defaultFolder(), platform::homeDirectory(),
            platform::resourceDirectory()};
}

AppContext::AppContext(Folders folders, std::unique_ptr<UserDialogs> dialogs)
    : folders_(std::move(folders)), defaults_(folders_.userDefaults), dialogs_(std::move(dialogs)),
      photoApplication_(folders_.home, folders_.resources),
      switcher_(std::make_unique<AlbumSwitcher>(photoApplication_)) {
    if (!dialogs_)
        dialogs_ = makeDesktopDialogs();
}

AppContext::~AppContext() = default;

std::filesystem::path AppContext::picturesFolder() const {
    return folders_.home / "Pictures" / "";
}

std::filesystem::path AppContext::resourcePath(const std::string& name) const {
    return folders_.resources / name;
}

} // namespace slidebox::app
