#include "chat_fixture.h"

#include <ctime>
#include <iostream>
#include <sstream>

#include "server/admin.h"
#include "wire/digest.h"

namespace nq::server {

std::vector<Bytes> gs(std::initializer_list<std::string_view> utf8) {
    std::vector<Bytes> out;
    for (auto f : utf8) out.push_back(g(f));
    return out;
}

std::vector<Bytes> Got::fields() const {
    std::vector<Bytes> out;
    FieldReader r(body);
    while (auto f = r.next()) out.emplace_back(*f);
    return out;
}

// The wall clock starts at the real one, so that what the store stamps by itself agrees with it.
ChatTest::ChatTest() : wallStart_(static_cast<int64_t>(std::time(nullptr))) {
    stores_[0] = std::make_unique<SqliteStore>(dir_.file("chat.db"));
    std::ostringstream ignored;
    runAdmin(*stores_[0], Demo{}, ignored);
    log_.setSink([this](std::string_view line) { logText_ += line; });
}

ChatTest::~ChatTest() = default;

void ChatTest::TearDown() {
    if (HasFailure()) std::cerr << logText_;
}

ChatService& ChatTest::chat(int n) {
    if (!chats_[n]) {
        if (!stores_[n]) stores_[n] = std::make_unique<SqliteStore>(dir_.file("chat.db"));
        ChatConfig c = config_;
        if (shared_) c.serverId = "127.0.0.1:800" + std::to_string(n + 1);
        const WallClock wall = [this] {
            return wallStart_ +
                   std::chrono::duration_cast<std::chrono::seconds>(now_ - (Time() + 1h)).count();
        };
        chats_[n] = std::make_unique<ChatService>(*stores_[n], c, log_, wall);
    }
    return *chats_[n];
}

void ChatTest::stop(int n) {
    chat(n).shutdown(now_);
    collect(chat(n).output());
    chats_[n].reset();
}

void ChatTest::start(int n) {
    chat(n).restoreSessions(now_);
    collect(chat(n).output());
}

DispatcherService& ChatTest::dispatcher() {
    if (!dispatcher_) {
        DispatcherConfig c;
        c.minimumVersion = "1.2";
        c.targets = {{"", 8000}};
        dispatcher_ = std::make_unique<DispatcherService>(
            store(), c, log_, nullptr, [](const Endpoint&) { return std::string("127.0.0.9"); });
    }
    return *dispatcher_;
}

void ChatTest::collect(std::vector<Datagram>& out) {
    for (Datagram& d : out) {
        auto f = decodeFrame(d.data);
        ASSERT_TRUE(f);
        ASSERT_EQ(f->len, d.data.size()) << "one frame a datagram";
        ASSERT_LE(f->len, kMaxFrame);
        inbox_[d.to.port].push_back({f->header, Bytes(f->body), now_});
    }
    out.clear();
}

void ChatTest::raw(const Endpoint& from, std::string_view bytes, int server) {
    chat(server).onDatagram(from, bytes, now_);
    collect(chat(server).output());
}

void ChatTest::frame(const Endpoint& from, FrameKind kind, uint16_t code, uint32_t session, const Bytes& body,
                     int server) {
    raw(from, encodeFrame({1, kind.type, kind.sub, session, code}, body), server);
}

void ChatTest::say(const Endpoint& from, FrameKind kind, uint16_t code, std::vector<Bytes> fields) {
    Bytes body = joinFields({accountOf_[from.port]});
    for (const Bytes& f : fields) appendField(body, f);
    frame(from, kind, code, sessions_[from.port], body, serverOf_[from.port]);
}

Got ChatTest::login(const Endpoint& from, const char* name, const char* password, int server) {
    frame(from, kind::kLogin, 0, 0, joinFields({g(name), *passwordDigest(password)}), server);
    const Got reply = inbox(from).back();
    EXPECT_EQ(reply.kind(), kind::kLogin);
    if (reply.header.code == code::kLoginAccepted) {
        sessions_[from.port] = reply.header.session;
        serverOf_[from.port] = server;
        accountOf_[from.port] = g(name);
    }
    return reply;
}

uint32_t ChatTest::enter(const Endpoint& from, const char* name, int server) {
    EXPECT_EQ(login(from, name, "123456", server).header.code, code::kLoginAccepted);
    say(from, kind::kFriendRoster);
    say(from, kind::kAfterRosters);
    return session(from);
}

Got ChatTest::askDispatcher(const Endpoint& from, const char* name, const char* password, uint16_t version) {
    dispatcher().onDatagram(from,
                            encodeFrame({1, kind::kLogin.type, kind::kLogin.sub, 0, version},
                                        joinFields({g(name), *passwordDigest(password)})),
                            now_);
    collect(dispatcher().output());
    return inbox(from).back();
}

void ChatTest::advance(Duration d, Duration step) {
    for (const Time end = now_ + d; now_ < end;) {
        now_ += step;
        for (int n : {0, 1}) {
            if (!chats_[n]) continue;
            chats_[n]->onTimer(now_);
            collect(chats_[n]->output());
        }
    }
}

std::vector<Got> ChatTest::framesOf(const Endpoint& e, FrameKind kind, size_t from) {
    std::vector<Got> out;
    const auto& all = inbox(e);
    for (size_t i = from; i < all.size(); ++i)
        if (all[i].kind() == kind) out.push_back(all[i]);
    return out;
}

}  // namespace nq::server
