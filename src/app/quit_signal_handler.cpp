#include "app/quit_signal_handler.h"

#include <cerrno>
#include <csignal>

#include <QCoreApplication>
#include <QSocketNotifier>

#include <fcntl.h>
#include <unistd.h>

#include "platform/log.h"

namespace slidebox::app {

namespace {

int gSignalPipe[2] = {-1, -1};

extern "C" void writeSignalByte(int signalNumber) {
    const int savedErrno = errno;
    const unsigned char byte = static_cast<unsigned char>(signalNumber);
    [[maybe_unused]] ssize_t written = ::write(gSignalPipe[1], &byte, 1);
    errno = savedErrno;
}

} // namespace

QuitSignalHandler::QuitSignalHandler(QObject* parent) : QObject(parent) {
    if (gSignalPipe[0] >= 0 || ::pipe2(gSignalPipe, O_CLOEXEC | O_NONBLOCK) != 0) {
        platform::log("Could not watch the quit signals");
        return;
    }
    notifier_ = new QSocketNotifier(gSignalPipe[0], QSocketNotifier::Read, this);
    connect(notifier_, &QSocketNotifier::activated, this, &QuitSignalHandler::readSignal);

    struct sigaction action = {};
    action.sa_handler = writeSignalByte;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
}

QuitSignalHandler::~QuitSignalHandler() {
    if (!notifier_)
        return;
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    sigemptyset(&action.sa_mask);
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
    delete notifier_;
    notifier_ = nullptr;
    ::close(gSignalPipe[0]);
    ::close(gSignalPipe[1]);
    gSignalPipe[0] = gSignalPipe[1] = -1;
}

void QuitSignalHandler::readSignal() {
    unsigned char byte = 0;
    while (::read(gSignalPipe[0], &byte, 1) == 1) {
    }
    // Not quit(), which would first ask the windows to close and be refused.
    QCoreApplication::exit(0);
}

} // namespace slidebox::app
