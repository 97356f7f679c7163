#include <gtest/gtest.h>

#include <vector>

#include "session/qt_transport.h"
#include "support/session_harness.h"

namespace nq {
namespace {

using test::waitFor;

// Each socket binds an ephemeral port; the traffic goes to this test's own loopback address.
constexpr const char* kHere = "127.0.0.71";

struct Listener {
    QtUdpSocket socket;
    std::vector<Bytes> heard;
    std::vector<int> errors;

    Listener() {
        socket.onData = [this](const Bytes& d) { heard.push_back(d); };
        socket.onError = [this](int e) { errors.push_back(e); };
        EXPECT_EQ(socket.bind(0), 0);
    }
};

TEST(UdpSocket, BindsAndTellsATakenPortApart) {
    Listener a;
    ASSERT_NE(a.socket.localPort(), 0);
    QtUdpSocket b;
    EXPECT_EQ(b.bind(a.socket.localPort()), kErrAddressInUse);
    EXPECT_EQ(b.localPort(), 0);
    a.socket.close();
    EXPECT_EQ(a.socket.localPort(), 0);
    EXPECT_EQ(b.bind(a.socket.localPort()), 0) << "port 0 after close: any free port";
}

TEST(UdpSocket, CarriesDatagramsBothWaysWithTheirBytesIntact) {
    Listener a, b;
    a.socket.setRemote(kHere, b.socket.localPort());
    b.socket.setRemote(kHere, a.socket.localPort());
    const Bytes binary("\0\xff\x80zz\0", 6);
    a.socket.send(binary);
    a.socket.send("second");
    b.socket.send("back");
    ASSERT_TRUE(waitFor([&] { return b.heard.size() == 2 && a.heard.size() == 1; }));
    EXPECT_EQ(b.heard[0], binary);
    EXPECT_EQ(b.heard[1], "second");
    EXPECT_EQ(a.heard[0], "back");
}

TEST(UdpSocket, ASendToAClosedPortIsReportedAsAResetAndTheSocketGoesOn) {
    Listener a, b;
    uint16_t closedPort = 0;
    {
        QtUdpSocket gone;
        ASSERT_EQ(gone.bind(0), 0);
        closedPort = gone.localPort();
    }
    a.socket.setRemote(kHere, closedPort);
    a.socket.send("anyone?");
    ASSERT_TRUE(waitFor([&] { return !a.errors.empty(); }));
    EXPECT_EQ(a.errors, std::vector<int>{kErrConnectionReset});

    // The error queue is drained: the socket neither repeats the error nor stops hearing.
    b.socket.setRemote(kHere, a.socket.localPort());
    b.socket.send("still here");
    ASSERT_TRUE(waitFor([&] { return !a.heard.empty(); }));
    EXPECT_EQ(a.heard[0], "still here");
    EXPECT_EQ(a.errors.size(), 1u);
}

TEST(UdpSocket, HostNamesResolveInTheBackgroundAndHoldWhatWasSentMeanwhile) {
    Listener a, b;
    a.socket.setRemote("localhost", b.socket.localPort());
    a.socket.send("one");
    a.socket.send("two");
    ASSERT_TRUE(waitFor([&] { return b.heard.size() == 2; }));
    EXPECT_EQ(b.heard[0], "one");
    EXPECT_EQ(b.heard[1], "two");
}

TEST(UdpSocket, ANewRemoteOrTheSocketsEndAbandonsALookupInFlight) {
    Listener b;
    {
        // Gone before its lookup answers: the answer must find nothing to call.
        QtUdpSocket doomed;
        ASSERT_EQ(doomed.bind(0), 0);
        doomed.setRemote("localhost", b.socket.localPort());
        doomed.send("never");
    }
    Listener a;
    a.socket.setRemote("localhost", b.socket.localPort());
    a.socket.send("stale");
    // Changing the remote drops both the lookup and what waited on it.
    a.socket.setRemote(kHere, b.socket.localPort());
    a.socket.send("fresh");
    ASSERT_TRUE(waitFor([&] { return !b.heard.empty(); }));
    // Time for a late lookup answer to arrive, were it to deliver anything.
    waitFor([] { return false; }, 300);
    EXPECT_EQ(b.heard, std::vector<Bytes>{"fresh"});
}

TEST(UdpSocket, AnEmptyOrUnresolvableHostSwallowsDatagrams) {
    Listener a;
    a.socket.setRemote("", 9);
    a.socket.send("into nowhere");
    a.socket.setRemote("no-such-host.invalid", 9);
    a.socket.send("into nowhere");
    waitFor([] { return false; }, 300);
    EXPECT_TRUE(a.errors.empty());
}

}  // namespace
}  // namespace nq
