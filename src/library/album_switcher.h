#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "library/iphoto_application.h"

namespace slidebox {

/// Switches the photo application to a library: switchAlbum() returns at
/// once; 0.2 s later (on the main event loop) the path is handed to a worker
/// thread that runs threadSwitchAlbum. Switches asked for close together
/// never interleave: a later one waits until the one under way has ended,
/// and they run in the order asked. The thread gets the path string only,
/// and touches no record and no widget.
///
/// Made, used and ended on the thread that runs the Qt event loop.
class AlbumSwitcher {
  public:
    explicit AlbumSwitcher(iPhotoApplication application = iPhotoApplication());
    /// Lets the switch under way, those queued and those still in their
    /// 0.2 s delay finish (the delay is cut short), then joins the thread.
    ~AlbumSwitcher();
    AlbumSwitcher(const AlbumSwitcher&) = delete;
    AlbumSwitcher& operator=(const AlbumSwitcher&) = delete;

    /// Schedules a switch to the path; returns at once. Main thread.
    void switchAlbum(const std::string& path);

    /// Called on the main thread, after a switch, with its path and the
    /// reason when it failed or was refused (see
    /// iPhotoApplication::threadSwitchAlbum): what a window shows the user.
    using FailureHandler =
        std::function<void(const std::string& path, const platform::Status& why)>;
    void setFailureHandler(FailureHandler handler);

    /// Runs the event loop until no switch is pending (scheduled, queued or
    /// under way) or the timeout has passed; true when nothing is pending.
    /// For tests and shutdown, on the main thread.
    bool waitUntilIdle(std::chrono::milliseconds timeout);

  private:
    struct State;
    // Shared with the delayed calls on the event loop, which hold it weakly:
    // a delay that ends after the switcher finds nothing to do.
    std::shared_ptr<State> state_;
};

} // namespace slidebox
