#pragma once

#include <functional>
#include <memory>

#include <QImage>
#include <QObject>
#include <QTimer>
#include <QWidget>

class QAction;
class QMenu;
class QSystemTrayIcon;

namespace slidebox::app {

/// A small always-on-top tab at the top edge of the screen's available
/// area, standing in for the tray item where the desktop has no tray: a
/// left click does what a click on the item does, the right button opens
/// the item's menu.
class StatusItemHandle : public QWidget {
    Q_OBJECT
  public:
    StatusItemHandle(const QImage& icon, QMenu* menu);
    /// Puts the handle at the right end of the top edge of the primary
    /// screen's available area.
    void placeAtTopEdge();

  signals:
    void clicked();

  protected:
    void paintEvent(QPaintEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

  private:
    QImage icon_;
    QMenu* menu_; // owned by the status item
};

/// The status item kind's way to the window: an icon in the panel's tray
/// when the desktop has one, else (after a short wait for a tray host to
/// come up) a StatusItemHandle. The tray is looked at again every few
/// seconds, so a tray host that goes away brings the handle back and one
/// that comes replaces it. A click on either toggles the window; their menu
/// offers Show/Hide, Preferences and Quit.
class StatusItem : public QObject {
    Q_OBJECT
  public:
    /// icon: the 16-pixel picture. isWindowVisible names the menu's first
    /// entry ("Hide Slidebox" or "Show Slidebox").
    StatusItem(const QImage& icon, std::function<bool()> isWindowVisible);
    ~StatusItem() override;

    /// Whether the tray icon is in use (false while waiting or on the handle).
    bool usesTray() const;
    /// The fallback handle when it is on the screen; null otherwise.
    StatusItemHandle* handle() const;
    QMenu* menu() const { return menu_.get(); }
    QAction* showHideAction() const { return showHideAction_; }
    QAction* preferencesAction() const { return preferencesAction_; }
    QAction* quitAction() const { return quitAction_; }

    /// Ends the wait for a tray host: the tray icon if a tray exists now,
    /// the handle otherwise.
    void stopWaitingForTray();
    /// How long a missing tray host is waited for, and how often the tray
    /// is looked at afterwards (milliseconds).
    static constexpr int trayWait = 2000;
    static constexpr int trayCheckInterval = 3000;

  signals:
    /// A click on the tray icon or the handle, or Show/Hide in the menu.
    void clicked();
    void preferencesRequested();
    void quitRequested();

  private:
    void checkTray();
    void useTray(bool tray);

    QImage icon_;
    std::unique_ptr<QMenu> menu_;
    QAction* showHideAction_ = nullptr; // children of the menu
    QAction* preferencesAction_ = nullptr;
    QAction* quitAction_ = nullptr;
    std::unique_ptr<QSystemTrayIcon> trayIcon_;
    std::unique_ptr<StatusItemHandle> handle_;
    QTimer checkTimer_;
    bool waiting_ = true;
};

} // namespace slidebox::app
