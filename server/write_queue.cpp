#include "server/write_queue.h"

#include <algorithm>
#include <vector>

namespace nq::server {

bool WriteQueue::add(const char* what, Apply apply, Done done) {
    if (queue_.size() >= maxQueued_) return false;
    queue_.push_back({what, std::move(apply), std::move(done)});
    return true;
}

void WriteQueue::flush(Time now) {
    if (queue_.empty() || now < retryAt_) return;
    if (hold_ > Duration{} && queue_.size() < enough_) {
        if (gatherFrom_ == Time{}) gatherFrom_ = now;
        if (now < gatherFrom_ + hold_) return;
    }
    gatherFrom_ = Time{};
    run(now, false);
}

void WriteQueue::flushWaiting(Time now) {
    gatherFrom_ = Time{};
    if (!queue_.empty()) run(now, true);
}

void WriteQueue::run(Time now, bool waitForLock) {
    const size_t count = queue_.size();
    auto apply = [&](size_t i) { queue_[i].apply(store_); };
    std::vector<std::string> failed;
    try {
        failed = store_.writeBatch(count, apply, waitForLock);
    } catch (const StoreBusy& e) {
        retryAt_ = now + kRetry;
        NQ_LOG_CAPPED(log_, Failed, now, Warn, "%zu writes wait for the database: %s", count, e.what());
        return;
    } catch (const StoreError&) {
        // Lost as a whole (a full disk may take the transaction with it): one at a time, so that
        // the writes that can be made are made.
        failed.assign(count, {});
        for (size_t i = 0; i < count; ++i) {
            try {
                failed[i] = store_.writeBatch(
                    1, [&](size_t) { apply(i); }, waitForLock)[0];
            } catch (const StoreBusy&) {
                // Those written stay written; the rest wait for the lock.
                retryAt_ = now + kRetry;
                failed.resize(i);
                break;
            } catch (const StoreError& e) {
                failed[i] = e.what();
            }
        }
    }
    // Those finished leave the queue before anyone hears of them: a done may queue more.
    std::vector<Write> finished(std::make_move_iterator(queue_.begin()),
                                std::make_move_iterator(queue_.begin() + static_cast<long>(failed.size())));
    queue_.erase(queue_.begin(), queue_.begin() + static_cast<long>(failed.size()));
    for (size_t i = 0; i < finished.size(); ++i) {
        const bool written = failed[i].empty();
        if (!written)
            NQ_LOG_CAPPED(log_, Failed, now, Error, "could not %s: %s", finished[i].what, failed[i].c_str());
        if (finished[i].done) finished[i].done(written);
    }
}

}  // namespace nq::server
