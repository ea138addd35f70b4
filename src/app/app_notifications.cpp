#include "app/app_notifications.h"

#include <QCoreApplication>

#include "platform/notification_center.h"

namespace slidebox::app {

const std::string applicationWillTerminateNotification = "SB_ApplicationWillTerminateNotification";

void forwardApplicationWillTerminate(QCoreApplication& application) {
    QObject::connect(&application, &QCoreApplication::aboutToQuit, &application, [&application] {
        platform::NotificationCenter::defaultCenter().postNotificationName(
            applicationWillTerminateNotification, &application);
    });
}

} // namespace slidebox::app
