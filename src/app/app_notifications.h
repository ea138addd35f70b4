#pragma once

#include <string>

class QCoreApplication;

namespace slidebox::app {

/// Posted on the default notification centre when the application is about
/// to end its event loop, with the application object as object. The
/// controller and the viewer registry save themselves on it.
extern const std::string applicationWillTerminateNotification;

/// Posts applicationWillTerminateNotification when the application emits
/// aboutToQuit: on the Quit command, on a quit by signal, at the end of exec.
void forwardApplicationWillTerminate(QCoreApplication& application);

} // namespace slidebox::app
