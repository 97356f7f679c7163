#include "server/chat_service.h"

#include <algorithm>

#include "server/names.h"
#include "server/records.h"
#include "wire/frame_trace.h"

namespace nq::server {
namespace {

constexpr Duration kNoticePoll = std::chrono::seconds(1);
constexpr Duration kAgeCheck = std::chrono::minutes(1);
// A client notices a lost session after about 168 s of unanswered keep-alives; a session held at
// a stop or a crash comes back only if the server is up again well before that.
constexpr int64_t kKeptSessionSeconds = 150;
// A modal box stops the client's tick, keep-alives included, until the user closes it: our notice
// box, or one of its own that the server caused without knowing it (its "connection failed" after
// a profile request that nobody could answer). A client silent past two keep-alive periods may be
// under such a box, or gone; nothing on the wire tells which. One rule for all of them: the session
// is kept for this long. A user back from lunch to a box wants his session, and the messages typed
// after closing it to arrive, not a dead session that his client takes 168 s to notice. A client
// that has gone stays online to its friends as long, but messages for it are not lost beyond what
// its ring takes (pacing stops once the ring could be full), the rest wait in the store for its
// next login, and that login, from anywhere, replaces the stale session at once.
constexpr Duration kStallPatience = std::chrono::minutes(30);
// How long the stamps of an ended session are kept for the next session at its client's address.
// The client keeps its last stamp until it exits; a day covers a logoff and a login again.
constexpr Duration kStampMemory = std::chrono::hours(24);
// Waiting messages come from the store in slices; the next slice is read when fewer than this
// many frames of the last one are still held.
constexpr size_t kRefillBelow = 16;

// Two encoded frames alike in every byte but the sequence number (bytes 0 and 1 of the header),
// of a request that asking twice cannot change: adding a friend or a blacklist entry. Two equal
// chat lines in one tick are two lines the user sent.
bool idempotentRepeat(std::string_view a, const Frame& frame, std::string_view data) {
    const FrameKind k{frame.header.type, frame.header.sub};
    if (k != kind::kAddFriend && k != kind::kAddToBlacklist) return false;
    const std::string_view b = data.substr(0, frame.len);
    return a.size() == b.size() && a.size() > 2 && a.substr(2) == b.substr(2);
}

}  // namespace

Duration ChatConfig::sweepInterval() const {
    return std::min<Duration>(std::chrono::seconds(1), sessionTimeout / 4);
}

ChatService::ChatService(Store& store, const ChatConfig& config, Logger& log, WallClock wall)
    : store_(store),
      config_(config),
      log_(log),
      wall_(std::move(wall)),
      writes_(store, log),
      bus_(store, writes_, config.serverId, wall_, log),
      gate_(store, config.login, log),
      frameRates_(config.input.framesPerSecond, 2 * config.input.framesPerSecond),
      replyRates_(config.input.repliesPerSecond, 2 * config.input.repliesPerSecond),
      waitingRates_(config.waiting.perSenderPerMinute / 60.0, config.waiting.perSenderPerMinute),
      groupRates_(config.input.groupLinesPerMinute / 60.0,
                  std::max(1.0, config.input.groupLinesPerMinute / 3.0)),
      joinRates_(config.input.joinRequestsPerHour / 3600.0, config.input.joinRequestsPerHour),
      roomRates_(config.input.roomLinesPerMinute / 60.0,
                 std::max(1.0, config.input.roomLinesPerMinute / 3.0)),
      limitNotices_(1 / 60.0, 1),
      sessionRing_(config.sweepInterval()),
      peerRing_(config.sweepInterval()) {
    lastNoticeId_ = store_.lastNoticeId();  // notices from before the start were for others
    room_ = store_.room();
}

std::optional<uint32_t> ChatService::sessionOf(const Bytes& account) const {
    auto it = byAccount_.find(account);
    if (it == byAccount_.end()) return std::nullopt;
    return it->second;
}

size_t ChatService::unreadEstimate(const Endpoint& client, Time now) {
    auto it = peers_.find(client);
    return it == peers_.end() ? 0 : it->second.pacer.unreadEstimate(now);
}

ChatService::Held ChatService::heldFor(const Endpoint& client) const {
    auto it = peers_.find(client);
    if (it == peers_.end()) return {};
    return {it->second.pacer.heldCount(), it->second.pacer.heldBytes()};
}

const FrameTable<ChatService::Handler>& ChatService::handlers() {
    static const FrameTable<Handler> table = [] {
        FrameTable<Handler> t;
        t.on(kind::kLogout, &ChatService::onLogout)
            .onFamily(family::kKeepAlive, &ChatService::onKeepAlive)
            .onFamily(family::kDirectLink, &ChatService::onDirectLink)
            .on(kind::kChat, &ChatService::onChat)
            .on(kind::kMemberChat, &ChatService::onChat)
            .on(kind::kGroupChat, &ChatService::onGroupLine)
            .on(kind::kAfterRosters, &ChatService::onAfterRosters)
            .on(kind::kProfile, &ChatService::onProfile)
            .on(kind::kFriendRoster, &ChatService::onRosters)
            .on(kind::kMemberRoster, &ChatService::onMemberRoster)
            .on(kind::kAddFriend, &ChatService::onAddFriend)
            .on(kind::kDeleteFriend, &ChatService::onDeleteFriend)
            .on(kind::kAddToBlacklist, &ChatService::onAddToBlacklist)
            .on(kind::kRemoveFromBlacklist, &ChatService::onRemoveFromBlacklist)
            .on(kind::kFindPerson, &ChatService::onFindPerson)
            .on(kind::kFindForBlacklist, &ChatService::onFindPerson)
            .on(kind::kOnlinePage, &ChatService::onOnlinePage)
            .on(kind::kGroupPage, &ChatService::onGroupPage)
            .on(kind::kGroupSearch, &ChatService::onGroupSearch)
            .on(kind::kGroupRecord, &ChatService::onGroupCard)
            .on(kind::kSaveProfile, &ChatService::onSaveProfile)
            .on(kind::kMayCreateGroup, &ChatService::onMayCreateGroup)
            .on(kind::kCreateGroup, &ChatService::onCreateGroup)
            .on(kind::kJoinRequest, &ChatService::onJoinRequest)
            .on(kind::kJoinAnswer, &ChatService::onJoinAnswer)
            .on(kind::kJoinGroup, &ChatService::onJoinConfirm)
            .on(kind::kLeaveGroup, &ChatService::onLeaveGroup)
            .on(kind::kRoom, &ChatService::onRoom);
        return t;
    }();
    return table;
}

void ChatService::onDatagram(const Endpoint& from, std::string_view data, Time now) {
    now_ = now;
    refusedInDatagram_ = false;
    if (log_.tracing()) log_.trace(describeDatagram("in", "chat " + from.toString(), data));
    std::string_view previous;  // the last frame taken, less its numbering
    for (int frames = 0; !data.empty(); ++frames) {
        // The hall's friend list asks for each name once per friend the client already has, all
        // in one datagram: a frame equal to the one before it but for its number is that repeat,
        // and is passed over before it counts against the limits, so the next name still counts.
        if (auto repeat = decodeFrame(data);
            repeat && frames > 0 && idempotentRepeat(previous, *repeat, data)) {
            data.remove_prefix(repeat->len);
            --frames;
            continue;
        }
        // What comes past the limits costs a look-up, not a handler.
        if (frames == config_.input.framesPerDatagram) {
            NQ_LOG_CAPPED(log_, Dropped, now_, Info, "dropped the rest of a datagram from %s: over %d frames",
                          from.toString().c_str(), config_.input.framesPerDatagram);
            break;
        }
        auto frame = decodeFrame(data);
        if (!frame) {
            NQ_LOG_CAPPED(log_, Dropped, now_, Info, "dropped %zu bytes from %s that are no frame",
                          data.size(), from.toString().c_str());
            break;
        }
        previous = data.substr(0, frame->len);
        data.remove_prefix(frame->len);
        if (!frameRates_.take(from, now_)) {
            NQ_LOG_CAPPED(log_, Dropped, now_, Info, "dropped (%u,%u) from %s: over %g frames a second",
                          frame->header.type, frame->header.sub, from.toString().c_str(),
                          config_.input.framesPerSecond);
            continue;
        }
        try {
            handleFrame(from, *frame);
        } catch (const StoreError& e) {
            // A busy or full database costs this one frame, not the server.
            NQ_LOG_CAPPED(log_, Failed, now_, Error, "(%u,%u) from %s failed: %s", frame->header.type,
                          frame->header.sub, from.toString().c_str(), e.what());
        }
    }
    if (!batchCommits_) writes_.flush(now_);
}

void ChatService::handleFrame(const Endpoint& from, const Frame& f) {
    const FrameHeader& h = f.header;
    if (FrameKind{h.type, h.sub} == kind::kLogin) return login(from, f);

    auto it = sessions_.find(h.session);
    Session* session = it != sessions_.end() && it->second.endpoint == from ? &it->second : nullptr;
    if (!session) session = stampedAt(from, h.session);
    if (!session) {
        NQ_LOG_CAPPED(log_, Dropped, now_, Info,
                      "dropped (%u,%u) from %s: no session %u at that address, nor a stamp of its session",
                      h.type, h.sub, from.toString().c_str(), h.session);
        return;
    }
    Session& s = *session;
    s.lastHeard = now_;
    peerAt(from).pacer.clientHeard(now_);

    FieldReader fields(f.body);
    const auto own = fields.next();
    if (!own || *own != s.account) {
        NQ_LOG_CAPPED(log_, Dropped, now_, Warn,
                      "dropped (%u,%u) of session %u: it does not name its own account %s", h.type, h.sub,
                      s.number, printable(s.account).c_str());
        return;
    }
    if (const Handler* handler = handlers().find({h.type, h.sub})) {
        try {
            (this->**handler)(s, h, fields);
        } catch (const StoreUnavailable& e) {
            NQ_LOG_CAPPED(log_, Failed, now_, Warn, "(%u,%u) from %s not served: %s", h.type, h.sub,
                          printable(s.account).c_str(), e.what());
            refuseUnavailable(s, h, f.body);
        }
        return;
    }
    NQ_LOG_CAPPED(log_, Dropped, now_, Info, "dropped (%u,%u) code %u from %s: not a kind this server serves",
                  h.type, h.sub, h.code, printable(s.account).c_str());
}

ChatService::Session* ChatService::stampedAt(const Endpoint& from, uint32_t stamp) {
    auto p = peers_.find(from);
    if (p == peers_.end() || p->second.session == 0) return nullptr;
    auto it = sessions_.find(p->second.session);
    return it != sessions_.end() && it->second.stamps.issued(stamp) ? &it->second : nullptr;
}

namespace {

// What a request that needs the database gets while the database is out of reach, where the
// protocol has a refusal: the kind and code of the answer, and which of the request's fields
// (counted after the sender's own account) its body repeats.
struct OutageAnswer {
    FrameKind asked;
    uint16_t askedCode;  // kAnyCode: whatever it asked with
    FrameKind answer;
    uint16_t code;
    enum Body { Empty, OwnAndField, Field, OwnFieldAndNoGroup, Own, Toast } body;
    int field = 0;
};
constexpr uint16_t kAnyCode = 0xFFFF;
constexpr OutageAnswer kOutageAnswers[] = {
    {kind::kAddFriend, kAnyCode, kind::kAddFriend, code::kFailed, OutageAnswer::OwnAndField},
    {kind::kAddToBlacklist, kAnyCode, kind::kAddToBlacklist, code::kFailed, OutageAnswer::OwnAndField},
    {kind::kCreateGroup, kAnyCode, kind::kCreateGroup, code::kFailed, OutageAnswer::OwnAndField},
    {kind::kFindPerson, kAnyCode, kind::kFindPerson, code::kFailed, OutageAnswer::Empty},
    {kind::kFindForBlacklist, kAnyCode, kind::kFindForBlacklist, code::kFailed, OutageAnswer::Field},
    {kind::kOnlinePage, kAnyCode, kind::kOnlinePage, code::kFailed, OutageAnswer::Empty},
    {kind::kGroupPage, kAnyCode, kind::kGroupPage, code::kFailed, OutageAnswer::Empty},
    {kind::kGroupSearch, kAnyCode, kind::kGroupSearch, code::kFailed, OutageAnswer::Empty},
    {kind::kJoinRequest, kAnyCode, kind::kJoinGroup, code::kFailed, OutageAnswer::OwnFieldAndNoGroup, 1},
    {kind::kJoinGroup, kAnyCode, kind::kJoinGroup, code::kFailed, OutageAnswer::OwnFieldAndNoGroup},
    {kind::kRoom, code::kRoomEnter, kind::kRoom, code::kRoomEntryFailed, OutageAnswer::Own},
    {kind::kChat, kAnyCode, kind::kNoticeToast, code::kNone, OutageAnswer::Toast},
    {kind::kMemberChat, kAnyCode, kind::kNoticeToast, code::kNone, OutageAnswer::Toast},
    {kind::kGroupChat, kAnyCode, kind::kNoticeToast, code::kNone, OutageAnswer::Toast},
};

}  // namespace

void ChatService::refuseUnavailable(Session& s, const FrameHeader& h, std::string_view body) {
    const FrameKind asked{h.type, h.sub};
    const auto a =
        std::find_if(std::begin(kOutageAnswers), std::end(kOutageAnswers), [&](const OutageAnswer& o) {
            return o.asked == asked && (o.askedCode == kAnyCode || o.askedCode == h.code);
        });
    if (a == std::end(kOutageAnswers)) return;
    FieldReader fields(body);
    fields.next();  // his own account
    for (int i = 0; i < a->field; ++i) fields.next();
    const Bytes field(fields.next().value_or(""));
    switch (a->body) {
        case OutageAnswer::Empty:
            return void(sendTo(s, a->answer, a->code, {}));
        case OutageAnswer::OwnAndField:
            return void(sendTo(s, a->answer, a->code, joinFields({s.account, field})));
        case OutageAnswer::Field:
            return void(sendTo(s, a->answer, a->code, joinFields({field})));
        case OutageAnswer::OwnFieldAndNoGroup:
            return void(sendTo(s, a->answer, a->code, joinFields({s.account, field, "0"})));
        case OutageAnswer::Own:
            return void(sendTo(s, a->answer, a->code, joinFields({s.account})));
        case OutageAnswer::Toast:
            return toastRefusal(s, "服务器暂时连不上数据库，这条消息没有发出，请稍后再发。");
    }
}

void ChatService::dropShort(Session& s, const FrameHeader& h) {
    NQ_LOG_CAPPED(log_, Dropped, now_, Info, "dropped (%u,%u) from %s: body too short", h.type, h.sub,
                  printable(s.account).c_str());
}

void ChatService::broadcastNotice(NoticeKind kind, const Bytes& text, Time now) {
    now_ = now;
    if (kind == NoticeKind::GroupGone) return groupGone(text);
    const Bytes body = joinFields({cutGbk(text, kMaxBody - 1)});
    const bool box = kind == NoticeKind::Box;
    for (auto& [number, s] : sessions_)
        sendTo(s, box ? kind::kNoticeBox : kind::kNoticeToast, code::kNone, body, box ? kStallsReader : 0);
    NQ_LOG(log_, Info, "notice (%s) sent to %zu sessions", box ? "box" : "toast", sessions_.size());
}

void ChatService::onTimer(Time now) {
    try {
        timerWork(now);
    } catch (const StoreError& e) {
        NQ_LOG_CAPPED(log_, Failed, now, Error, "housekeeping failed, tried again later: %s", e.what());
    }
    writes_.flush(now);
}

void ChatService::timerWork(Time now) {
    now_ = now;
    if (!blocked_.empty()) {
        const std::vector<Endpoint> waiting(blocked_.begin(), blocked_.end());
        for (const Endpoint& ep : waiting)
            if (auto it = peers_.find(ep); it != peers_.end()) releasePeer(ep, it->second);
    }
    if (now >= nextSweep_) {
        nextSweep_ = now + config_.sweepTurn();
        sweep(now);
    }
    bus_.report(now, static_cast<int>(sessions_.size()));
    // Before the events: what a server that came back says now is told after its people came.
    bus_.othersRunning(now);
    for (ChatBus::ServerChange& c : bus_.takeServerChanges()) serverChanges_.push_back(std::move(c));
    tellPresenceDue(now);
    for (const BusEvent& e : bus_.poll(now)) onBusEvent(e);
    if (now >= nextNoticePoll_) {
        nextNoticePoll_ = now + kNoticePoll;
        bus_.prune(now);
        room_ = store_.room();  // a name or staff the admin changed serves the next entries
        for (const Notice& n : store_.noticesAfter(lastNoticeId_)) {
            lastNoticeId_ = n.id;
            broadcastNotice(n.kind, n.text, now);
        }
    }
}

// Silent sessions end, clients that never asked for their waiting messages get them anyway, the
// next slice of waiting messages is read, and peers and rate buckets with nothing left are
// forgotten. Each turn does its share of the period: a walk over all of 30,000 sessions and their
// peers at once held the loop for about 14 ms.
void ChatService::sweep(Time now) {
    bool storeAnswers = true;
    sessionRing_.turn(
        now,
        [&](uint32_t number) -> uint32_t* {
            auto it = sessions_.find(number);
            return it == sessions_.end() ? nullptr : &it->second.swept;
        },
        [&](uint32_t number) { sweepSession(sessions_.at(number), now, storeAnswers); });
    peerRing_.turn(
        now,
        [&](const Endpoint& ep) -> uint32_t* {
            auto it = peers_.find(ep);
            return it == peers_.end() ? nullptr : &it->second.swept;
        },
        [&](const Endpoint& ep) {
            auto it = peers_.find(ep);
            if (it->second.session == 0 && it->second.pacer.idle(now)) peers_.erase(it);
        });
    const double share = lastSweep_ ? secondsOf(now - *lastSweep_) / secondsOf(config_.sweepInterval()) : 1.0;
    lastSweep_ = now;
    frameRates_.forgetFullShare(now, share);
    replyRates_.forgetFullShare(now, share);
    waitingRates_.forgetFullShare(now, share);
    limitNotices_.forgetFullShare(now, share);
    roomRates_.forgetFullShare(now, share);
    if (now >= nextAgeCheck_) {
        nextAgeCheck_ = now + kAgeCheck;
        dropOldWaiting();
        std::erase_if(retiredStamps_, [&](const auto& kv) { return now - kv.second.at > kStampMemory; });
    }
}

void ChatService::sweepSession(Session& s, Time now, bool& storeAnswers) {
    const Duration silence = now - s.lastHeard;
    const bool stalled = silence <= kStallPatience && (silence > config_.pacing.stallSilence ||
                                                       peerAt(s.endpoint).pacer.readingStopped(now));
    if (silence > config_.sessionTimeout && !stalled) return endSession(s.number, true, "timed out");
    if (!s.ready && now >= s.readyDeadline) {
        NQ_LOG(log_, Info, "%s never asked for its waiting messages; sending them anyway",
               printable(s.account).c_str());
        makeReady(s);
    }
    if (!s.moreWaiting || !storeAnswers) return;
    auto p = peers_.find(s.endpoint);
    if (p == peers_.end() || p->second.pacer.heldCount() >= kRefillBelow) return;
    try {
        queueWaiting(s);
    } catch (const StoreUnavailable& e) {
        // The refills go on at the session's next visit; the rest of the sweep needs no database.
        storeAnswers = false;
        NQ_LOG_CAPPED(log_, Failed, now, Warn, "waiting messages wait for the database: %s", e.what());
    }
}

void ChatService::onBusEvent(const BusEvent& e) {
    switch (e.kind) {
        case BusKind::Presence:
            if (e.code == code::kOnline || e.code == code::kOffline)
                announce(e.account, static_cast<uint16_t>(e.code));
            break;
        case BusKind::Kick:
            if (auto local = byAccount_.find(e.account); local != byAccount_.end())
                expel(local->second, "logged in on another chat server");
            break;
        case BusKind::Waiting:
            if (e.target == config_.serverId) onWaitingElsewhere(e.account);
            break;
        case BusKind::GroupLine:
            onGroupLineElsewhere(e);
            break;
        case BusKind::RoomEnter:
        case BusKind::RoomLeave:
        case BusKind::RoomLine:
            onRoomElsewhere(e);
            break;
        case BusKind::Membership:
            onMembershipElsewhere(e);
            break;
        case BusKind::Message:
            if (e.target == config_.serverId) onMessageElsewhere(e);
            break;
        case BusKind::JoinTraffic:
            if (auto local = byAccount_.find(e.account);
                e.target == config_.serverId && local != byAccount_.end())
                if (Session& s = sessions_.at(local->second); s.ready) deliverJoinTraffic(s, false);
            break;
    }
}

Time ChatService::nextWake(Time now) {
    Time wake = std::min({nextSweep_, nextNoticePoll_, bus_.nextWake(), writes_.nextTry(now)});
    if (!presenceDue_.empty() || !serverChanges_.empty()) wake = std::min(wake, presenceRetryAt_);
    for (const Endpoint& ep : blocked_) {
        auto it = peers_.find(ep);
        if (it == peers_.end()) continue;
        if (auto chance = it->second.pacer.nextChance(now)) wake = std::min(wake, *chance);
    }
    return std::max(wake, now);
}

void ChatService::shutdown(Time now) {
    now_ = now;
    for (auto& [number, s] : sessions_) keepUnsent(s);
    NQ_LOG(log_, Info, "server stops; its %zu sessions stay in the store", sessions_.size());
    sessions_.clear();
    byAccount_.clear();
    writes_.flushWaiting(now);
    if (writes_.size())
        NQ_LOG(log_, Error, "%zu writes could not be made before the stop and are lost", writes_.size());
    try {
        store_.markStopped(config_.serverId, wall_());
        bus_.withdraw();
    } catch (const StoreError& e) {
        // The sessions are in the store since their logins; a start soon takes them up by the
        // last load report instead.
        NQ_LOG(log_, Error, "could not note the stop in the database: %s", e.what());
    }
}

void ChatService::restoreSessions(Time now) {
    now_ = now;
    int restored = 0;
    for (const KeptSession& k : store_.heldSessions(config_.serverId, wall_(), kKeptSessionSeconds)) {
        auto account = store_.account(k.account);
        const Endpoint from{k.address, k.port};
        if (!account || sessions_.count(k.number) || byAccount_.count(k.account) || k.number == 0 ||
            peerAt(from).session != 0) {
            store_.setOffline(k.account, config_.serverId, k.number);
            continue;
        }
        Session& s = openSession(k.number, *account, from);
        s.ready = k.ready;  // its row says so already
        // Which stamps went out before the stop is not kept: the one its client holds, if any, is
        // taken whatever it is.
        s.stamps.wrapped = true;
        if (k.ready) makeReady(s);
        ++restored;
    }
    if (restored)
        NQ_LOG(log_, Info, "took up %d session%s held before the last stop or crash", restored,
               restored == 1 ? "" : "s");
    restoreRoom();
    writes_.flush(now);
}

}  // namespace nq::server
