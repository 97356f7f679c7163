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

std::vector<uint16_t> codesOf(const std::vector<Got>& frames) {
    std::vector<uint16_t> out;
    for (const Got& f : frames) out.push_back(f.header.code);
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
    std::ostringstream ignored;
    runAdmin(store_, Demo{}, ignored);
    log_.setSink([this](std::string_view line) { logText_ += line; });
}

ChatTest::~ChatTest() = default;

void ChatTest::TearDown() {
    if (HasFailure()) std::cerr << logText_;
}

int64_t ChatTest::wall() const {
    return wallStart_ + std::chrono::duration_cast<std::chrono::seconds>(now_ - (Time() + 1h)).count();
}

ChatService& ChatTest::chat() {
    if (!chat_) chat_ = std::make_unique<ChatService>(store_, config_, log_, [this] { return wall(); });
    return *chat_;
}

void ChatTest::stop() {
    chat().shutdown(now_);
    collect(chat().output());
    chat_.reset();
}

void ChatTest::start() {
    chat().restoreSessions(now_);
    collect(chat().output());
}

DispatcherService& ChatTest::dispatcher() {
    if (!dispatcher_) {
        DispatcherConfig c;
        c.minimumVersion = "1.2";
        c.targets = targets_;
        c.login = config_.login;
        c.input = config_.input;
        dispatcher_ = std::make_unique<DispatcherService>(
            store_, c, log_, nullptr, [](const Endpoint&) { return std::string("127.0.0.9"); },
            [this] { return wall(); });
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

void ChatTest::raw(const Endpoint& from, std::string_view bytes) {
    chat().onDatagram(from, bytes, now_);
    collect(chat().output());
}

void ChatTest::rawToDispatcher(const Endpoint& from, std::string_view bytes) {
    dispatcher().onDatagram(from, bytes, now_);
    collect(dispatcher().output());
}

void ChatTest::frame(const Endpoint& from, FrameKind kind, uint16_t code, uint32_t session,
                     const Bytes& body) {
    raw(from, encodeFrame({1, kind.type, kind.sub, session, code}, body));
}

void ChatTest::say(const Endpoint& from, FrameKind kind, uint16_t code, std::vector<Bytes> fields) {
    Bytes body = joinFields({accountOf_[from.port]});
    for (const Bytes& f : fields) appendField(body, f);
    frame(from, kind, code, sessions_[from.port], body);
}

std::optional<Got> ChatTest::tryLogin(const Endpoint& from, const char* name, const char* password) {
    const size_t had = inbox(from).size();
    frame(from, kind::kLogin, 0, 0, joinFields({g(name), *passwordDigest(password)}));
    const auto replies = framesOf(from, kind::kLogin, had);
    if (replies.empty()) return std::nullopt;
    if (replies.back().header.code == code::kLoginAccepted) {
        sessions_[from.port] = replies.back().header.session;
        accountOf_[from.port] = g(name);
    }
    return replies.back();
}

Got ChatTest::login(const Endpoint& from, const char* name, const char* password) {
    const auto reply = tryLogin(from, name, password);
    if (!reply) ADD_FAILURE() << "no answer to the login of " << name;
    return reply.value_or(Got{});
}

uint32_t ChatTest::enter(const Endpoint& from, const char* name) {
    EXPECT_EQ(login(from, name).header.code, code::kLoginAccepted);
    say(from, kind::kFriendRoster);
    say(from, kind::kAfterRosters);
    return session(from);
}

std::optional<Got> ChatTest::tryDispatcher(const Endpoint& from, const char* name, const char* password,
                                           uint16_t version) {
    const size_t had = inbox(from).size();
    dispatcher().onDatagram(from,
                            encodeFrame({1, kind::kLogin.type, kind::kLogin.sub, 0, version},
                                        joinFields({g(name), *passwordDigest(password)})),
                            now_);
    collect(dispatcher().output());
    if (inbox(from).size() == had) return std::nullopt;
    return inbox(from).back();
}

Got ChatTest::askDispatcher(const Endpoint& from, const char* name, const char* password, uint16_t version) {
    const auto reply = tryDispatcher(from, name, password, version);
    if (!reply) ADD_FAILURE() << "the dispatcher did not answer " << name;
    return reply.value_or(Got{});
}

void ChatTest::advance(Duration d, Duration step) {
    for (const Time end = now_ + d; now_ < end;) {
        now_ += step;
        if (!chat_) continue;
        chat_->onTimer(now_);
        collect(chat_->output());
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
