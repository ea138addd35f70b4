// Builds the application's windows in a temporary world with a few made-up
// libraries and saves pictures of them, for people to look at:
//   main-window-kind0.png, main-window-kind1.png, preferences.png,
//   new-library-dialog.png, help.png, about.png, and of the status item
//   kind: main-window-kind2-docked.png, main-window-kind2-loose.png (the
//   whole screen) and status-item.png (the tray icon, or the handle where
//   the desktop has no tray).
// Usage: slidebox-screenshots <folder>. Runs under any Qt platform
// (offscreen in the tests, Xvfb from tools/screenshots.sh).
#include <cstdio>
#include <filesystem>

#include <QApplication>
#include <QButtonGroup>
#include <QDialog>
#include <QDir>
#include <QElapsedTimer>
#include <QImage>
#include <QLinearGradient>
#include <QPainter>
#include <QPushButton>
#include <QScreen>
#include <QTemporaryDir>
#include <QThread>

#include "app/album_viewer.h"
#include "app/app_context.h"
#include "app/app_delegate.h"
#include "app/localized.h"
#include "app/status_item.h"
#include "app/ui_controller.h"
#include "app/ui_window.h"
#include "app/window_kind.h"
#include "platform/file_system.h"
#include "platform/script_runner.h"

namespace {

using namespace slidebox::app;

QString gOutput;

bool saveGrab(QWidget* widget, const QString& name) {
    widget->show();
    widget->raise();
    // A moment for the viewer's image, which is read off the event loop.
    QElapsedTimer settle;
    settle.start();
    while (settle.elapsed() < 300)
        QApplication::processEvents(QEventLoop::AllEvents, 20);
    const QString path = QDir(gOutput).filePath(name);
    if (!widget->window()->grab().save(path)) {
        std::fprintf(stderr, "slidebox-screenshots: could not write %s\n", qPrintable(path));
        return false;
    }
    std::printf("%s\n", qPrintable(path));
    return true;
}

void settle(int milliseconds) {
    for (int waited = 0; waited < milliseconds; waited += 50) {
        QApplication::processEvents();
        QThread::msleep(50);
    }
}

// A part of the screen as a desktop shows it (under X); on a platform
// that cannot grab the screen, the widget alone.
bool saveScreen(QWidget* fallback, const QRect& part, const QString& name) {
    settle(300);
    QPixmap shot;
    if (QGuiApplication::platformName() != QLatin1String("offscreen"))
        shot = QGuiApplication::primaryScreen()->grabWindow(0).copy(part);
    if (shot.isNull() && fallback)
        shot = fallback->grab();
    const QString path = QDir(gOutput).filePath(name);
    if (shot.isNull() || !shot.save(path)) {
        std::fprintf(stderr, "slidebox-screenshots: could not write %s\n", qPrintable(path));
        return false;
    }
    std::printf("%s\n", qPrintable(path));
    return true;
}

// The dialogs of the screenshot world: the name dialog is shown, taken and
// cancelled; nothing else is asked.
class PictureDialogs : public UserDialogs {
  public:
    std::optional<std::vector<std::filesystem::path>>
    chooseFolders(QWidget*, const std::filesystem::path&) override {
        return std::nullopt;
    }
    void runModal(QDialog& dialog) override {
        ok = saveGrab(&dialog, QStringLiteral("new-library-dialog.png")) && ok;
        dialog.reject();
    }
    int runAlert(QWidget*, const QString&, const QString&, const QString&,
                 const QString&) override {
        return 1;
    }
    bool ok = true;
};

void writePicture(const std::filesystem::path& path, int seed) {
    QImage image(240, 180, QImage::Format_RGB32);
    QPainter painter(&image);
    const QColor skyTop = QColor::fromHsv((seed * 47) % 360, 120, 230);
    QLinearGradient sky(0, 0, 0, 180);
    sky.setColorAt(0, skyTop);
    sky.setColorAt(1, skyTop.lighter(160));
    painter.fillRect(image.rect(), sky);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(255, 210, 80));
    painter.drawEllipse(QPointF(60 + (seed * 37) % 120, 50), 20, 20);
    painter.setBrush(QColor::fromHsv((90 + seed * 23) % 360, 150, 130));
    painter.drawEllipse(QPointF(40 + (seed * 53) % 160, 200), 160, 80);
    painter.end();
    std::filesystem::create_directories(path.parent_path());
    image.save(QString::fromStdString(path.string()), "JPEG", 85);
}

void makeLibrary(const std::filesystem::path& folder, int images, int seed) {
    std::filesystem::create_directories(folder / "Data" / "Roll 1");
    slidebox::platform::writeFileAtomically(folder / "Library6.iPhoto", "library");
    for (int i = 0; i < images; ++i)
        writePicture(folder / "Data" / "Roll 1" / ("IMG_" + std::to_string(100 + i) + ".jpg"),
                     seed + i);
}

} // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    if (argc != 2) {
        std::fprintf(stderr, "usage: slidebox-screenshots <folder>\n");
        return 2;
    }
    gOutput = QString::fromLocal8Bit(argv[1]);
    QDir().mkpath(gOutput);
    QTemporaryDir world;
    if (!world.isValid())
        return 1;
    const std::filesystem::path root = world.path().toStdString();
    const auto pictures = root / "home" / "Pictures";
    makeLibrary(pictures / "Family 2004", 6, 1);
    makeLibrary(pictures / "Holidays in Brittany", 8, 11);
    makeLibrary(pictures / "Garden", 4, 23);
    makeLibrary(pictures / "Work", 3, 31);

    auto dialogs = std::make_unique<PictureDialogs>();
    PictureDialogs* pictureDialogs = dialogs.get();
    AppContext context({root / "config", root / "home", slidebox::platform::resourceDirectory()},
                       std::move(dialogs));
    installLocalizedTable(context.resourceFolder() / "translations", QLocale(QLocale::English));
    bool ok = true;
    {
        AppDelegate delegate(context);
        delegate.applicationDidFinishLaunching();
        UIController* controller = delegate.uiController();
        controller->selectPhotoManagerRow(1);
        controller->albumViewer()->setCurrentPhotoIndex(2);
        controller->albumViewer()->setSliderPosition();
        ok = saveGrab(controller->window(), QStringLiteral("main-window-kind0.png")) && ok;

        delegate.windowKindMatrix()->button(1)->click();
        controller = delegate.uiController();
        controller->selectPhotoManagerRow(2);
        ok = saveGrab(controller->window(), QStringLiteral("main-window-kind1.png")) && ok;

        delegate.preferencesAction()->trigger();
        ok = saveGrab(delegate.preferencesWindow(), QStringLiteral("preferences.png")) && ok;
        delegate.helpAction()->trigger();
        ok = saveGrab(delegate.helpWindow(), QStringLiteral("help.png")) && ok;
        delegate.aboutAction()->trigger();
        ok = saveGrab(delegate.aboutWindow(), QStringLiteral("about.png")) && ok;

        // The status item kind: the tray icon (or the handle), the window
        // docked under the top edge and pulled loose.
        for (QWidget* window :
             {delegate.preferencesWindow(), delegate.helpWindow(), delegate.aboutWindow()})
            window->hide();
        delegate.windowKindMatrix()->button(statusItemWindowKind)->click();
        controller = delegate.uiController();
        settle(StatusItem::trayWait + 500);
        const QRect screen = QGuiApplication::primaryScreen()->geometry();
        const QRect corner(screen.right() - 299, screen.top(), 300, 60);
        if (StatusItem* item = controller->statusItem())
            ok = saveScreen(item->handle(), corner, QStringLiteral("status-item.png")) && ok;
        controller->statusItemAction();
        ok = saveScreen(controller->window(), screen,
                        QStringLiteral("main-window-kind2-docked.png")) &&
             ok;
        controller->window()->move(controller->window()->pos() + QPoint(-200, 150));
        ok = saveScreen(controller->window(), screen,
                        QStringLiteral("main-window-kind2-loose.png")) &&
             ok;
        controller->hideWindow(nullptr);

        controller->launchiPhotoWithNewAlbum(nullptr);
        context.switcher().waitUntilIdle(std::chrono::seconds(5));
    }
    return ok && pictureDialogs->ok ? 0 : 1;
}
