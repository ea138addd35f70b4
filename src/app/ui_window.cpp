#include "app/ui_window.h"

#include <QCloseEvent>
#include <QCursor>
#include <QEventLoop>
#include <QGuiApplication>
#include <QMenuBar>
#include <QMouseEvent>
#include <QPropertyAnimation>
#include <QScreen>

#include "app/app_delegate.h"
#include "app/ui_controller.h"
#include "app/window_kind.h"
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

bool UIWindow::isFloatingKind(int kind) {
    return kind != normalWindowKind;
}

Qt::WindowFlags UIWindow::flagsForKind(int kind) {
    if (kind == statusItemWindowKind)
        return Qt::Window | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint;
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
    // Window managers draw a close button whatever the window asks for; the
    // controller decides what it means for the kind.
    event->ignore();
    emit closeRequested();
}

RectF UIWindow::frame() const {
    return rectFromScreen(QRectF(frameGeometry()), mainScreenFrames().primaryScreenHeight);
}

void UIWindow::setFrameOrigin(PointF origin) {
    RectF target = frame();
    target.x = origin.x;
    target.y = origin.y;
    setFrame(target, false);
}

void UIWindow::setFrame(const RectF& target, bool animate) {
    const QPointF topLeft =
        screenRectFromRect(target, mainScreenFrames().primaryScreenHeight).topLeft();
    const QPoint destination(qRound(topLeft.x()), qRound(topLeft.y()));
    if (!animate || !isVisible() || pos() == destination) {
        move(destination);
        return;
    }
    // Synchronous, as the callers expect: what follows a slide (hiding the
    // window, quitting) comes after it. Input waits until the slide is over.
    QPropertyAnimation slide(this, "pos");
    slide.setDuration(slideDuration);
    slide.setStartValue(pos());
    slide.setEndValue(destination);
    slide.setEasingCurve(QEasingCurve::InOutQuad);
    QEventLoop loop;
    connect(&slide, &QPropertyAnimation::finished, &loop, &QEventLoop::quit);
    sliding_ = true;
    slide.start();
    loop.exec(QEventLoop::ExcludeUserInputEvents);
    sliding_ = false;
    move(destination);
}

void UIWindow::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        QMainWindow::mousePressEvent(event);
        return;
    }
    const ScreenFrames screen = mainScreenFrames();
    drag_.mouseDown(windowKind_, frame(),
                    pointFromScreen(event->globalPosition(), screen.primaryScreenHeight),
                    screen.visibleFrame);
    event->accept();
}

void UIWindow::mouseMoveEvent(QMouseEvent* event) {
    event->accept();
    if (drag_.mouseDownOccured())
        moveWidgetWindow();
}

void UIWindow::moveWidgetWindow() {
    // The mouse where it is now, not where a queued event saw it.
    const ScreenFrames screen = mainScreenFrames();
    if (const auto origin =
            drag_.moveWidgetWindow(pointFromScreen(QCursor::pos(), screen.primaryScreenHeight)))
        setFrameOrigin(*origin);
}

void UIWindow::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        QMainWindow::mouseReleaseEvent(event);
        return;
    }
    event->accept();
    if (drag_.mouseUp(frame(), mainScreenFrames().visibleFrame))
        emit droppedOnMenubar();
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
