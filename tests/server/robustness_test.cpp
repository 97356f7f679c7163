// Frames that must not work: spoofed or stale sessions, and malformed input of every kind.
// Loopback addresses 127.0.0.50 to 127.0.0.54.

#include <signal.h>

#include "server_fixture.h"

namespace nq::test {
namespace {

TEST_F(ServerTest, FramesFromAnotherAddressOrAStaleSessionAreDropped) {
    auto& s = launch("127.0.0.50");
    auto alice = client();
    alice->enter(s.chat(), "alice");
    auto bob = client();
    bob->enter(s.chat(), "bob");
    alice->waitFor(1, 4);  // bob came online
    auto mallory = client();

    // alice's session number from another address: neither answered nor acted on.
    mallory->sendFrame(s.chat(), 9, 0, 0, alice->session(), gbkFields({"alice"}));
    mallory->sendFrame(s.chat(), 2, 1, 0, alice->session(),
                       gbkFields({"alice", "bob", "宋体/10/0/1:00/假的"}));
    mallory->sendFrame(s.chat(), 1, 5, 0, alice->session(), gbkFields({"alice"}));
    mallory->expectSilence(200ms);
    bob->expectSilence(200ms);

    // From alice's own address, a session number that is not hers, and her session naming bob.
    alice->sendFrame(s.chat(), 9, 0, 0, alice->session() ^ 1, gbkFields({"alice"}));
    alice->sendFrame(s.chat(), 2, 1, 0, alice->session(), gbkFields({"bob", "alice", "宋体/10/0/1:00/冒名"}));
    alice->expectSilence(200ms);

    // A session that has ended stays ended.
    const uint32_t old = alice->session();
    alice->send(1, 5, 0, {});
    bob->waitFor(1, 4);
    alice->sendFrame(s.chat(), 9, 0, 0, old, gbkFields({"alice"}));
    alice->expectSilence(200ms);

    // Through all this alice's session lived until she left, and bob's still does.
    bob->keepAlive();
    bob->expect(9, 0);
}

TEST_F(ServerTest, MalformedInputIsDroppedAndTheServerCarriesOn) {
    auto& s = launch("127.0.0.51");
    auto alice = client();
    alice->enter(s.chat(), "alice");
    auto bob = client();
    bob->enter(s.chat(), "bob");
    alice->waitFor(1, 4);  // bob came online
    auto junk = client();

    auto header = [](uint16_t len, uint16_t type, uint16_t sub, uint32_t session) {
        Bytes h = encodeFrame({1, type, sub, session, 0}, "");
        h[2] = static_cast<char>(len >> 8);
        h[3] = static_cast<char>(len & 0xFF);
        return h;
    };
    const uint32_t a = alice->session();
    const std::vector<std::pair<const char*, Bytes>> inputs = {
        {"an empty datagram", ""},
        {"five stray bytes", "hello"},
        {"a header cut short", header(22, 9, 0, a).substr(0, 15)},
        {"Len below the header", header(10, 9, 0, a)},
        {"Len beyond the datagram", header(500, 9, 0, a) + "alice" + Bytes(1, '\0')},
        {"Len at its largest", header(0xFFFF, 2, 1, a)},
        {"an unknown kind", encodeFrame({1, 77, 3, a, 0}, gbkFields({"alice"}))},
        {"a kind not served", encodeFrame({1, 7, 1, a, 0}, gbkFields({"alice", "村"}))},
        {"no fields at all", encodeFrame({1, 2, 1, a, 0}, "")},
        {"a message without text", encodeFrame({1, 2, 1, a, 0}, gbkFields({"alice", "bob"}))},
        {"a field without its NUL", encodeFrame({1, 5, 1, a, 0}, Bytes("alice\0bob", 9))},
        {"a login without digest", encodeFrame({1, 1, 1, 0, 0}, gbkFields({"alice"}))},
        {"a profile request without a name", encodeFrame({1, 3, 1, a, 3}, gbkFields({"alice"}))},
        {"bytes that are not GBK", encodeFrame({1, 2, 1, a, 0}, Bytes("alice\0\xFF\xFF\0\x80\0", 11))},
    };
    for (const auto& [what, bytes] : inputs) {
        SCOPED_TRACE(what);
        alice->sendRaw(s.chat(), bytes);
        junk->sendRaw(s.chat(), bytes);
        junk->sendRaw(s.dispatcher(), bytes);
    }
    alice->expectSilence(200ms);
    bob->expectSilence(100ms);
    junk->expectSilence(100ms);

    // A good frame in front of a broken one is still read.
    Bytes both = encodeFrame({2, 9, 0, a, 0}, gbkFields({"alice"}));
    both += header(300, 2, 1, a);
    alice->sendRaw(s.chat(), both);
    alice->expect(9, 0);

    // And everything still works.
    ASSERT_TRUE(s.running());
    alice->send(2, 1, 0, {"bob", g("宋体/10/0/1:00/还活着")});
    EXPECT_EQ(bob->waitFor(2, 1).fields[0], "alice");
    EXPECT_EQ(junk->askDispatcher(s.dispatcher(), "erin", "123456").header.code, 1);
}

}  // namespace
}  // namespace nq::test
