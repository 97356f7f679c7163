#pragma once
// The chat server's writes, kept in order and committed together after each batch of datagrams
// the socket held (each datagram, when the service is driven by hand) and each timer: one
// transaction per loop turn instead of one per write, and a database that another process has
// locked costs the loop nothing. It never waits for the lock: what the lock holds
// back is written, in the same order, once it is gone.

#include <algorithm>
#include <cstddef>
#include <deque>
#include <functional>
#include <string>

#include "server/clock.h"
#include "server/log.h"
#include "server/store.h"

namespace nq::server {

class WriteQueue {
  public:
    using Apply = std::function<void(Store&)>;
    using Done = std::function<void(bool written)>;

    // Tried again this long after the lock refused a batch; a lock is held for milliseconds
    // usually, and each try costs the loop nothing.
    static constexpr Duration kRetry = std::chrono::milliseconds(100);
    // At about a kilobyte a message, a lock of minutes under full load fits in some 60 MB.
    static constexpr size_t kMaxQueued = 65536;

    WriteQueue(Store& store, Logger& log, size_t maxQueued = kMaxQueued)
        : store_(store), log_(log), maxQueued_(maxQueued) {}

    // Queues a write; done, if given, learns after the commit whether it was written. A full
    // queue refuses the write at once: false, and done is not called.
    bool add(const char* what, Apply apply, Done done = {});

    // Lets writes gather for up to `hold` after the first flush that found them, unless `enough`
    // wait: fewer, larger transactions when many servers take turns at one lock. 0: none.
    void gather(Duration hold, size_t enough) {
        hold_ = hold;
        enough_ = enough;
    }
    // Commits what is queued unless a try is not yet due. A write that fails for a reason other
    // than the lock (a full disk) is reported once and dropped; the others are written.
    void flush(Time now);
    // At a stop: waits for the lock, however long.
    void flushWaiting(Time now);

    size_t size() const { return queue_.size(); }
    // When flush has work to do: never while the queue is empty.
    Time nextTry(Time now) const {
        if (queue_.empty()) return Time::max();
        const Time gathered = gatherFrom_ == Time{} ? now : gatherFrom_ + hold_;
        return std::max({now, retryAt_, gathered});
    }

  private:
    struct Write {
        const char* what;
        Apply apply;
        Done done;
    };
    void run(Time now, bool waitForLock);

    Store& store_;
    Logger& log_;
    size_t maxQueued_;
    std::deque<Write> queue_;
    Time retryAt_{};
    Duration hold_{};
    size_t enough_ = 0;
    Time gatherFrom_{};  // the first flush that found writes and held them
};

}  // namespace nq::server
