#include "app/album_viewer.h"

#include <chrono>
#include <cmath>

#include <QDesktopServices>
#include <QFile>
#include <QMouseEvent>
#include <QPainter>
#include <QPromise>
#include <QSignalBlocker>
#include <QThreadPool>
#include <QTimer>
#include <QUrl>
#include <QVBoxLayout>

#include "app/current_event.h"
#include "app/image_view.h"
#include "platform/file_system.h"
#include "ui_album_viewer.h"

namespace slidebox::app {

namespace {

// The time stamp of the last allowed step, shared by every viewer; 0.0 until
// the first step of the process.
double gLastTime = 0.0;

double secondsSinceReferenceDate() {
    using namespace std::chrono;
    constexpr double referenceDate = 978307200.0; // 2001-01-01 00:00:00 UTC
    return duration<double>(system_clock::now().time_since_epoch()).count() - referenceDate;
}

std::function<double()>& clock() {
    static std::function<double()> current = secondsSinceReferenceDate;
    return current;
}

// Runs on a worker thread with the path alone: no record is touched there.
QImage readImageFile(const std::filesystem::path& path) {
    const auto bytes = platform::readWholeFile(path);
    if (!bytes)
        return {};
    QImage image;
    if (!image.loadFromData(QByteArrayView(bytes->data(), static_cast<qsizetype>(bytes->size()))))
        return {};
    iPhotoAlbumManager::setResolutionAt72dpi(image);
    return image;
}

} // namespace

AlbumViewer::AlbumViewer(QWidget* parent) : QWidget(parent) {
    CurrentEvent::install();
    imageLoad_ = new QFutureWatcher<QImage>(this);
    connect(imageLoad_, &QFutureWatcherBase::finished, this, &AlbumViewer::showLoadedImage);
    buildView();
    setFirstImage();
    setIsSelectable(false);
    registerForNotifications();
}

std::unique_ptr<AlbumViewer> AlbumViewer::viewerWithFrame(const RectF& frame) {
    auto viewer = std::make_unique<AlbumViewer>();
    viewer->setGeometry(qRectFromRect(frame));
    return viewer;
}

AlbumViewer::~AlbumViewer() {
    // A read under way ends on its own and finds nobody to show it.
    ++*loadGeneration_;
    unregisterForNotifications();
    stopTimer();
    photoManager_.reset();
}

void AlbumViewer::buildView() {
    if (overallView_)
        return;
    ui_ = std::make_unique<Ui::AlbumViewer>();
    overallView_ = new QWidget(this);
    overallView_->setObjectName(QStringLiteral("overallView"));
    ui_->setupUi(overallView_);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(overallView_);

    connect(ui_->previousButton, &QAbstractButton::clicked, this,
            [this] { previousImage(ui_->previousButton); });
    connect(ui_->nextButton, &QAbstractButton::clicked, this,
            [this] { nextImage(ui_->nextButton); });
    // valueChanged comes from the user only: setSliderPosition blocks it.
    connect(ui_->slider, &QSlider::valueChanged, this, [this] { slideImage(ui_->slider); });
    connect(ui_->autoRepeatButton, &QAbstractButton::clicked, this,
            [this] { autoImage(ui_->autoRepeatButton); });
    connect(ui_->openFolderButton, &QAbstractButton::clicked, this,
            [this] { openPhotoFolder(ui_->openFolderButton); });
}

void AlbumViewer::setPhotoManager(PhotoManagerPtr photoManager) {
    photoManager_ = std::move(photoManager);
    setFirstImage();
}

void AlbumViewer::setFirstImage() {
    setCurrentPhotoIndex(photoManager_ ? photoManager_->defaultImageIndex() : 0);
    setSliderPosition();
}

void AlbumViewer::setCurrentPhotoIndex(int index) {
    const int n = photoManager_ ? photoManager_->numberOfImage() : 0;
    if (index < 0)
        index = n - 1;
    if (index >= n)
        index = 0;
    if (n == 0)
        index = -1;
    currentPhotoIndex_ = index;
    setImage();
}

void AlbumViewer::setImage() {
    if (!ui_)
        return;
    const int n = photoManager_ ? photoManager_->numberOfImage() : 0;
    const auto* paths =
        photoManager_ && photoManager_->imagePaths() ? &*photoManager_->imagePaths() : nullptr;
    if (n > 0 && currentPhotoIndex_ >= 0 && paths &&
        currentPhotoIndex_ < static_cast<int>(paths->size())) {
        ui_->numberField->setText(QStringLiteral("%1/%2").arg(currentPhotoIndex_ + 1).arg(n));
        ui_->nameField->setText(
            QFile::decodeName(photoManager_->fileNameAtIndex(currentPhotoIndex_).c_str()));
        loadImage((*paths)[static_cast<size_t>(currentPhotoIndex_)]);
    } else {
        ui_->numberField->setText(QStringLiteral("%1/%2").arg(0).arg(0));
        ui_->nameField->clear();
        ++*loadGeneration_;
        loadingImage_ = false;
        ui_->imageView->clear();
    }
    updateControls();
}

void AlbumViewer::loadImage(const std::filesystem::path& path) {
    // The image on show stays until the new one has been read, so that
    // stepping through a library doesn't flash an empty view.
    const unsigned generation = ++*loadGeneration_;
    auto promise = std::make_shared<QPromise<QImage>>();
    promise->start();
    loadingImage_ = true;
    imageLoad_->setFuture(promise->future());
    QThreadPool::globalInstance()->start([promise, path, generation, current = loadGeneration_] {
        if (current->load() == generation)
            promise->addResult(readImageFile(path));
        promise->finish();
    });
}

void AlbumViewer::showLoadedImage() {
    // A late signal of an overtaken load finds the watcher on a newer one.
    const QFuture<QImage> future = imageLoad_->future();
    if (!loadingImage_ || !future.isFinished() || future.resultCount() == 0)
        return;
    loadingImage_ = false;
    ui_->imageView->setImage(future.result());
    emit imageLoaded();
}

void AlbumViewer::updateControls() {
    if (!ui_)
        return;
    const bool hasImages = photoManager_ && photoManager_->numberOfImage() > 0;
    ui_->previousButton->setEnabled(hasImages);
    ui_->nextButton->setEnabled(hasImages);
    ui_->slider->setEnabled(hasImages);
    // A slide show under way can always be stopped.
    ui_->autoRepeatButton->setEnabled(hasImages || autoActive());
    ui_->openFolderButton->setEnabled(photoManager_ && photoManager_->albumPath());
}

void AlbumViewer::setSliderPosition() {
    if (!ui_)
        return;
    const int n = photoManager_ ? photoManager_->numberOfImage() : 0;
    int position = 0;
    if (currentPhotoIndex_ != -1 && n != 1) {
        const double maxValue = ui_->slider->maximum();
        position = static_cast<int>(
            std::trunc(static_cast<double>(currentPhotoIndex_) * maxValue / (n - 1)));
    }
    const QSignalBlocker blocker(ui_->slider);
    ui_->slider->setValue(position);
}

void AlbumViewer::slideImage(QSlider* sender) {
    const int n = photoManager_ ? photoManager_->numberOfImage() : 0;
    if (n == 0 || !sender)
        return;
    const double maxValue = sender->maximum();
    if (maxValue <= 0.0) {
        setCurrentPhotoIndex(0);
        return;
    }
    // Single-precision product, then a double division: the rounding of the
    // original arithmetic decides which image a slider position names.
    const float product = static_cast<float>(n - 1) * static_cast<float>(sender->value());
    const double index = std::trunc(static_cast<double>(product) / maxValue);
    setCurrentPhotoIndex(static_cast<int>(index));
}

void AlbumViewer::previousImage(QObject* sender) {
    step(sender, -1);
}
void AlbumViewer::nextImage(QObject* sender) {
    step(sender, +1);
}

void AlbumViewer::step(QObject* sender, int delta) {
    if (sender != this)
        stopTimer();
    if (!doIt())
        return;
    setCurrentPhotoIndex(currentPhotoIndex_ + delta);
    setSliderPosition();
}

bool AlbumViewer::doIt() {
    const double now = clock()();
    if (gLastTime == 0.0) {
        gLastTime = now;
        return true;
    }
    if (CurrentEvent::isLeftMouseUp())
        return true;
    if (now > gLastTime + stepInterval) {
        gLastTime = now;
        return true;
    }
    return false;
}

void AlbumViewer::slideShow() {
    nextImage(this);
}

void AlbumViewer::autoImage(QObject*) {
    if (autoActive())
        stopTimer();
    else
        startTimer();
}

void AlbumViewer::startTimer() {
    if (autoTimer_)
        return;
    autoTimer_ = std::make_unique<QTimer>();
    autoTimer_->setInterval(slideShowIntervalMs);
    connect(autoTimer_.get(), &QTimer::timeout, this, &AlbumViewer::slideShow);
    autoTimer_->start();
    updateControls();
}

void AlbumViewer::stopTimer() {
    if (!autoTimer_)
        return;
    if (ui_)
        ui_->autoRepeatButton->setChecked(false);
    autoTimer_->stop();
    autoTimer_.reset();
    updateControls();
}

void AlbumViewer::openPhotoFolder(QObject*) {
    if (!photoManager_ || !photoManager_->albumPath())
        return;
    QDesktopServices::openUrl(
        QUrl::fromLocalFile(QFile::decodeName(photoManager_->albumPath()->c_str())));
}

void AlbumViewer::setIsSelectable(bool selectable) {
    isSelectable_ = selectable;
    if (viewSelected_) {
        viewSelected_ = false;
        update();
    }
}

void AlbumViewer::libraryModificationNotification(const void* object) {
    if (!photoManager_ || object != photoManager_.get())
        return;
    slideImage(slider());
}

void AlbumViewer::registerForNotifications() {
    observation_ = platform::NotificationCenter::defaultCenter().addObserver(
        slidebox::libraryModificationNotification,
        [this](const void* object) { libraryModificationNotification(object); });
}

void AlbumViewer::unregisterForNotifications() {
    observation_.reset();
}

void AlbumViewer::paintEvent(QPaintEvent* event) {
    QWidget::paintEvent(event);
    if (!viewSelected_ || !ui_)
        return;
    QPainter painter(this);
    const QRect box(ui_->selectBox->mapTo(this, QPoint(0, 0)), ui_->selectBox->size());
    painter.fillRect(box, palette().highlight());
}

void AlbumViewer::mousePressEvent(QMouseEvent* event) {
    event->accept();
    if (!isSelectable_)
        return;
    viewSelected_ = !viewSelected_;
    update();
}

ImageView* AlbumViewer::imageView() const {
    return ui_ ? ui_->imageView : nullptr;
}
QLabel* AlbumViewer::numberField() const {
    return ui_ ? ui_->numberField : nullptr;
}
QLabel* AlbumViewer::nameField() const {
    return ui_ ? ui_->nameField : nullptr;
}
QPushButton* AlbumViewer::autoRepeatButton() const {
    return ui_ ? ui_->autoRepeatButton : nullptr;
}
QPushButton* AlbumViewer::previousButton() const {
    return ui_ ? ui_->previousButton : nullptr;
}
QPushButton* AlbumViewer::nextButton() const {
    return ui_ ? ui_->nextButton : nullptr;
}
QPushButton* AlbumViewer::openFolderButton() const {
    return ui_ ? ui_->openFolderButton : nullptr;
}
QFrame* AlbumViewer::selectBox() const {
    return ui_ ? ui_->selectBox : nullptr;
}
QSlider* AlbumViewer::slider() const {
    return ui_ ? ui_->slider : nullptr;
}

void AlbumViewer::setClock(std::function<double()> newClock) {
    clock() = newClock ? std::move(newClock) : secondsSinceReferenceDate;
}

void AlbumViewer::resetLastTime() {
    gLastTime = 0.0;
}

} // namespace slidebox::app
