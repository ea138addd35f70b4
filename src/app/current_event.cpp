#include "app/current_event.h"

#include <QCoreApplication>
#include <QInputEvent>
#include <QMouseEvent>
#include <QPointer>

namespace slidebox::app {

namespace {

struct Record {
    QEvent::Type type = QEvent::None;
    Qt::MouseButton button = Qt::NoButton;
    Qt::KeyboardModifiers modifiers;
};

Record& current() {
    static Record record;
    return record;
}

bool isUserInput(QEvent::Type type) {
    switch (type) {
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonRelease:
    case QEvent::MouseButtonDblClick:
    case QEvent::MouseMove:
    case QEvent::KeyPress:
    case QEvent::KeyRelease:
    case QEvent::Wheel:
        return true;
    default:
        return false;
    }
}

} // namespace

void CurrentEvent::install() {
    static QPointer<CurrentEvent> recorder;
    if (recorder || !QCoreApplication::instance())
        return;
    recorder = new CurrentEvent(QCoreApplication::instance());
    QCoreApplication::instance()->installEventFilter(recorder);
}

QEvent::Type CurrentEvent::type() {
    return current().type;
}
Qt::MouseButton CurrentEvent::button() {
    return current().button;
}
Qt::KeyboardModifiers CurrentEvent::modifiers() {
    return current().modifiers;
}

bool CurrentEvent::isLeftMouseUp() {
    return current().type == QEvent::MouseButtonRelease && current().button == Qt::LeftButton;
}

bool CurrentEvent::hasCommandKey() {
    return current().modifiers.testFlag(Qt::ControlModifier);
}
bool CurrentEvent::hasOptionKey() {
    return current().modifiers.testFlag(Qt::AltModifier);
}

void CurrentEvent::clear() {
    current() = Record{};
}

bool CurrentEvent::eventFilter(QObject* watched, QEvent* event) {
    const QEvent::Type type = event->type();
    if (isUserInput(type)) {
        // Qt delivers a mouse or key event that no widget accepted once more
        // to the parent; the record of the first delivery stands for both.
        if (event->spontaneous()) {
            auto* input = static_cast<QInputEvent*>(event);
            Record record{type, Qt::NoButton, input->modifiers()};
            if (type == QEvent::MouseButtonPress || type == QEvent::MouseButtonRelease ||
                type == QEvent::MouseButtonDblClick)
                record.button = static_cast<QMouseEvent*>(event)->button();
            current() = record;
        }
    } else if (type == QEvent::Timer || type == QEvent::MetaCall || type == QEvent::SockAct) {
        current() = Record{type, Qt::NoButton, {}};
    }
    return QObject::eventFilter(watched, event);
}

} // namespace slidebox::app
