#include "app/app_delegate.h"

#include <QAbstractButton>
#include <QButtonGroup>
#include <QCoreApplication>
#include <QDesktopServices>
#include <QFile>
#include <QGuiApplication>
#include <QIcon>
#include <QMainWindow>
#include <QMenuBar>
#include <QPushButton>
#include <QScreen>
#include <QVBoxLayout>

#include "app/app_context.h"
#include "app/ui_controller.h"
#include "app/ui_window.h"
#include "app/window_kind.h"
#include "platform/script_runner.h"
#include "ui_app_delegate.h"

namespace slidebox::app {

const std::string viewerWindowKind = "AM_viewerWindowKind";

namespace {

AppDelegate* gSharedDelegate = nullptr;

} // namespace

AppDelegate::AppDelegate(AppContext& context) : context_(context) {
    // What the class initialisation did: the one registered default.
    context_.userDefaults().registerDefaults({{viewerWindowKind, 0}});
    createAppIcon();
    gSharedDelegate = this;

    // The main interface file: its menus go into the main window, its
    // panes become the preferences, help and about windows.
    mainInterface_ = std::make_unique<QMainWindow>();
    ui_ = std::make_unique<Ui::AppDelegate>();
    ui_->setupUi(mainInterface_.get());
    preferencesWindow_ = makeWindow(
        ui_->preferencesPane, QCoreApplication::translate("AppDelegate", "Slidebox Preferences"));
    helpWindow_ =
        makeWindow(ui_->helpPane, QCoreApplication::translate("AppDelegate", "Slidebox Help"));
    aboutWindow_ =
        makeWindow(ui_->aboutPane, QCoreApplication::translate("AppDelegate", "About Slidebox"));
    ui_->aboutVersion->setText(QCoreApplication::translate("AppDelegate", "Version %1")
                                   .arg(QStringLiteral(SLIDEBOX_VERSION)));
    if (!iPhotoIcon_.isNull())
        ui_->aboutIcon->setPixmap(QPixmap::fromImage(iPhotoIcon_));

    // One row per kind, numbered by the kind's value.
    ui_->windowKindMatrix->setId(ui_->floatingWindowKindButton, 0);
    ui_->windowKindMatrix->setId(ui_->normalWindowKindButton, 1);
    ui_->windowKindMatrix->setId(ui_->statusItemWindowKindButton, 2);
    connect(ui_->windowKindMatrix, &QButtonGroup::idClicked, this,
            [this] { changePrefs(ui_->windowKindMatrix); });
    connect(ui_->preferencesButton, &QPushButton::clicked, this,
            [this] { userPrefs(ui_->preferencesButton); });
    connect(ui_->actionPreferences, &QAction::triggered, this,
            [this] { userPrefs(ui_->actionPreferences); });
    connect(ui_->actionHelp, &QAction::triggered, this, [this] { showHelp(ui_->actionHelp); });
    connect(ui_->actionAbout, &QAction::triggered, this, [this] { showAbout(ui_->actionAbout); });
    connect(ui_->actionHomePage, &QAction::triggered, this,
            [this] { goToHomePage(ui_->actionHomePage); });
    // exit() rather than quit(): quit() first asks every window to close, and
    // the main window has no close control, so it would refuse.
    connect(ui_->actionQuit, &QAction::triggered, this, [] { QCoreApplication::exit(0); });
}

AppDelegate::~AppDelegate() {
    uiController_.reset();
    iPhotoIcon_ = QImage();
    mainInterface_.reset();
    if (gSharedDelegate == this)
        gSharedDelegate = nullptr;
}

AppDelegate* AppDelegate::sharedDelegate() {
    return gSharedDelegate;
}

QWidget* AppDelegate::makeWindow(QWidget* pane, const QString& title) {
    auto* window = new QWidget(mainInterface_.get(), Qt::Window);
    window->setWindowTitle(title);
    auto* layout = new QVBoxLayout(window);
    layout->addWidget(pane);
    return window;
}

void AppDelegate::applicationDidFinishLaunching() {
    const int kind = context_.userDefaults().objectForKey(viewerWindowKind).intValue();
    if (QAbstractButton* row = ui_->windowKindMatrix->button(kind))
        row->setChecked(true);
    newUIControllerWithWindowKind(kind);
}

void AppDelegate::newUIControllerWithWindowKind(int kind) {
    if (uiController_)
        uiController_->registerDefaults();
    setUIController(std::make_unique<UIController>(kind, context_));
    // Nothing opened for the old kind stays above the new main window.
    for (QWidget* window : {preferencesWindow_, helpWindow_, aboutWindow_})
        keepAboveMainWindow(window);
    UIWindow* mainWindow = uiController_->window();
    if (mainWindow->isVisible()) {
        mainWindow->raise();
        mainWindow->activateWindow();
    }
}

void AppDelegate::setUIController(std::unique_ptr<UIController> controller) {
    uiController_ = std::move(controller);
    if (uiController_)
        uiController_->activateWindow();
}

void AppDelegate::changePrefs(QButtonGroup* sender) {
    const int row = sender->checkedId();
    context_.userDefaults().setObject(viewerWindowKind, row);
    newUIControllerWithWindowKind(row);
}

void AppDelegate::userPrefs(QObject* sender) {
    if (qobject_cast<QAbstractButton*>(sender)) {
        // "Done" closes the preferences.
        preferencesWindow_->hide();
        if (!uiController_ || uiController_->windowKind() == statusItemWindowKind)
            return;
        bringToFront(uiController_->window());
        return;
    }
    center(preferencesWindow_);
    keepAboveMainWindow(preferencesWindow_);
    bringToFront(preferencesWindow_);
}

void AppDelegate::showHelp(QObject*) {
    center(helpWindow_);
    keepAboveMainWindow(helpWindow_);
    bringToFront(helpWindow_);
}

void AppDelegate::showAbout(QObject*) {
    center(aboutWindow_);
    keepAboveMainWindow(aboutWindow_);
    bringToFront(aboutWindow_);
}

void AppDelegate::keepAboveMainWindow(QWidget* window) const {
    // Over a floating main window only a floating window can be seen; over
    // a normal one it would stay in the way.
    const bool floating = uiController_ && UIWindow::isFloatingKind(uiController_->windowKind());
    if (!window || window->windowFlags().testFlag(Qt::WindowStaysOnTopHint) == floating)
        return;
    const bool visible = window->isVisible();
    window->setWindowFlag(Qt::WindowStaysOnTopHint, floating);
    if (visible)
        window->show(); // changing the flags took it off the screen
}

QUrl AppDelegate::homePageUrl() {
    return QUrl(QStringLiteral(SLIDEBOX_HOME_PAGE_SERVER))
        .resolved(QUrl(QStringLiteral("softwares.html")));
}

void AppDelegate::goToHomePage(QObject*) {
    QDesktopServices::openUrl(homePageUrl());
}

void AppDelegate::createAppIcon() {
    iPhotoIcon_ = QImage(QFile::decodeName(context_.resourcePath("SmallFilmStrip.tif").c_str()));
}

void AppDelegate::findiPhotoIcon() {
    iPhotoIcon_ = QImage();
    if (!platform::findInPath("iPhoto"))
        return;
    const QIcon icon = QIcon::fromTheme(QStringLiteral("iPhoto"));
    if (!icon.isNull())
        iPhotoIcon_ = icon.pixmap(128, 128).toImage();
}

void AppDelegate::addMenusTo(QMenuBar* menuBar) const {
    if (!menuBar)
        return;
    menuBar->addMenu(ui_->menuSlidebox);
    menuBar->addMenu(ui_->menuHelp);
}

void AppDelegate::center(QWidget* window) {
    if (!window)
        return;
    window->adjustSize();
    QScreen* screen = window->screen() ? window->screen() : QGuiApplication::primaryScreen();
    if (!screen)
        return;
    QRect frame = window->frameGeometry();
    frame.moveCenter(screen->availableGeometry().center());
    window->move(frame.topLeft());
}

void AppDelegate::bringToFront(QWidget* window) {
    if (!window)
        return;
    window->show();
    window->raise();
    window->activateWindow();
}

QButtonGroup* AppDelegate::windowKindMatrix() const {
    return ui_->windowKindMatrix;
}
QPushButton* AppDelegate::preferencesButton() const {
    return ui_->preferencesButton;
}
QAction* AppDelegate::preferencesAction() const {
    return ui_->actionPreferences;
}
QAction* AppDelegate::helpAction() const {
    return ui_->actionHelp;
}
QAction* AppDelegate::aboutAction() const {
    return ui_->actionAbout;
}
QAction* AppDelegate::homePageAction() const {
    return ui_->actionHomePage;
}
QAction* AppDelegate::quitAction() const {
    return ui_->actionQuit;
}

} // namespace slidebox::app
