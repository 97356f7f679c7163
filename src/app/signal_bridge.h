#pragma once
// SIGTERM and SIGINT reach the program as an ordinary Qt signal on the event loop, so that a
// session ends the way a user ends it (the 退出 item) rather than mid-tick: a handler may only
// write to a pipe, and a socket notifier carries the news to the loop.

#include <QObject>

class QSocketNotifier;

namespace nq::app {

class SignalBridge : public QObject {
    Q_OBJECT
  public:
    // Installs the handlers for SIGTERM and SIGINT; one bridge per process.
    explicit SignalBridge(QObject* parent = nullptr);
    ~SignalBridge() override;

  signals:
    void terminateRequested(int signalNumber);

  private:
    QSocketNotifier* notifier_ = nullptr;
};

}  // namespace nq::app
