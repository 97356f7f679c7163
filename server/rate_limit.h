#pragma once
// What one peer may make the server spend: frames in per second, frames per datagram, replies
// to an address that proves nothing (a login refusal, a dispatcher answer), and messages left
// waiting in the store. Token buckets by key do the counting; each keeps at most a bounded number
// of keys, since a forger can make up a new address and port for every datagram.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <unordered_map>

#include "server/clock.h"

namespace nq::server {

struct InputLimits {
    // In one 500 ms tick a client sends at most what its ring holds (two frames, when it moves a
    // friend to the blacklist), its keep-alive and two answers to what it read: 10 frames a second.
    double framesPerSecond = 20;  // per address and port; bursts of twice as many
    // A tick sends whatever was queued since the one before in one datagram: one to three frames
    // as people use the client, one a name when the game hall hands it a list of friends.
    int framesPerDatagram = 16;
    // Answers to an address that no session proves: login refusals, dispatcher answers. A forger
    // who sends in a victim's name gets at most this many a second sent there, one a datagram.
    double repliesPerSecond = 20;  // per IPv4 address; bursts of twice as many
    // A group line costs every member online a frame of the two a tick his client reads at best,
    // and a human types a line every few seconds: 30 a minute keep a flooder to a quarter of a
    // busy member's reading. Bursts of a third as many.
    int groupLinesPerMinute = 30;  // per account
    // The public room costs its members the same, and holds more of them.
    int roomLinesPerMinute = 20;  // per account, bursts of a third as many
    // Each join request opens a window on the creator's screen; a dozen an hour is more than a
    // person looking for groups sends, and keeps a flooder from burying a creator in windows.
    int joinRequestsPerHour = 12;  // per requesting account, bursts as many
    // Coins a user needs to create a group, in thousands: the client shows this times 1000.
    int groupCoinsThousands = 10;
};

struct WaitingLimits {
    int perSenderPerMinute = 60;  // messages one account may leave waiting, bursts included
    int perReceiver = 1000;       // messages waiting for one account at most
    Duration maxAge = std::chrono::hours(24 * 30);
};

// One bucket per key, refilled at `rate` tokens a second up to `burst`. A bucket that is full
// again is as good as none and is forgotten; past maxKeys buckets an arbitrary one goes.
template <typename Key, typename Hash = std::hash<Key>>
class RateBuckets {
  public:
    RateBuckets(double rate, double burst, size_t maxKeys = 1 << 16)
        : rate_(rate), burst_(burst), maxKeys_(maxKeys) {}

    // Spends one token of key's bucket; false when it has none.
    bool take(const Key& key, Time now) {
        auto it = buckets_.find(key);
        if (it == buckets_.end()) {
            if (buckets_.size() >= maxKeys_) makeRoom(now);
            it = buckets_.emplace(key, Bucket{burst_, now}).first;
        }
        Bucket& b = it->second;
        b.tokens = std::min(burst_, b.tokens + secondsOf(now - b.at) * rate_);
        b.at = now;
        if (b.tokens < 1) return false;
        b.tokens -= 1;
        return true;
    }
    size_t size() const { return buckets_.size(); }

    void forgetFull(Time now) {
        std::erase_if(buckets_, [&](const auto& kv) { return full(kv.second, now); });
    }
    // The same over a share of the table (0..1), going on where the last share ended: a full
    // bucket forgotten a little later costs only its memory.
    void forgetFullShare(Time now, double share) {
        const size_t n = buckets_.bucket_count();
        size_t todo =
            std::min(n, static_cast<size_t>(std::ceil(std::clamp(share, 0.0, 1.0) * static_cast<double>(n))));
        for (cursor_ %= n; todo > 0; --todo, cursor_ = (cursor_ + 1) % n)
            for (auto it = buckets_.begin(cursor_); it != buckets_.end(cursor_);) {
                const auto& [key, bucket] = *it++;
                if (full(bucket, now)) buckets_.erase(Key(key));
            }
    }

  private:
    struct Bucket {
        double tokens;
        Time at;
    };
    bool full(const Bucket& b, Time now) const { return b.tokens + secondsOf(now - b.at) * rate_ >= burst_; }
    void makeRoom(Time now) {
        // A full sweep at most ten times a second: under a forged flood the table stays full.
        if (now >= nextSweep_) {
            nextSweep_ = now + std::chrono::milliseconds(100);
            forgetFull(now);
        }
        if (buckets_.size() >= maxKeys_) buckets_.erase(buckets_.begin());
    }

    const double rate_;
    const double burst_;
    const size_t maxKeys_;
    std::unordered_map<Key, Bucket, Hash> buckets_;
    Time nextSweep_{};
    size_t cursor_ = 0;  // the next hash bucket forgetFullShare looks at
};

}  // namespace nq::server
