// Test main shared by every test executable: makes the Qt application
// object the tests of a subsystem need, headless, then runs GoogleTest.
#include <gtest/gtest.h>

#include <cstdlib>

#if SLIDEBOX_TEST_APP == 3
#include <QApplication>
using TestApplication = QApplication;
#elif SLIDEBOX_TEST_APP == 2
#include <QGuiApplication>
using TestApplication = QGuiApplication;
#else
#include <QCoreApplication>
using TestApplication = QCoreApplication;
#endif

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    TestApplication app(argc, argv);
    return RUN_ALL_TESTS();
}
