#include "app/quit_signal_handler.h"

#include <array>
#include <cerrno>
#include <csignal>

#include <QSocketNotifier>

#include <fcntl.h>
#include <unistd.h>

#include "platform/log.h"

namespace slidebox::app {

namespace {

int gSignalPipe[2] = {-1, -1};

constexpr std::array kQuitSignals{SIGTERM, SIGINT, SIGHUP};

extern "C" void writeSignalByte(int signalNumber) {
    const int savedErrno = errno;
    const unsigned char byte = static_cast<unsigned char>(signalNumber);
    [[maybe_unused]] ssize_t written = ::write(gSignalPipe[1], &byte, 1);
    errno = savedErrno;
}

void setHandlers(void (*handler)(int)) {
    struct sigaction action = {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (int signalNumber : kQuitSignals)
        sigaction(signalNumber, &action, nullptr);
}

} // namespace

QuitSignalHandler::QuitSignalHandler(QObject* parent) : QObject(parent) {
    if (gSignalPipe[0] >= 0 || ::pipe2(gSignalPipe, O_CLOEXEC | O_NONBLOCK) != 0) {
        platform::log("Could not watch the quit signals");
        return;
    }
    setHandlers(writeSignalByte);
    installed_ = true;
}

QuitSignalHandler::~QuitSignalHandler() {
    if (!installed_)
        return;
    setHandlers(SIG_DFL);
    delete notifier_;
    notifier_ = nullptr;
    ::close(gSignalPipe[0]);
    ::close(gSignalPipe[1]);
    gSignalPipe[0] = gSignalPipe[1] = -1;
}

bool QuitSignalHandler::startWatching() {
    if (!installed_)
        return false;
    if (!notifier_) {
        notifier_ = new QSocketNotifier(gSignalPipe[0], QSocketNotifier::Read, this);
        connect(notifier_, &QSocketNotifier::activated, this, &QuitSignalHandler::readSignal);
    }
    return true;
}

QString QuitSignalHandler::signalName(int signalNumber) {
    switch (signalNumber) {
    case SIGTERM:
        return QStringLiteral("SIGTERM");
    case SIGINT:
        return QStringLiteral("SIGINT");
    case SIGHUP:
        return QStringLiteral("SIGHUP");
    default:
        return QStringLiteral("signal %1").arg(signalNumber);
    }
}

void QuitSignalHandler::readSignal() {
    unsigned char byte = 0;
    int signalNumber = 0;
    while (::read(gSignalPipe[0], &byte, 1) == 1) {
        if (signalNumber == 0)
            signalNumber = byte;
    }
    if (signalNumber == 0)
        return;
    platform::log("Quitting on " + signalName(signalNumber).toStdString());
    emit quitSignalReceived(signalNumber);
}

} // namespace slidebox::app
