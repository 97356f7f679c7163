#include "app/signal_bridge.h"

#include <fcntl.h>
#include <unistd.h>

#include <QSocketNotifier>
#include <csignal>

namespace nq::app {
namespace {

int g_pipe[2] = {-1, -1};

void onSignal(int sig) {
    const unsigned char byte = static_cast<unsigned char>(sig);
    [[maybe_unused]] const ssize_t n = ::write(g_pipe[1], &byte, 1);
}

}  // namespace

SignalBridge::SignalBridge(QObject* parent) : QObject(parent) {
    if (::pipe2(g_pipe, O_CLOEXEC | O_NONBLOCK) != 0) return;
    notifier_ = new QSocketNotifier(g_pipe[0], QSocketNotifier::Read, this);
    connect(notifier_, &QSocketNotifier::activated, this, [this] {
        unsigned char byte = 0;
        while (::read(g_pipe[0], &byte, 1) == 1) emit terminateRequested(byte);
    });
    struct sigaction sa {};
    sa.sa_handler = onSignal;
    sigemptyset(&sa.sa_mask);
    sa.sa_flags = SA_RESTART;
    ::sigaction(SIGTERM, &sa, nullptr);
    ::sigaction(SIGINT, &sa, nullptr);
}

SignalBridge::~SignalBridge() {
    struct sigaction sa {};
    sa.sa_handler = SIG_DFL;
    ::sigaction(SIGTERM, &sa, nullptr);
    ::sigaction(SIGINT, &sa, nullptr);
}

}  // namespace nq::app
