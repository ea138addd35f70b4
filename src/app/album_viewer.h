#pragma once

#include <atomic>
#include <functional>
#include <memory>

#include <QFutureWatcher>
#include <QImage>
#include <QWidget>

#include "app/rect_geometry.h"
#include "library/iphoto_album_manager.h"
#include "platform/notification_center.h"

class QAbstractButton;
class QFrame;
class QLabel;
class QPushButton;
class QSlider;
class QTimer;

namespace Ui {
class AlbumViewer;
}

namespace slidebox::app {

class ImageView;

/// The slide view of one photo library: one image at a time (scaled down to
/// fit the view when it is larger, else at one point per pixel), read from
/// its file off the event loop, its file name and its place ("%d/%d"), a slider across the
/// library, previous and next steps held to one in 0.3 seconds, and a slide
/// show that steps every 1.6 seconds. Reads everything from the record it is
/// given and follows that record's modification notification.
///
/// Main thread only. Holds one reference to its record.
class AlbumViewer : public QWidget {
    Q_OBJECT
  public:
    /// initWithFrame: builds the content from the interface file, goes to
    /// the first image (none yet), not selectable, listening.
    explicit AlbumViewer(QWidget* parent = nullptr);
    /// A new viewer with the frame (Qt coordinates of its parent-to-be),
    /// owned by the caller.
    static std::unique_ptr<AlbumViewer> viewerWithFrame(const RectF& frame);
    ~AlbumViewer() override;

    const PhotoManagerPtr& photoManager() const { return photoManager_; }
    /// Takes the record (nullptr allowed) and shows its default image. The
    /// slide show goes on.
    void setPhotoManager(PhotoManagerPtr photoManager);

    /// Index of the image on show; -1 when there is none.
    int currentPhotoIndex() const { return currentPhotoIndex_; }
    /// Wraps (negative -> last, past the end -> first, no images -> -1),
    /// stores and shows. The slider is left alone.
    void setCurrentPhotoIndex(int index);
    /// Moves the slider to the current index.
    void setSliderPosition();
    /// Goes to the record's default image and moves the slider there.
    void setFirstImage();
    /// Fills the place and the name from the current index at once, and asks
    /// for the image, which comes when its file has been read on a worker
    /// thread (the image of the last index asked for wins). With no image
    /// the view is emptied at once. The step, slide-show and show-folder
    /// controls are enabled only where they can act.
    void setImage();
    /// Whether the image of the current index is still being read.
    bool isLoadingImage() const { return loadingImage_; }

    /// One step back or on. A sender other than the viewer itself stops the
    /// slide show first; the step is made only when doIt() allows it.
    void previousImage(QObject* sender);
    void nextImage(QObject* sender);
    /// Goes to the image at the slider's proportion of the library.
    void slideImage(QSlider* sender);
    /// One tick of the slide show: nextImage with the viewer as sender.
    void slideShow();
    /// Starts or stops the slide show.
    void autoImage(QObject* sender);
    using QObject::startTimer;
    /// Starts the slide show's 1.6 s repeating timer, unless it runs.
    void startTimer();
    /// Stops the slide show and releases its button; nothing when off.
    void stopTimer();
    bool autoActive() const { return autoTimer_ != nullptr; }

    /// The rate limiter shared by every viewer of the process: a step is
    /// allowed the first time, on a left mouse button release, or when more
    /// than 0.3 s have passed since the last allowed step (which the release
    /// does not count as).
    static bool doIt();

    /// Opens the library's folder in the desktop's file manager.
    void openPhotoFolder(QObject* sender);

    /// Whether a click may toggle the selection mark; either way the mark
    /// is cleared.
    void setIsSelectable(bool selectable);
    bool isSelectable() const { return isSelectable_; }
    bool viewSelected() const { return viewSelected_; }

    /// Re-reads the slider against the new image count when the object is
    /// the record on show.
    void libraryModificationNotification(const void* object);
    void registerForNotifications();
    void unregisterForNotifications();
    /// Loads the interface file "AlbumViewer" into this view.
    void buildView();

    // Outlets: widgets of the interface file, owned by the view.
    QWidget* overallView() const { return overallView_; }
    ImageView* imageView() const;
    QLabel* numberField() const;
    QLabel* nameField() const;
    QPushButton* autoRepeatButton() const;
    QPushButton* previousButton() const;
    QPushButton* nextButton() const;
    QPushButton* openFolderButton() const;
    QFrame* selectBox() const;
    QSlider* slider() const;

    /// The limiter's clock, in seconds since 2001-01-01 (tests put their own).
    static void setClock(std::function<double()> clock);
    /// Back to the start of the process: no step made yet.
    static void resetLastTime();
    /// The slide show's period and the limiter's interval.
    static constexpr int slideShowIntervalMs = 1600;
    static constexpr double stepInterval = 0.3;

  protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

  signals:
    /// The image asked for by setImage() is on show (or the view emptied
    /// because its file could not be read).
    void imageLoaded();

  private:
    void step(QObject* sender, int delta);
    void loadImage(const std::filesystem::path& path);
    void showLoadedImage();
    void updateControls();

    PhotoManagerPtr photoManager_;
    std::unique_ptr<Ui::AlbumViewer> ui_;
    QWidget* overallView_ = nullptr;
    int currentPhotoIndex_ = -1;
    bool viewSelected_ = false;
    bool isSelectable_ = false;
    std::unique_ptr<QTimer> autoTimer_;
    QFutureWatcher<QImage>* imageLoad_ = nullptr; // child of the viewer
    // Shared with the loads under way: a load that a later one has
    // overtaken before it started reads nothing.
    std::shared_ptr<std::atomic<unsigned>> loadGeneration_ =
        std::make_shared<std::atomic<unsigned>>(0);
    bool loadingImage_ = false;
    platform::NotificationCenter::Observation observation_;
};

} // namespace slidebox::app
