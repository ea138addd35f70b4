#pragma once

#include <QObject>

class QSocketNotifier;

namespace slidebox::app {

/// Turns SIGTERM, SIGINT and SIGHUP into a signal of the event loop, so
/// that the program can quit the normal way (the will-terminate
/// notification runs and everything is saved); the log names the signal.
/// The signal handler only writes a byte into a pipe; the event loop reads
/// it through a socket notifier, logs and emits quitSignalReceived.
///
/// Made first thing in main, before the application object and the
/// settings: a signal that comes while they load waits in the pipe until the
/// event loop runs. One per process; the handlers are put back to the
/// defaults when it ends.
class QuitSignalHandler : public QObject {
    Q_OBJECT
  public:
    /// Installs the handlers at once; needs no application object.
    explicit QuitSignalHandler(QObject* parent = nullptr);
    ~QuitSignalHandler() override;

    /// Starts reading the pipe from the event loop; call once the
    /// application object exists. False when the handlers are not set up.
    bool startWatching();

    /// False when the pipe or the handlers could not be set up.
    bool isActive() const { return installed_; }

    /// "SIGTERM", "SIGINT", "SIGHUP", or "signal N" for another number.
    static QString signalName(int signalNumber);

  signals:
    /// A quit signal read from the pipe (after the log line).
    void quitSignalReceived(int signalNumber);

  private:
    void readSignal();
    bool installed_ = false;
    QSocketNotifier* notifier_ = nullptr;
};

} // namespace slidebox::app
