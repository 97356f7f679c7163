#pragma once
// Waiting on Qt's event loop for something that a socket, a timer or a process brings.

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <functional>

namespace nq::test {

// Runs the event loop until done; the deadline is a bound for a broken build, not a timing goal.
inline bool waitUntil(const std::function<bool()>& done, int timeoutMs = 20000) {
    for (const QDeadlineTimer deadline(timeoutMs); !done();
         QCoreApplication::processEvents(QEventLoop::AllEvents, 20))
        if (deadline.hasExpired()) return false;
    return true;
}

}  // namespace nq::test
