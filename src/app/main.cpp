// The desktop application: hands over to Qt's event loop at once, with the
// application delegate built from the main interface file.
#include <cstdlib>

#include <QApplication>
#include <QFile>
#include <QIcon>
#include <QTimer>
#include <QWindow>

#include "app/app_context.h"
#include "app/app_delegate.h"
#include "app/app_notifications.h"
#include "app/command_line.h"
#include "app/localized.h"
#include "app/quit_signal_handler.h"

namespace {

// For the start-up benchmark (SLIDEBOX_QUIT_WHEN_SHOWN set): the program
// ends as soon as its first window is on the screen, saving nothing.
class QuitWhenShown : public QObject {
  public:
    using QObject::QObject;
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Expose) {
            if (auto* window = qobject_cast<QWindow*>(watched); window && window->isExposed())
                std::_Exit(0);
        }
        return false;
    }
};

} // namespace

int main(int argc, char** argv) {
    if (const auto status = slidebox::app::answerCommandLine(argc, argv))
        return *status;
    using namespace slidebox::app;
    // First of all: a quit signal while Qt and the settings load must end
    // the program the normal way, not outright.
    QuitSignalHandler quitSignals;
    QApplication application(argc, argv);
    // Not quit(), which would first ask the windows to close and be refused.
    QObject::connect(&quitSignals, &QuitSignalHandler::quitSignalReceived, &application,
                     [] { QCoreApplication::exit(0); });
    quitSignals.startWatching();
    QApplication::setApplicationName(QStringLiteral("Slidebox"));
    QApplication::setDesktopFileName(QStringLiteral("slidebox"));
    // Hiding the main window leaves the application running; it ends by its
    // Quit command or a quit signal.
    QApplication::setQuitOnLastWindowClosed(false);

    AppContext context(AppContext::Folders::standard(), makeDesktopDialogs());
    installLocalizedTable(context.resourceFolder() / "translations");
    const QString icon = QFile::decodeName(context.resourcePath("slidebox.png").c_str());
    if (QFile::exists(icon))
        QApplication::setWindowIcon(QIcon(icon));

    forwardApplicationWillTerminate(application);
    if (qEnvironmentVariableIsSet("SLIDEBOX_QUIT_WHEN_SHOWN"))
        application.installEventFilter(new QuitWhenShown(&application));

    AppDelegate delegate(context);
    QTimer::singleShot(0, &delegate, [&delegate] { delegate.applicationDidFinishLaunching(); });
    return QApplication::exec();
}
