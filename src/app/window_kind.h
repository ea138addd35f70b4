#pragma once

namespace slidebox::app {

/// The window kinds of the application, stored as a plain integer under
/// "AM_viewerWindowKind". A stored value outside these behaves like
/// floatingWindowKind.
enum WindowKind : int {
    /// A titled window that floats above the others (the registered default).
    floatingWindowKind = 0,
    /// A titled window at the normal level.
    normalWindowKind = 1,
    /// An item in the panel's tray and an untitled floating window that
    /// slides out from under the top edge of the screen.
    statusItemWindowKind = 2,
};

} // namespace slidebox::app
