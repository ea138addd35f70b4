#include "app/status_item.h"

#include <QContextMenuEvent>
#include <QCoreApplication>
#include <QGuiApplication>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QScreen>
#include <QSystemTrayIcon>

#include "platform/log.h"

namespace slidebox::app {

namespace {

constexpr int handleWidth = 40;
constexpr int handleHeight = 20;

QString translated(const char* text) {
    return QCoreApplication::translate("StatusItem", text);
}

// A tray entry needs a picture to be found at all: without the icon, a
// plain frame.
QImage placeholderIcon() {
    QImage image(16, 16, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setPen(QColor(200, 200, 200));
    painter.drawRect(2, 3, 11, 9);
    return image;
}

} // namespace

StatusItemHandle::StatusItemHandle(const QImage& icon, QMenu* menu)
    : QWidget(nullptr, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                           Qt::WindowDoesNotAcceptFocus),
      icon_(icon), menu_(menu) {
    setObjectName(QStringLiteral("statusItemHandle"));
    setWindowTitle(QStringLiteral("Slidebox Handle"));
    setAttribute(Qt::WA_ShowWithoutActivating);
    setToolTip(translated("Show or hide Slidebox"));
    setFixedSize(handleWidth, handleHeight);
    setCursor(Qt::PointingHandCursor);
    placeAtTopEdge();
}

void StatusItemHandle::placeAtTopEdge() {
    if (QScreen* screen = QGuiApplication::primaryScreen()) {
        const QRect area = screen->availableGeometry();
        move(area.x() + area.width() - width(), area.y());
    }
}

void StatusItemHandle::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QColor(30, 30, 30));
    painter.setBrush(QColor(70, 70, 70, 230));
    // A tab hanging from the edge: square top, round bottom.
    painter.drawRoundedRect(QRectF(0.5, -6.0, width() - 1.0, height() + 5.5), 6.0, 6.0);
    if (!icon_.isNull())
        painter.drawImage(QPoint((width() - icon_.width()) / 2, (height() - icon_.height()) / 2),
                          icon_);
}

void StatusItemHandle::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton && rect().contains(event->position().toPoint()))
        emit clicked();
}

void StatusItemHandle::contextMenuEvent(QContextMenuEvent* event) {
    if (menu_)
        menu_->popup(event->globalPos());
}

StatusItem::StatusItem(const QImage& icon, std::function<bool()> isWindowVisible)
    : icon_(icon.isNull() ? placeholderIcon() : icon), menu_(std::make_unique<QMenu>()) {
    showHideAction_ = menu_->addAction(translated("Show Slidebox"));
    menu_->addSeparator();
    preferencesAction_ = menu_->addAction(translated("Preferences..."));
    quitAction_ = menu_->addAction(translated("Quit Slidebox"));
    connect(menu_.get(), &QMenu::aboutToShow, this, [this, visible = std::move(isWindowVisible)] {
        showHideAction_->setText(visible && visible() ? translated("Hide Slidebox")
                                                      : translated("Show Slidebox"));
    });
    connect(showHideAction_, &QAction::triggered, this, &StatusItem::clicked);
    connect(preferencesAction_, &QAction::triggered, this, &StatusItem::preferencesRequested);
    connect(quitAction_, &QAction::triggered, this, &StatusItem::quitRequested);

    checkTimer_.setInterval(trayWait);
    connect(&checkTimer_, &QTimer::timeout, this, &StatusItem::checkTray);
    if (QSystemTrayIcon::isSystemTrayAvailable())
        stopWaitingForTray();
    else
        checkTimer_.start(); // a tray host may still be coming up
}

StatusItem::~StatusItem() {
    // The icon leaves the tray before its menu goes.
    trayIcon_.reset();
    handle_.reset();
}

bool StatusItem::usesTray() const {
    return trayIcon_ && trayIcon_->isVisible();
}

StatusItemHandle* StatusItem::handle() const {
    return handle_ && handle_->isVisible() ? handle_.get() : nullptr;
}

void StatusItem::stopWaitingForTray() {
    waiting_ = false;
    checkTimer_.start(trayCheckInterval);
    useTray(QSystemTrayIcon::isSystemTrayAvailable());
}

void StatusItem::checkTray() {
    if (waiting_)
        stopWaitingForTray();
    else
        useTray(QSystemTrayIcon::isSystemTrayAvailable());
}

void StatusItem::useTray(bool tray) {
    if (tray) {
        if (!trayIcon_) {
            trayIcon_ = std::make_unique<QSystemTrayIcon>(QIcon(QPixmap::fromImage(icon_)));
            trayIcon_->setToolTip(QStringLiteral("Slidebox"));
            trayIcon_->setContextMenu(menu_.get());
            connect(trayIcon_.get(), &QSystemTrayIcon::activated, this,
                    [this](QSystemTrayIcon::ActivationReason reason) {
                        if (reason == QSystemTrayIcon::Trigger)
                            emit clicked();
                    });
        }
        if (!trayIcon_->isVisible())
            trayIcon_->show();
        if (handle_)
            handle_->hide();
        return;
    }
    if (trayIcon_ && trayIcon_->isVisible()) {
        trayIcon_->hide();
        platform::log("The tray of the panel has gone: Slidebox is reached through a handle at the "
                      "top of the screen");
    } else if (!handle_) {
        static bool said = false; // once per process, also across changes of kind
        if (!said)
            platform::log("The desktop has no tray for Slidebox's icon: a handle at the top of the "
                          "screen stands in for it");
        said = true;
    }
    if (!handle_) {
        handle_ = std::make_unique<StatusItemHandle>(icon_, menu_.get());
        connect(handle_.get(), &StatusItemHandle::clicked, this, &StatusItem::clicked);
        if (QScreen* screen = QGuiApplication::primaryScreen())
            connect(screen, &QScreen::availableGeometryChanged, handle_.get(),
                    &StatusItemHandle::placeAtTopEdge);
    }
    if (!handle_->isVisible()) {
        handle_->placeAtTopEdge();
        handle_->show();
        handle_->raise();
    }
}

} // namespace slidebox::app
