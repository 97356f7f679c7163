#pragma once
// Visits every entry of a table once a period, a share of them at each turn, so that a table of
// tens of thousands of entries never holds the loop for one long walk. The ring keeps the keys in
// the order they came; the table keeps the entries. An entry that left the table leaves the ring
// when its key comes up, and a key that came twice (an entry gone and made again under the same
// key) is visited once a round: each entry carries the number of the round that last saw it.
//
// Keys are visited at a steady pace through the round, so that a key is seen again about one
// period after it was last seen. Only when the table shrinks or grows a lot within a round does a
// key's place move: it is then seen again at most two periods after, never later.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "server/clock.h"

namespace nq::server {

template <typename Key>
class SweepRing {
  public:
    explicit SweepRing(Duration period) : period_(period) {}

    // A key whose entry was just made.
    void add(const Key& key) { keys_.push_back(key); }
    size_t size() const { return keys_.size(); }

    // Visits the keys whose time has come by now. mark(key) gives the round number held in key's
    // entry, or nullptr once the entry is gone; visit(key) does the work, and may end the entry.
    // When visit throws, the key counts as visited and the next turn goes on after it.
    template <typename Mark, typename Visit>
    void turn(Time now, Mark mark, Visit visit) {
        if (!started_) {
            started_ = true;
            start_ = now;
        }
        const bool lastTurn = now >= start_ + period_;
        const auto due = [&] {
            if (lastTurn) return keys_.size();  // keys added by the visits of this turn too
            const double share = secondsOf(now - start_) / secondsOf(period_);
            return std::min(keys_.size(),
                            static_cast<size_t>(std::ceil(share * static_cast<double>(keys_.size()))));
        };
        // Keys that stay are moved down over those that left, so the ring holds no more than the
        // table plus the keys that came since the round began.
        while (read_ < due()) {
            const Key key = keys_[read_++];
            uint32_t* seen = mark(key);
            if (!seen || *seen == round_) continue;
            *seen = round_;
            keys_[write_++] = key;
            visit(key);
        }
        if (!lastTurn) return;
        keys_.resize(write_);
        read_ = write_ = 0;
        if (++round_ == 0) round_ = 1;  // 0 is the mark of an entry no round has seen
        // On the grid of periods, so that each key keeps its time within the round; a turn that
        // came over a period late starts the grid again.
        start_ = now - start_ < 2 * period_ ? start_ + period_ : now;
    }

  private:
    const Duration period_;
    std::vector<Key> keys_;
    size_t read_ = 0;   // the next key to visit
    size_t write_ = 0;  // where the next key that stays goes
    uint32_t round_ = 1;
    bool started_ = false;
    Time start_{};
};

}  // namespace nq::server
