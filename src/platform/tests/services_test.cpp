// Notifications, timers, running processes and scripts (their log is the library's tests').
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>

#include <tuple>
#include <unistd.h>

#include "platform/notification_center.h"
#include "platform/repeating_timer.h"
#include "platform/running_applications.h"
#include "platform/script_runner.h"
#include "tests/temp_dir.h"

using namespace slidebox::platform;
using slidebox::testing::TempDir;
using slidebox::testing::writeFile;

TEST(NotificationCenter, SynchronousInOrderAndSafeAgainstRemovalDuringDelivery) {
    NotificationCenter center;
    std::vector<std::string> calls;
    int token = 0;
    NotificationCenter::Observation second;
    auto first = center.addObserver("N", [&](const void* object) {
        calls.push_back(object == &token ? "first" : "first?");
        second.reset(); // a listener removed while told is not called
    });
    second = center.addObserver("N", [&](const void*) { calls.push_back("second"); });
    auto other = center.addObserver("Other", [&](const void*) { calls.push_back("other"); });

    center.postNotificationName("N", &token);
    EXPECT_EQ(calls, std::vector<std::string>{"first"}); // delivered before post returns
    first.reset();
    center.postNotificationName("N", &token);
    EXPECT_EQ(calls.size(), 1u);
}

TEST(RepeatingTimer, TicksRepeatedlyAndMayEndItselfInsideATick) {
    auto kept = std::make_shared<int>(0);
    std::weak_ptr<int> watch = kept;
    std::unique_ptr<RepeatingTimer> timer;
    timer = std::make_unique<RepeatingTimer>(std::chrono::milliseconds(10), [&timer, kept] {
        if (++*kept == 3)
            timer.reset(); // the timer ends from inside its own tick
    });
    kept.reset();
    QElapsedTimer clock;
    clock.start();
    while (!watch.expired() && clock.elapsed() < 5000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    EXPECT_TRUE(watch.expired()); // what the tick held was let go
    EXPECT_FALSE(timer);
}

TEST(RunningApplications, ThisUsersLiveProcessesOfTheExactNameOnly) {
    TempDir proc;
    const std::string me = std::to_string(::geteuid()), other = std::to_string(::geteuid() + 1);
    using Row = std::tuple<const char*, const char*, std::string, char>; // pid, name, uids, state
    for (const auto& [pid, comm, uids, state] :
         {Row{"12", "iPhoto", "0 " + me, 'S'}, Row{"13", "iPhotoHelper", me + " " + me, 'S'},
          Row{"14", "iphoto", me + " " + me, 'R'}, Row{"15", "iPhoto", me + " " + other, 'S'},
          Row{"16", "iPhoto", me + " " + me, 'Z'}, Row{"self", "iPhoto", me + " " + me, 'S'}}) {
        writeFile(proc / pid / "comm", std::string(comm) + "\n");
        writeFile(proc / pid / "status",
                  "Name:\t" + std::string(comm) + "\nUid:\t" + uids + "\t0\t0\n");
        writeFile(proc / pid / "stat", std::string(pid) + " (" + comm + ") " + state + " 1");
    }
    EXPECT_EQ(processesNamed("iPhoto", proc.path()), std::vector<pid_t>{12});
    EXPECT_FALSE(isApplicationRunning("Photo", proc.path()));
    EXPECT_TRUE(isApplicationRunning(std::string(program_invocation_short_name).substr(0, 15)));
}

TEST(ScriptRunner, RunsWaitsAndReturnsItsText) {
    TempDir dir;
    writeFile(dir / "hello.applescript", "sleep 0.2\necho 'hello world'\nexit 3\n");
    auto result = runScript(dir / "hello.applescript");
    ASSERT_TRUE(result);
    EXPECT_EQ(std::pair(result->output, result->exitStatus),
              std::pair(std::string("hello world"), 3));
    EXPECT_FALSE(runScript(dir / "missing.applescript"));
    EXPECT_FALSE(runScript(dir.path()));
}
