#include "support/EventLoop.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QThread>

namespace testsupport {

bool spinUntil(const std::function<bool()>& condition, std::chrono::milliseconds deadline) {
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() >= deadline.count()) {
            return condition();
        }
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QCoreApplication::sendPostedEvents();
        QThread::msleep(1);
    }
    return true;
}

void spinFor(std::chrono::milliseconds duration) {
    spinUntil([] { return false; }, duration);
}

} // namespace testsupport
