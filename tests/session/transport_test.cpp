#include <gtest/gtest.h>

#include <arpa/inet.h>

#include <QThreadPool>
#include <atomic>
#include <future>
#include <vector>

#include "session/qt_transport.h"
#include "support/event_loop.h"
#include "support/loopback.h"

namespace nq {
namespace {

// Each socket binds an ephemeral port; the traffic goes to this process's own loopback address.
const std::string& here() {
    static const std::string address = test::claimLoopbackAddress();
    return address;
}

struct Listener {
    QtUdpSocket socket;
    std::vector<Bytes> heard;
    std::vector<SocketError> errors;

    Listener() {
        socket.onData = [this](const Bytes& d) { heard.push_back(d); };
        socket.onError = [this](SocketError e) { errors.push_back(e); };
        EXPECT_EQ(socket.bind(0), SocketError::None);
    }
};

TEST(UdpSocket, TellsATakenPortApartAndCarriesDatagramsBothWaysToAddressesAndHostNames) {
    Listener a, b;
    ASSERT_NE(a.socket.localPort(), 0);
    QtUdpSocket taken;
    EXPECT_EQ(taken.bind(a.socket.localPort()), SocketError::AddressInUse);
    EXPECT_EQ(taken.localPort(), 0);
    a.socket.setRemote(here(), b.socket.localPort());
    b.socket.setRemote(here(), a.socket.localPort());
    const Bytes binary("\0\xff\x80zz\0", 6);
    a.socket.send(binary);
    a.socket.send("second");
    b.socket.send("back");
    ASSERT_TRUE(test::waitUntil([&] { return b.heard.size() == 2 && a.heard.size() == 1; }));
    EXPECT_EQ(b.heard, (std::vector<Bytes>{binary, "second"}));
    EXPECT_EQ(a.heard, std::vector<Bytes>{"back"});
    // A host name resolves in the background; what is sent meanwhile waits for it.
    a.socket.setRemote("localhost", b.socket.localPort());
    a.socket.send("one");
    a.socket.send("two");
    ASSERT_TRUE(test::waitUntil([&] { return b.heard.size() == 4; }));
    EXPECT_EQ(b.heard, (std::vector<Bytes>{binary, "second", "one", "two"}));
    a.socket.close();
    EXPECT_EQ(a.socket.localPort(), 0);
}

TEST(UdpSocket, ASendToAClosedPortIsReportedAsAResetAndTheSocketGoesOn) {
    Listener a, b;
    uint16_t closedPort = 0;
    {
        QtUdpSocket gone;
        ASSERT_EQ(gone.bind(0), SocketError::None);
        closedPort = gone.localPort();
    }
    a.socket.setRemote(here(), closedPort);
    a.socket.send("anyone?");
    ASSERT_TRUE(test::waitUntil([&] { return !a.errors.empty(); }));
    EXPECT_EQ(a.errors, std::vector<SocketError>{SocketError::ConnectionReset});

    // The error queue is drained: the socket neither repeats the error nor stops hearing.
    b.socket.setRemote(here(), a.socket.localPort());
    b.socket.send("still here");
    ASSERT_TRUE(test::waitUntil([&] { return !a.heard.empty(); }));
    EXPECT_EQ(a.heard[0], "still here");
    EXPECT_EQ(a.errors.size(), 1u);
}

TEST(UdpSocket, ALookupThatHangsHoldsNeitherTheSocketNorTheExitAndFailuresSendNothing) {
    Listener b;
    std::promise<void> release;
    std::shared_future<void> released = release.get_future().share();
    std::atomic<int> entered{0}, answered{0};
    const auto hanging = [released, &entered, &answered](const std::string&) -> std::optional<in_addr> {
        ++entered;
        released.wait();
        ++answered;
        return in_addr{htonl(INADDR_LOOPBACK)};
    };
    {
        // Gone before its lookup answers: the answer must find nothing to call.
        QtUdpSocket doomed;
        doomed.setResolver(hanging);
        ASSERT_EQ(doomed.bind(0), SocketError::None);
        doomed.setRemote("hangs.test", b.socket.localPort());
        doomed.send("never");
        ASSERT_TRUE(test::waitUntil([&] { return entered == 1; }));
    }
    Listener a;
    a.socket.setResolver(hanging);
    a.socket.setRemote("hangs.test", b.socket.localPort());
    a.socket.send("stale");
    ASSERT_TRUE(test::waitUntil([&] { return entered == 2; }));
    // The application object waits for Qt's global pool when it ends; lookups stay off it.
    EXPECT_EQ(QThreadPool::globalInstance()->activeThreadCount(), 0);
    // Changing the remote drops both the lookup and what waited on it.
    a.socket.setRemote(here(), b.socket.localPort());
    a.socket.send("fresh");
    ASSERT_TRUE(test::waitUntil([&] { return !b.heard.empty(); }));
    release.set_value();
    ASSERT_TRUE(test::waitUntil([&] { return answered == 2; }));
    // An empty or unresolvable host swallows datagrams without an error.
    a.socket.setRemote("", b.socket.localPort());
    a.socket.send("into nowhere");
    a.socket.setResolver([](const std::string&) { return std::optional<in_addr>(); });
    a.socket.setRemote("no-such-host.invalid", b.socket.localPort());
    a.socket.send("into nowhere");
    test::waitUntil([] { return false; }, 50);  // room for late answers to be delivered, were they to be
    EXPECT_EQ(b.heard, std::vector<Bytes>{"fresh"});
    EXPECT_TRUE(a.errors.empty());
}

}  // namespace
}  // namespace nq
