#pragma once
// Pacing of the frames to one client. The client reads at most two frames per 500 ms tick, one a
// tick while a backlog drains, and its receive ring of 65,408 bytes throws away everything unread
// when it overflows. So the server keeps, per client, an estimate of what stands unread in that
// ring and holds frames back while the estimate is near full.
//
// The estimate is deliberately pessimistic, so that it is never below the truth. It assumes one
// frame read per stretched tick, and a second one only in the tick after a datagram of ours
// arrived, counted once per stretched tick however many arrived. Two kinds of frame need more:
// - a trigger, to which the client answers with a frame sent straight from the handler (a group
//   roster brings (2,6), an accepted friend brings a profile request); two such answers in one
//   client tick garble its send ring, so a trigger leaves only once the previous one has been
//   read and two ticks have passed;
// - a keep-alive answer, which the client only counts: it goes ahead of every frame held back,
//   so that a backlog never makes a client believe its session lost;
// - a system notice box, which stops the client's reading until the user closes it; after it
//   is read, nothing more counts as read until the client is heard from again.
//
// Other modal boxes stop the client's tick as well, and the server cannot see them coming (the
// client's own "connection failed" after an unanswered request, say). So reads counted since the
// client was last heard are taken on trust only so far: with what is believed unread they never
// exceed the ring's bytes; none are counted past two keep-alive periods of silence; and when the
// client is heard again after such a silence, they count as unread again, since its tick may
// have stood since it was last heard.

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <vector>

#include "server/clock.h"
#include "wire/gbk.h"

namespace nq::server {

struct PacingConfig {
    Duration tick = Millis(500);    // the client's timer
    double tickStretch = 1.1;       // its timer runs late when a tick has work to do
    size_t ringBudget = 48 * 1024;  // bytes allowed to stand unread in a ring of 65,408
    size_t ringBytes = 65408;       // the ring itself: past it, all that stands unread is lost
    // Frames allowed to stand unread: read one a tick, the last of them within 35 s, so that a
    // keep-alive answer behind them is read long before the client's 168 s of patience run out.
    size_t unreadFrames = 64;
    // Frames and bytes held back for one client at most; what comes past that is not queued.
    size_t heldFrames = 256;
    size_t heldBytes = 128 * 1024;
    // Two of the client's keep-alive periods of 10.5 s: a longer silence is no lost keep-alive,
    // but a tick that stands under a modal box, or a client that has gone.
    Duration stallSilence = Millis(21000);

    Duration readPeriod() const { return std::chrono::duration_cast<Duration>(tick * tickStretch); }
    Duration triggerGap() const { return tick * 2; }
};

enum FrameFlag : uint8_t {
    kTrigger = 1,       // the client answers it at once, outside its send gate
    kStallsReader = 2,  // a modal box: reading stops until the user closes it
    kChatMessage = 4,   // a relayed (2,1) or (2,3): goes back to the store if it never leaves
    kAnswer = 8,        // a keep-alive answer: ahead of everything held, one held at most
};

// The waiting-message row that keeps a chat message until it leaves, so that neither a stop nor
// a crash loses it: the row it was read from, or one written when pacing first held it back.
struct StoredRow {
    int64_t id = 0;          // 0 until written
    bool held = true;        // still in the pacer: a refill of waiting messages skips the row
    bool committed = false;  // id names a row in the database, not one a batch may still undo
};

struct OutFrame {
    Bytes bytes;
    uint8_t flags = 0;
    std::shared_ptr<StoredRow> row;  // deleted from the store once the frame leaves
};

class ClientPacer {
  public:
    explicit ClientPacer(const PacingConfig& config) : config_(&config) {}

    // Queues a frame behind those already held; frames leave in the order they were queued, but
    // for a keep-alive answer, which goes first.
    void push(OutFrame frame);

    // Moves every frame that may leave now into out, oldest first.
    void release(Time now, std::vector<OutFrame>& out);

    // The client answered a trigger: it has read everything up to the oldest trigger unread.
    void triggerAnswered(Time now);

    // Any frame of the client's session: its tick runs, so no box is standing.
    void clientHeard(Time now);
    // A login opened a session here: a new client may have come with a ring of its own, or the same
    // one asked again; either way what was counted read so far stands, and silence counts from now.
    void sessionOpened(Time now);
    // The session here ended: no frame of the client will vouch for its reading any more, so what is
    // left for it (the notice that it logged in elsewhere) leaves as time passes.
    void sessionEnded();

    size_t unreadEstimate(Time now);
    // A box of ours is believed to stand on the client's screen, stopping its tick.
    bool readingStopped(Time now) {
        drain(now);
        return stalled_;
    }
    size_t heldCount() const { return held_.size(); }
    // The frame queued last, while it is held; frames leave in order, so if any is held, it is.
    OutFrame* newest() { return held_.empty() ? nullptr : &held_.back(); }
    size_t heldBytes() const { return heldBytes_; }
    bool holdsAnswer() const { return answerHeld_; }
    bool idle(Time now);  // nothing held and nothing believed unread

    // When a held frame may next be able to leave; nothing when none is held or only the client
    // can unblock it.
    std::optional<Time> nextChance(Time now);

    // Takes the frames not yet sent, for a session that ends.
    std::deque<OutFrame> takeHeld();

  private:
    struct Unread {
        Time sentAt;
        uint16_t length;
        uint8_t flags;
    };
    // A datagram of ours made the client's next tick read two frames: that tick came by `at`,
    // and could only read frames sent by `sentBy`.
    struct SecondRead {
        Time at;
        Time sentBy;
    };

    void drain(Time now);
    void popFront(Time readAt, bool regular = true);
    bool triggerBlocked(Time now) const;
    // Not heard for two keep-alive periods: no read counts until it is.
    bool quiet(Time now) const { return heard_ && now > *heard_ + config_->stallSilence; }
    // The frame would take the ring past its bytes if the client had read nothing since it was
    // last heard.
    bool ringFull(const OutFrame& f) const;

    const PacingConfig* config_;
    std::deque<OutFrame> held_;
    size_t heldBytes_ = 0;
    bool answerHeld_ = false;
    std::deque<Unread> unread_;
    std::deque<SecondRead> secondReads_;
    std::optional<Time> lastSecondReadSent_;
    size_t unreadBytes_ = 0;
    Time cursor_{};  // when the client is believed to have read the last frame popped
    bool stalled_ = false;
    std::optional<Time> heard_;
    // Counted read since the client was last heard, oldest first. A vector, since an empty
    // std::deque already holds about 600 bytes, and the server has a pacer per client.
    std::vector<Unread> credited_;
    size_t creditedBytes_ = 0;
    int triggersUnread_ = 0;
    std::optional<Time> lastTriggerRead_;
};

}  // namespace nq::server
