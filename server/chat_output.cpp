// Frames out: numbered per client, queued in the client's pacer, released as its ring allows.

#include "server/chat_service.h"
#include "server/records.h"
#include "wire/frame_trace.h"

namespace nq::server {

ChatService::Peer& ChatService::peerAt(const Endpoint& ep) {
    auto it = peers_.find(ep);
    if (it == peers_.end()) {
        it = peers_.emplace(ep, Peer(config_.pacing)).first;
        peerRing_.add(ep);
    }
    return it->second;
}

bool ChatService::send(const Endpoint& to, FrameKind kind, uint16_t code, uint32_t session, const Bytes& body,
                       uint8_t flags, int64_t storedId) {
    if (body.size() > kMaxBody) {
        NQ_LOG_CAPPED(log_, Failed, now_, Error, "refused to send (%u,%u) with a body of %zu bytes to %s",
                      kind.type, kind.sub, body.size(), to.toString().c_str());
        return false;
    }
    Peer& p = peerAt(to);
    // A client that asks faster than it reads gets no more than it may hold; a second keep-alive
    // answer is left to the one still held.
    if (flags & kAnswer) {
        if (p.pacer.holdsAnswer()) return false;
    } else if (p.pacer.heldCount() >= config_.pacing.heldFrames ||
               p.pacer.heldBytes() + kHeaderSize + body.size() > config_.pacing.heldBytes) {
        NQ_LOG_CAPPED(log_, Dropped, now_, Info,
                      "dropped (%u,%u) to %s: %zu frames of %zu bytes held already", kind.type, kind.sub,
                      to.toString().c_str(), p.pacer.heldCount(), p.pacer.heldBytes());
        return false;
    }
    p.seq = p.seq >= kSeqWrap - 1 ? 1 : p.seq + 1;  // 1..5999: the client's numbering follows ours
    OutFrame frame;
    frame.flags = flags;
    if (storedId) frame.row = std::make_shared<StoredRow>(StoredRow{storedId, true, true});
    encodeFrame({p.seq, kind.type, kind.sub, session, code}, body, frame.bytes);
    p.pacer.push(std::move(frame));
    releasePeer(to, p);
    return true;
}

// Straight out, past pacing: a refusal goes to an address without a session, whose client, if
// there is one, reads nothing else. Since anybody can send in another's name, one datagram
// gets one refusal at most, and an address only so many a second.
void ChatService::refuseLogin(const Endpoint& to) {
    if (refusedInDatagram_ || !replyRates_.take(to.address, now_)) return;
    refusedInDatagram_ = true;
    refusalSeq_ = refusalSeq_ >= kSeqWrap - 1 ? 1 : refusalSeq_ + 1;
    Datagram d{to,
               encodeFrame({refusalSeq_, kind::kLogin.type, kind::kLogin.sub, 0, code::kWrongPassword}, {})};
    if (log_.tracing()) log_.trace(describeDatagram("out", "chat " + to.toString(), d.data));
    output_.push_back(std::move(d));
}

void ChatService::releasePeer(const Endpoint& ep, Peer& peer) {
    released_.clear();
    peer.pacer.release(now_, released_);
    for (OutFrame& f : released_) {
        if (log_.tracing()) log_.trace(describeDatagram("out", "chat " + ep.toString(), f.bytes));
        if (f.row) {
            f.row->held = false;
            if (f.row->committed)
                deleteRow(f.row->id);
            else
                // Its row is still being written (keepInStore): deleted once it is.
                writes_.add(
                    "delete a delivered message",
                    [row = f.row](Store& st) {
                        if (row->id) st.deleteMessages(std::span<const int64_t>(&row->id, 1));
                    },
                    [this, row = f.row](bool) { rowsInMemory_.erase(row->id); });
        }
        output_.push_back({ep, std::move(f.bytes)});
    }
    if (peer.pacer.heldCount())
        blocked_.insert(ep);
    else
        blocked_.erase(ep);
}

}  // namespace nq::server
