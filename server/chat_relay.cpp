// One-to-one messages, (2,1) and the same to a group member (2,3): relayed at once as the kind
// they came as to a receiver who is online and has all older messages, else stored and handed
// out in order, in slices, once the receiver has its rosters.

#include "server/chat_service.h"
#include "server/records.h"

namespace nq::server {
namespace {

// A user with thousands of messages waiting does not pull them all into memory at once.
constexpr int kWaitingSlice = 64;
// Past this many frames held for a receiver, live messages wait in the store behind them, where
// the limits on waiting messages hold, instead of piling up in memory.
constexpr size_t kLiveHeldMax = 32;

}  // namespace

void ChatService::onChat(Session& s, const FrameHeader& h, FieldReader& fields) {
    const auto peerName = fields.next();
    const auto text = fields.next();
    if (!peerName || !text) return dropShort(s, h);

    Session* receiver = nullptr;
    Bytes receiverName;
    if (auto it = byAccount_.find(Bytes(*peerName)); it != byAccount_.end()) {
        receiver = &sessions_.at(it->second);
        receiverName = receiver->account;
    } else if (knownAccounts_.count(Bytes(*peerName))) {
        receiverName = Bytes(*peerName);
    } else {
        // The client names the peer by account, or by nick when its cache lacks the account.
        auto account = resolve(*peerName);
        if (!account) {
            NQ_LOG_CAPPED(log_, Refused, now_, Info, "dropped a message from %s to unknown %s",
                          printable(s.account).c_str(), printable(*peerName).c_str());
            return;
        }
        receiverName = account->name;
        // Accounts are never removed nor renamed: a name once found stays an account.
        if (receiverName == *peerName) {
            if (knownAccounts_.size() >= kKnownAccountsMax) knownAccounts_.clear();
            knownAccounts_.insert(receiverName);
        }
        if (auto it = byAccount_.find(receiverName); it != byAccount_.end())
            receiver = &sessions_.at(it->second);
    }
    if (receiverName == s.account) return;  // the client drops its own messages anyway

    const Bytes body = chatBody(s.account, receiverName, *text);
    const FrameKind kind{h.type, h.sub};
    // Online on another server, as far as this one knows: no read of the store at all. That
    // server checks the blacklist, which it holds in memory.
    if (!receiver)
        if (auto server = bus_.viewedElsewhere(receiverName, now_))
            return relay(s, receiverName, *server, body, kind.sub);

    const bool refused =
        receiver ? receiver->blacklist.count(s.account) > 0 : store_.isBlacklisted(receiverName, s.account);
    if (refused) {
        NQ_LOG(log_, Debug, "dropped a message from %s: %s has blacklisted him", printable(s.account).c_str(),
               printable(receiverName).c_str());
        return;
    }
    if (receiver && receiver->ready && !receiver->moreWaiting) {
        ClientPacer& pacer = peerAt(receiver->endpoint).pacer;
        if (pacer.heldCount() < kLiveHeldMax && sendTo(*receiver, kind, code::kNone, body, kChatMessage)) {
            if (OutFrame* held = pacer.newest()) keepInStore(*held, receiverName, body, kind.sub);
            return;
        }
    }
    // Away, or older messages are still on their way to him: this one queues behind them. One
    // not in the view may be online elsewhere all the same (a server started since, a view
    // emptied at its cap): the store is asked, past the sender's waiting limit, which bounds
    // those reads.
    if (!receiver) {
        if (!waitingRates_.take(s.account, now_)) return refuseWaiting(s, receiverName, false);
        if (auto server = bus_.elsewhere(receiverName, now_))
            return relay(s, receiverName, *server, body, kind.sub);
        if (waitingFull(receiverName)) return refuseWaiting(s, receiverName, true);
    } else if (!waitingRates_.take(s.account, now_)) {
        return refuseWaiting(s, receiverName, false);
    } else if (waitingFull(receiverName)) {
        return refuseWaiting(s, receiverName, true);
    }
    writes_.add("store a waiting message", [receiverName, body, sub = kind.sub](Store& st) {
        st.storeMessage(receiverName, body, sub);
    });
    if (receiver && receiver->ready) receiver->moreWaiting = true;
}

void ChatService::relay(Session& sender, const Bytes& receiver, const std::string& server, const Bytes& body,
                        uint16_t sub) {
    if (bus_.relay(receiver, server, body, sub)) return;
    NQ_LOG_CAPPED(log_, Failed, now_, Error, "dropped a message from %s to %s: too many writes wait",
                  printable(sender.account).c_str(), printable(receiver).c_str());
    toastRefusal(sender, "服务器暂时连不上数据库，这条消息没有发出，请稍后再发。");
}

bool ChatService::waitingFull(const Bytes& receiver) {
    return store_.countWaiting(receiver, config_.waiting.perReceiver) >= config_.waiting.perReceiver;
}

// The protocol has no failure reply to a message. A sender whose messages are turned away gets a
// toast, one a minute at most, so that a person learns why and a flood earns nothing but that.
void ChatService::refuseWaiting(Session& sender, const Bytes& receiver, bool full) {
    const char* why = full ? "the receiver has as many messages waiting as allowed"
                           : "sends more than the waiting messages allowed a minute";
    NQ_LOG_CAPPED(log_, Refused, now_, Info, "dropped a message from %s to %s: %s",
                  printable(sender.account).c_str(), printable(receiver).c_str(), why);
    toastRefusal(sender, full ? "对方的离线消息已满，这条消息没有保存，对方收不到。"
                              : "离线消息发得太快，有的消息没有保存，对方收不到。");
}

// A message pacing holds back is written to the store at once, and deleted once it leaves: a
// crash loses no message the server took. Until it leaves, a refill passes over its row.
void ChatService::keepInStore(OutFrame& held, const Bytes& receiver, const Bytes& body, uint16_t sub) {
    auto row = std::make_shared<StoredRow>();
    held.row = row;
    writes_.add(
        "store a message held back",
        [row, receiver, body, sub](Store& st) { row->id = st.storeMessage(receiver, body, sub); },
        [this, row](bool written) {
            if (!written)
                row->id = 0;
            else if (row->held)
                rowsInMemory_.insert(row->id);
            row->committed = written;
        });
}

void ChatService::dropOldWaiting() {
    const int64_t before =
        wall_() - std::chrono::duration_cast<std::chrono::seconds>(config_.waiting.maxAge).count();
    writes_.add("drop old waiting messages", [this, before](Store& st) {
        if (const int dropped = st.dropWaitingBefore(before))
            NQ_LOG(log_, Info, "dropped %d waiting messages older than %.0f days", dropped,
                   secondsOf(config_.waiting.maxAge) / 86400);
    });
}

void ChatService::onAfterRosters(Session& s, const FrameHeader&, FieldReader&) {
    peerAt(s.endpoint).pacer.triggerAnswered(now_);
    if (!s.ready) makeReady(s);  // a repeated (2,6) changes nothing
}

void ChatService::makeReady(Session& s) {
    // Once per session: a restart takes it up ready, its waiting messages flowing at once.
    if (!s.ready) {
        writes_.add("mark a session ready",
                    [account = s.account, id = config_.serverId](Store& st) { st.setReady(account, id); });
        sendRoomList(s);  // the room comes after the rosters, ahead of the waiting messages
    }
    s.ready = true;
    s.moreWaiting = true;
    try {
        queueWaiting(s);
        deliverJoinTraffic(s, true);
    } catch (const StoreUnavailable& e) {
        // The waiting messages come with a refill once the database is back; the join requests
        // and answers for him stay in it for his next login.
        NQ_LOG_CAPPED(log_, Failed, now_, Warn, "what waits for %s waits for the database: %s",
                      printable(s.account).c_str(), e.what());
    }
}

void ChatService::queueWaiting(Session& s) {
    const std::vector<WaitingMessage> slice =
        store_.waitingMessages(s.account, s.lastWaitingId, kWaitingSlice);
    if (static_cast<int>(slice.size()) < kWaitingSlice) s.moreWaiting = false;
    for (const WaitingMessage& m : slice) {
        if (rowsInMemory_.count(m.id)) {
            s.lastWaitingId = m.id;
            continue;
        }
        // Stored without a look at his blacklist when he was online elsewhere, or before he
        // listed the sender: the row goes unsent.
        if (blacklisted(s, m.body)) {
            deleteRow(m.id);
            s.lastWaitingId = m.id;
            continue;
        }
        if (!sendTo(s, {family::kTalk, m.sub}, code::kNone, m.body, kChatMessage, m.id)) {
            s.moreWaiting = true;  // the rest stays in the store for the next refill
            break;
        }
        s.lastWaitingId = m.id;
    }
    if (!slice.empty())
        NQ_LOG(log_, Debug, "queued %zu waiting messages for %s", slice.size(), printable(s.account).c_str());
}

bool ChatService::blacklisted(const Session& s, const Bytes& frameBody) const {
    if (s.blacklist.empty()) return false;
    FieldReader fields(frameBody);
    const auto sender = fields.next();
    return sender && s.blacklist.count(Bytes(*sender));
}

// Another chat server relayed a message with its body, its row committed: sent from here
// without a read. A session not here, not ready or still fetching older ones finds the row in
// the store in its turn.
void ChatService::onMessageElsewhere(const BusEvent& e) {
    auto local = byAccount_.find(e.account);
    auto m = parseMessageEvent(e.body);
    if (local == byAccount_.end() || !m) return;
    Session& s = sessions_.at(local->second);
    // A refill that already went past the row (ids are taken before the commits that order the
    // events) would never come back for it.
    const bool passed = m->row <= s.lastWaitingId;
    if (!s.ready || (s.moreWaiting && !passed)) return;
    if (blacklisted(s, m->frameBody)) {
        NQ_LOG(log_, Debug, "dropped a message for %s: its sender is on his blacklist",
               printable(s.account).c_str());
        return deleteRow(m->row);
    }
    const uint16_t sub = e.code == kind::kMemberChat.sub ? kind::kMemberChat.sub : kind::kChat.sub;
    if (peerAt(s.endpoint).pacer.heldCount() >= kLiveHeldMax ||
        !sendTo(s, {family::kTalk, sub}, code::kNone, m->frameBody, kChatMessage, m->row)) {
        s.moreWaiting = true;
        return;
    }
    // Until its deletion commits, a refill passes over the row.
    rowsInMemory_.insert(m->row);
}

// Rows of messages that left, deleted together in the next batch: one statement a turn.
void ChatService::deleteRow(int64_t id) {
    if (!rowsToDelete_ || rowsToDelete_->applied) {
        rowsToDelete_ = std::make_shared<RowBatch>();
        writes_.add(
            "delete delivered messages",
            [rows = rowsToDelete_](Store& st) {
                rows->applied = true;
                st.deleteMessages(rows->ids);
            },
            [this, rows = rowsToDelete_](bool) {
                for (int64_t id : rows->ids) rowsInMemory_.erase(id);
            });
    }
    rowsToDelete_->ids.push_back(id);
}

// Another chat server stored messages for an account whose session is here.
void ChatService::onWaitingElsewhere(const Bytes& account) {
    auto local = byAccount_.find(account);
    if (local == byAccount_.end()) return;
    Session& s = sessions_.at(local->second);
    // Not ready yet: its (2,6) fetches them. Still fetching: the refill will.
    if (s.ready && !s.moreWaiting) {
        s.moreWaiting = true;
        queueWaiting(s);
    }
}

}  // namespace nq::server
