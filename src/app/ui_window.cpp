#include "app/ui_window.h"

#include <QCloseEvent>
#include <QGuiApplication>
#include <QMenuBar>
#include <QScreen>

#include "app/app_delegate.h"
#include "app/ui_controller.h"
#include "platform/user_defaults.h"

namespace slidebox::app {

UIWindow::UIWindow(int fallbackKind) : QMainWindow(nullptr) {
    windowKind_ = fallbackKind;
    if (AppDelegate* delegate = AppDelegate::sharedDelegate()) {
        if (UIController* controller = delegate->uiController())
            windowKind_ = controller->windowKind();
        delegate->addMenusTo(menuBar());
    }
    setWindowFlags(flagsForKind(windowKind_));
    saveTimer_.setSingleShot(true);
    saveTimer_.setInterval(500);
    connect(&saveTimer_, &QTimer::timeout, this, &UIWindow::saveFrame);
}

UIWindow::~UIWindow() {
    if (defaults_)
        saveFrame();
}

Qt::WindowFlags UIWindow::flagsForKind(int kind) {
    Qt::WindowFlags flags = Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                            Qt::WindowMinimizeButtonHint | Qt::WindowMaximizeButtonHint;
    if (isFloatingKind(kind))
        flags |= Qt::WindowStaysOnTopHint;
    return flags;
}

void UIWindow::setFrameAutosaveName(const std::string& name, platform::UserDefaults& defaults) {
    autosaveName_ = name;
    defaults_ = &defaults;
    if (const platform::PlistData* stored = defaults.objectForKey(name).data()) {
        const QByteArray bytes(stored->bytes.data(), static_cast<qsizetype>(stored->bytes.size()));
        restoredFrame_ = restoreGeometry(bytes);
    }
}

void UIWindow::saveFrame() {
    saveTimer_.stop();
    if (!defaults_ || autosaveName_.empty() || !wasShown_)
        return;
    const QByteArray bytes = saveGeometry();
    platform::PlistData data{std::string(bytes.constData(), static_cast<size_t>(bytes.size()))};
    if (defaults_->objectForKey(autosaveName_) == platform::PlistValue(data))
        return;
    defaults_->setObject(autosaveName_, std::move(data));
}

void UIWindow::center() {
    QScreen* screen = this->screen() ? this->screen() : QGuiApplication::primaryScreen();
    if (!screen)
        return;
    QRect frame = frameGeometry();
    frame.moveCenter(screen->availableGeometry().center());
    move(frame.topLeft());
}

void UIWindow::closeEvent(QCloseEvent* event) {
    // There is no close control; the window leaves by hiding or with the
    // application.
    event->ignore();
}

void UIWindow::moveEvent(QMoveEvent* event) {
    QMainWindow::moveEvent(event);
    if (defaults_ && isVisible())
        saveTimer_.start();
}

void UIWindow::showEvent(QShowEvent* event) {
    QMainWindow::showEvent(event);
    wasShown_ = true;
}

void UIWindow::resizeEvent(QResizeEvent* event) {
    QMainWindow::resizeEvent(event);
    if (defaults_ && isVisible())
        saveTimer_.start();
}

} // namespace slidebox::app
