#include "server/pacer.h"

#include <algorithm>
#include <utility>

namespace nq::server {

void ClientPacer::push(OutFrame frame) {
    heldBytes_ += frame.bytes.size();
    if (frame.flags & kAnswer) {
        answerHeld_ = true;
        held_.push_front(std::move(frame));
    } else {
        held_.push_back(std::move(frame));
    }
}

void ClientPacer::popFront(Time readAt, bool regular) {
    const Unread u = unread_.front();
    unread_.pop_front();
    unreadBytes_ -= u.length;
    if (regular) cursor_ = readAt;
    if (heard_ && readAt > *heard_) {
        credited_.push_back(u);
        creditedBytes_ += u.length;
    }
    if (u.flags & kTrigger) {
        --triggersUnread_;
        lastTriggerRead_ = std::max(lastTriggerRead_.value_or(readAt), readAt);
    }
    if (u.flags & kStallsReader) stalled_ = true;
}

void ClientPacer::drain(Time now) {
    if (heard_) now = std::min(now, *heard_ + config_->stallSilence);  // its tick may stand since
    const Duration period = config_->readPeriod();
    while (!stalled_ && !unread_.empty()) {
        // A frame is read no later than one stretched tick after it arrived, or after the frame
        // before it was read, whichever is later.
        const Time due = std::max(unread_.front().sentAt, cursor_) + period;
        if (!secondReads_.empty() && secondReads_.front().at <= due) {
            const SecondRead extra = secondReads_.front();
            if (extra.at > now) break;
            secondReads_.pop_front();
            // That tick read the oldest frame only if it had arrived by then.
            if (unread_.front().sentAt <= extra.sentBy) popFront(extra.at, false);
            continue;
        }
        if (due > now) break;
        popFront(due);
    }
    while (!secondReads_.empty() && secondReads_.front().at <= now && (stalled_ || unread_.empty()))
        secondReads_.pop_front();
}

bool ClientPacer::triggerBlocked(Time now) const {
    if (triggersUnread_ > 0) return true;
    return lastTriggerRead_ && now < *lastTriggerRead_ + config_->triggerGap();
}

void ClientPacer::release(Time now, std::vector<OutFrame>& out) {
    drain(now);
    while (!held_.empty()) {
        OutFrame& f = held_.front();
        if ((f.flags & kTrigger) && triggerBlocked(now)) break;
        if (unreadBytes_ + f.bytes.size() > config_->ringBudget && unreadBytes_ > 0) break;
        if (ringFull(f)) break;
        if (unread_.size() >= config_->unreadFrames) break;
        unread_.push_back(
            {now, static_cast<uint16_t>(std::min<size_t>(f.bytes.size(), UINT16_MAX)), f.flags});
        // Datagrams more than a stretched tick apart cannot fall between the same two ticks, so
        // each such one brings a tick of its own that reads two frames.
        if (!lastSecondReadSent_ || now - *lastSecondReadSent_ > config_->readPeriod()) {
            secondReads_.push_back({now + config_->readPeriod(), now});
            lastSecondReadSent_ = now;
        }
        unreadBytes_ += unread_.back().length;
        if (f.flags & kTrigger) ++triggersUnread_;
        if (f.flags & kAnswer) answerHeld_ = false;
        heldBytes_ -= f.bytes.size();
        out.push_back(std::move(f));
        held_.pop_front();
    }
}

void ClientPacer::triggerAnswered(Time now) {
    if (triggersUnread_ == 0) {
        // Already believed read; the answer only proves it happened no later than now.
        if (lastTriggerRead_) lastTriggerRead_ = std::max(*lastTriggerRead_, now);
        return;
    }
    for (;;) {
        const bool wasTrigger = unread_.front().flags & kTrigger;
        popFront(now);
        if (wasTrigger) break;
    }
    // The answer was sent from the tick that read the trigger, so that tick's reading is done.
    stalled_ = false;
}

void ClientPacer::clientHeard(Time now) {
    // Silent for longer than a lost keep-alive explains, and no box of ours to say where its
    // reading stopped: it may have read nothing since it was last heard.
    const bool silent = heard_ && !stalled_ && now - *heard_ > config_->stallSilence;
    if (silent) {
        drain(*heard_);  // what it read before it went quiet stands
        for (auto u = credited_.rbegin(); u != credited_.rend(); ++u) {
            unread_.push_front(*u);
            unreadBytes_ += u->length;
            if (u->flags & kTrigger) ++triggersUnread_;
        }
    }
    credited_.clear();
    creditedBytes_ = 0;
    heard_ = now;
    if (!stalled_ && !silent) return;
    stalled_ = false;
    cursor_ = now;
    secondReads_.clear();  // they fell while the tick stood
}

void ClientPacer::sessionOpened(Time now) {
    credited_.clear();
    creditedBytes_ = 0;
    heard_ = now;
}

void ClientPacer::sessionEnded() {
    credited_.clear();
    creditedBytes_ = 0;
    heard_.reset();
}

bool ClientPacer::ringFull(const OutFrame& f) const {
    return unreadBytes_ + creditedBytes_ + f.bytes.size() > config_->ringBytes;
}

size_t ClientPacer::unreadEstimate(Time now) {
    drain(now);
    return unreadBytes_;
}

bool ClientPacer::idle(Time now) {
    drain(now);
    return held_.empty() && unread_.empty();
}

std::optional<Time> ClientPacer::nextChance(Time now) {
    drain(now);
    // Only the client's next frame makes room: reads move bytes from unread to credited.
    if (held_.empty() || stalled_ || quiet(now) || ringFull(held_.front())) return std::nullopt;
    std::optional<Time> when;
    if (!unread_.empty()) {
        when = std::max(unread_.front().sentAt, cursor_) + config_->readPeriod();
        if (!secondReads_.empty()) when = std::min(*when, secondReads_.front().at);
    }
    if ((held_.front().flags & kTrigger) && triggersUnread_ == 0 && lastTriggerRead_) {
        const Time gapEnd = *lastTriggerRead_ + config_->triggerGap();
        if (gapEnd > now) when = when ? std::max(*when, gapEnd) : gapEnd;
    }
    return when.value_or(now);
}

std::deque<OutFrame> ClientPacer::takeHeld() {
    heldBytes_ = 0;
    answerHeld_ = false;
    return std::exchange(held_, {});
}

}  // namespace nq::server
