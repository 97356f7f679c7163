// The chat service on a hand-driven clock: what takes minutes of real time (time-outs, long
// backlogs read by a client at two frames a tick) runs here in milliseconds.

#include "server/chat_service.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <unistd.h>

#include <map>
#include <sstream>

#include "server/admin.h"
#include "server/records.h"
#include "server/sqlite_store.h"
#include "wire/digest.h"
#include "wire/fields.h"

namespace nq::server {
namespace {

using namespace std::chrono_literals;

Bytes g(std::string_view utf8) {
    return gbk::fromUtf8(utf8);
}

struct Got {
    FrameHeader header;
    Bytes body;
    Time at;
    std::vector<Bytes> fields() const {
        std::vector<Bytes> out;
        FieldReader r(body);
        while (auto f = r.next()) out.emplace_back(*f);
        return out;
    }
};

class ChatServiceTest : public ::testing::Test {
  protected:
    ChatServiceTest() {
        char pattern[] = "/tmp/nqserver-chat-XXXXXX";
        folder_ = mkdtemp(pattern);
        store_ = std::make_unique<SqliteStore>(folder_ + "/chat.db");
        std::ostringstream ignored;
        runAdmin(*store_, Demo{}, ignored);
        log_.setSink([this](std::string_view line) { logText_ += line; });
    }
    ~ChatServiceTest() override {
        chat_.reset();
        store_.reset();
        std::system(("rm -rf '" + folder_ + "'").c_str());
    }
    void TearDown() override {
        if (HasFailure()) std::cerr << logText_;
    }

    ChatService& chat() {
        if (!chat_) chat_ = std::make_unique<ChatService>(*store_, config_, log_);
        return *chat_;
    }
    static Endpoint client(int n) { return {0x7F000001, static_cast<uint16_t>(7000 + n)}; }

    void collect() {
        for (Datagram& d : chat().output()) {
            auto f = decodeFrame(d.data);
            ASSERT_TRUE(f);
            ASSERT_LE(f->len, kMaxFrame);
            inbox_[d.to.port].push_back({f->header, Bytes(f->body), now_});
        }
        chat().output().clear();
    }
    void send(const Endpoint& from, uint16_t type, uint16_t sub, uint16_t code, uint32_t session,
              const Bytes& body) {
        chat().onDatagram(from, encodeFrame({1, type, sub, session, code}, body), now_);
        collect();
    }
    uint32_t login(const Endpoint& from, const char* name) {
        send(from, 1, 1, 0, 0, joinFields({name, *passwordDigest("123456")}));
        const Got& reply = inbox_[from.port].back();
        EXPECT_EQ(reply.header.code, 1);
        return reply.header.session;
    }
    // Login and the roster exchange, with (2,6).
    uint32_t enter(const Endpoint& from, const char* name) {
        const uint32_t s = login(from, name);
        send(from, 3, 4, 0, s, joinFields({name}));
        send(from, 2, 6, 0, s, joinFields({name}));
        return s;
    }
    void advance(Duration d, Duration step = 10ms) {
        for (const Time end = now_ + d; now_ < end;) {
            now_ += step;
            chat().onTimer(now_);
            collect();
        }
    }
    std::vector<Got> messagesTo(const Endpoint& e) {
        std::vector<Got> out;
        for (const Got& g : inbox_[e.port])
            if (g.header.type == 2 && g.header.sub == 1) out.push_back(g);
        return out;
    }

    std::string folder_;
    std::unique_ptr<SqliteStore> store_;
    ChatConfig config_;  // the real defaults: 60 s time-out, 500 ms tick
    Logger log_;
    std::string logText_;
    std::unique_ptr<ChatService> chat_;
    Time now_ = Time() + 1h;
    std::map<uint16_t, std::vector<Got>> inbox_;
};

TEST_F(ChatServiceTest, SilentSessionEndsAfterSixtySecondsAndNotBefore) {
    const Endpoint alice = client(1), bob = client(2);
    enter(alice, "alice");
    const uint32_t bobSession = enter(bob, "bob");
    const Time lastHeard = now_;
    for (int i = 0; i < 6; ++i) {
        advance(10s, 100ms);
        send(bob, 9, 0, 0, bobSession, joinFields({"bob"}));  // bob keeps alive, alice does not
    }
    advance(ChatConfig().sessionTimeout - (now_ - lastHeard) - 100ms, 100ms);
    EXPECT_TRUE(chat().sessionOf("alice"));
    advance(1100ms, 100ms);
    EXPECT_FALSE(chat().sessionOf("alice"));
    EXPECT_TRUE(chat().sessionOf("bob"));
    const Got& last = inbox_[bob.port].back();
    EXPECT_EQ(last.header.type, 1);
    EXPECT_EQ(last.header.sub, 4);
    EXPECT_EQ(last.header.code, 2);
    EXPECT_EQ(last.fields(), std::vector<Bytes>{"alice"});
}

TEST_F(ChatServiceTest, ANoticeBoxOnTheScreenDoesNotCostTheSession) {
    const Endpoint alice = client(1);
    const uint32_t session = enter(alice, "alice");
    chat().broadcastNotice(NoticeKind::Box, g("系统维护"), now_);
    collect();
    ASSERT_EQ(inbox_[alice.port].back().header.sub, 1);
    // The box stops the client's tick and with it the keep-alives, for as long as it stands.
    advance(5min, 1s);
    EXPECT_TRUE(chat().sessionOf("alice"));
    // Closed again, the client is heard; from then on the usual time-out holds.
    send(alice, 9, 0, 0, session, joinFields({"alice"}));
    advance(ChatConfig().sessionTimeout + 2s, 1s);
    EXPECT_FALSE(chat().sessionOf("alice"));
}

TEST_F(ChatServiceTest, ALiveMessageQueuesBehindTheWaitingOnes) {
    const Endpoint alice = client(1), dave = client(4);
    for (int i = 0; i < 150; ++i)
        store_->storeMessage("dave", chatBody("bob", "dave", "old " + std::to_string(i)));
    const uint32_t aliceSession = enter(alice, "alice");
    enter(dave, "dave");
    // More wait than one slice from the store: the new line must not overtake them.
    send(alice, 2, 1, 0, aliceSession, joinFields({"alice", "dave", "new"}));
    advance(5s);
    const auto got = messagesTo(dave);
    ASSERT_EQ(got.size(), 151u);
    for (int i = 0; i < 150; ++i) EXPECT_EQ(got[i].fields()[2], "old " + std::to_string(i));
    EXPECT_EQ(got[150].fields()[0], "alice");
    EXPECT_EQ(got[150].fields()[2], "new");
    EXPECT_TRUE(store_->waitingMessages("dave", 0, 10).empty());
}

TEST_F(ChatServiceTest, AGracefulRestartKeepsSessionsAndWhatTheyWereOwed) {
    config_.pacing.ringBudget = 4096;
    const Endpoint alice = client(1), dave = client(4);
    const uint32_t aliceSession = enter(alice, "alice");
    const uint32_t daveSession = enter(dave, "dave");
    for (int i = 0; i < 20; ++i)
        send(alice, 2, 1, 0, aliceSession,
             joinFields({"alice", "dave", std::to_string(i) + std::string(900, '.')}));
    const size_t before = messagesTo(dave).size();
    EXPECT_LT(before, 20u);  // the rest are held back for dave's ring
    chat().shutdown(now_);

    chat_.reset();  // the restarted server
    const size_t aliceHadBefore = inbox_[alice.port].size();
    now_ += 2s;
    chat().restoreSessions(now_);
    EXPECT_EQ(chat().sessionOf("alice"), aliceSession);
    EXPECT_EQ(chat().sessionOf("dave"), daveSession);
    advance(30s, 100ms);
    const auto all = messagesTo(dave);
    ASSERT_EQ(all.size(), 20u);
    for (size_t i = 0; i < all.size(); ++i) EXPECT_EQ(std::stoul(all[i].fields()[2]), i);

    // The same client goes on with the same session, and nobody was told of a coming or going.
    send(dave, 9, 0, 0, daveSession, joinFields({"dave"}));
    EXPECT_EQ(inbox_[dave.port].back().header.type, 9);
    const auto& aliceGot = inbox_[alice.port];
    for (size_t i = aliceHadBefore; i < aliceGot.size(); ++i)
        EXPECT_FALSE(aliceGot[i].header.type == 1 && aliceGot[i].header.sub == 4);
}

TEST_F(ChatServiceTest, SessionsKeptTooLongAgoAreNotTakenUp) {
    const Endpoint alice = client(1);
    enter(alice, "alice");
    chat().shutdown(now_);
    chat_.reset();
    // The server was down longer than a client waits before it gives its session up.
    sqlite3* db = nullptr;
    sqlite3_open((folder_ + "/chat.db").c_str(), &db);
    sqlite3_exec(db, "UPDATE kept_sessions SET kept_at = kept_at - 600", nullptr, nullptr, nullptr);
    sqlite3_close(db);
    chat().restoreSessions(now_);
    EXPECT_FALSE(chat().sessionOf("alice"));
    EXPECT_TRUE(store_->takeKeptSessions(config_.serverId, 100000).empty());  // and they are gone
}

// A client that reads its ring as the real one does: a tick takes two frames when a datagram
// came since the last tick, else one; the ring of 65,408 bytes must never fill. Its tick runs at
// 500 ms, or late at 545 ms as a busy client's does, at any phase against the server's clock.
class RealClientRing : public ChatServiceTest, public ::testing::WithParamInterface<std::pair<int, int>> {};

TEST_P(RealClientRing, ABacklogNeverOverflowsIt) {
    const auto [tickMs, phaseMs] = GetParam();
    const Endpoint dave = client(4);
    constexpr int kWaiting = 300;
    for (int i = 0; i < kWaiting; ++i)
        store_->storeMessage("dave",
                             chatBody("bob", "dave", std::to_string(i) + "#" + std::string(980, '.')));
    const uint32_t session = login(dave, "dave");
    send(dave, 3, 4, 0, session, joinFields({"dave"}));

    std::deque<size_t> ring;  // frame lengths not yet read
    size_t unread = 0;
    size_t seen = 0;
    size_t maxUnread = 0;
    bool datagramSinceTick = false;
    Time nextTick = now_ + std::chrono::milliseconds(phaseMs);
    int ticks = 0;
    bool asked = false;
    std::vector<int> order;
    while (order.size() < kWaiting && ticks < 2000) {
        now_ += 10ms;
        chat().onTimer(now_);
        collect();
        auto& got = inbox_[dave.port];
        for (; seen < got.size(); ++seen) {
            const size_t length = got[seen].body.size() + kHeaderSize;
            ring.push_back(length);
            unread += length;
            datagramSinceTick = true;
            maxUnread = std::max(maxUnread, unread);
            ASSERT_LT(unread, 65408u) << "the client's ring overflowed and dropped everything";
        }
        if (now_ < nextTick) continue;
        nextTick += std::chrono::milliseconds(tickMs);
        ++ticks;
        for (int n = datagramSinceTick ? 2 : 1; n > 0 && !ring.empty(); --n) {
            const size_t first = got.size() - ring.size();
            const Got& frame = got[first];
            unread -= ring.front();
            ring.pop_front();
            if (frame.header.type == 3 && frame.header.sub == 5 && !asked) {
                send(dave, 2, 6, 0, session, joinFields({"dave"}));  // the handler answers at once
                asked = true;
            }
            if (frame.header.type == 2) order.push_back(std::stoi(frame.fields()[2]));
        }
        datagramSinceTick = false;
        if (ticks % 21 == 0) send(dave, 9, 0, 0, session, joinFields({"dave"}));
    }
    ASSERT_EQ(order.size(), static_cast<size_t>(kWaiting));
    for (int i = 0; i < kWaiting; ++i) EXPECT_EQ(order[i], i);
    EXPECT_GT(maxUnread, 40'000u);  // the ring was used, not left idle
}

INSTANTIATE_TEST_SUITE_P(TickAndPhase, RealClientRing,
                         ::testing::Values(std::pair{500, 0}, std::pair{500, 123}, std::pair{500, 499},
                                           std::pair{545, 7}, std::pair{545, 300}));

}  // namespace
}  // namespace nq::server
