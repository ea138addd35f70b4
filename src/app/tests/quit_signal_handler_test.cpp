// The quit signals reach the event loop, and the log says which.
#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <vector>

#include <QEventLoop>
#include <QTimer>

#include "app/quit_signal_handler.h"
#include "tests/log_capture.h"

using slidebox::app::QuitSignalHandler;

namespace {

TEST(QuitSignalHandler, TermIntAndHangUpEndTheEventLoopNormallyAndAreLogged) {
    slidebox::testing::LogCapture log;
    const std::vector<std::string>& lines = log.lines;
    for (const int signalNumber : {SIGTERM, SIGINT, SIGHUP}) {
        QuitSignalHandler handler;
        // The handler is there before the event loop is watched: a signal
        // during the start waits for it.
        ASSERT_TRUE(handler.isActive());
        std::raise(signalNumber);
        ASSERT_TRUE(handler.startWatching());
        QEventLoop loop;
        int received = 0;
        QObject::connect(&handler, &QuitSignalHandler::quitSignalReceived, &loop, [&](int number) {
            received = number;
            loop.quit();
        });
        QTimer::singleShot(5000, &loop, &QEventLoop::quit);
        loop.exec();
        EXPECT_EQ(received, signalNumber);
        ASSERT_FALSE(lines.empty());
        EXPECT_NE(lines.back().find(QuitSignalHandler::signalName(signalNumber).toStdString()),
                  std::string::npos)
            << lines.back();
    }
}

} // namespace
