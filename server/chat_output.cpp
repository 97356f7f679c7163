// Frames out: numbered per client, queued in the client's pacer, released as its ring allows.

#include "server/chat_service.h"
#include "server/records.h"
#include "wire/frame_trace.h"

namespace nq::server {

ChatService::Peer& ChatService::peerAt(const Endpoint& ep) {
    auto it = peers_.find(ep);
    if (it == peers_.end()) it = peers_.emplace(ep, Peer(config_.pacing)).first;
    return it->second;
}

void ChatService::send(const Endpoint& to, FrameKind kind, uint16_t code, uint32_t session, const Bytes& body,
                       uint8_t flags, int64_t storedId) {
    if (body.size() > kMaxBody) {
        NQ_LOG(log_, Error, "refused to send (%u,%u) with a body of %zu bytes to %s", kind.type, kind.sub,
               body.size(), to.toString().c_str());
        return;
    }
    Peer& p = peerAt(to);
    p.seq = p.seq >= kSeqWrap - 1 ? 1 : p.seq + 1;  // 1..5999: the client's numbering follows ours
    OutFrame frame;
    frame.flags = flags;
    frame.storedId = storedId;
    encodeFrame({p.seq, kind.type, kind.sub, session, code}, body, frame.bytes);
    p.pacer.push(std::move(frame));
    releasePeer(to, p);
}

void ChatService::releasePeer(const Endpoint& ep, Peer& peer) {
    released_.clear();
    peer.pacer.release(now_, released_);
    for (OutFrame& f : released_) {
        if (log_.tracing()) log_.trace(describeDatagram("out", "chat " + ep.toString(), f.bytes));
        if (f.storedId) deliveredIds_.push_back(f.storedId);
        output_.push_back({ep, std::move(f.bytes)});
    }
    if (peer.pacer.heldCount())
        blocked_.insert(ep);
    else
        blocked_.erase(ep);
}

// Waiting messages that left are deleted from the store in one go after each datagram or timer.
void ChatService::flushDeletes() {
    if (deliveredIds_.empty()) return;
    try {
        store_.deleteMessages(deliveredIds_);
        deliveredIds_.clear();
    } catch (const StoreError& e) {
        NQ_LOG(log_, Error, "cannot delete %zu delivered messages yet: %s", deliveredIds_.size(), e.what());
    }
}

}  // namespace nq::server
