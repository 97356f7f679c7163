#include "server/login_throttle.h"

#include <algorithm>

#include "server/credentials.h"
#include "server/endpoint.h"
#include "wire/gbk.h"

namespace nq::server {
namespace {

// Addresses an account remembers as its owner's: the last few it logged in from (home, work,
// a phone's changing one), each for a month. Kept in memory only: a restart forgets them.
constexpr size_t kKnownPerAccount = 4;
constexpr Duration kKnownFor = std::chrono::hours(24 * 30);

}  // namespace

Duration LoginThrottle::Strikes::fail(Time now, int allowed, const LoginLimits& limits) {
    if (failures > 0 && now - last > limits.forgetAfter()) failures = 0;
    ++failures;
    last = now;
    if (failures < allowed) return {};
    // Doubled step by step up to the longest: a shift by the failure count would overflow.
    Duration wait = limits.backoff;
    for (int i = allowed; i < failures && wait < limits.backoffMax; ++i) wait *= 2;
    wait = std::min(wait, limits.backoffMax);
    until = now + wait;
    return wait;
}

LoginThrottle::AddressEntry& LoginThrottle::addressEntry(uint32_t address) {
    auto it = addresses_.find(address);
    if (it != addresses_.end()) {
        byAge_.splice(byAge_.begin(), byAge_, it->second.age);
        return it->second;
    }
    if (addresses_.size() >= kMaxAddresses) {
        addresses_.erase(byAge_.back());
        byAge_.pop_back();
    }
    byAge_.push_front(address);
    AddressEntry& e = addresses_[address];
    e.age = byAge_.begin();
    return e;
}

bool LoginThrottle::addressMayTry(uint32_t address, Time now) {
    auto it = addresses_.find(address);
    if (it == addresses_.end()) return true;
    byAge_.splice(byAge_.begin(), byAge_, it->second.age);
    return now >= it->second.strikes.until;
}

bool LoginThrottle::accountMayTry(const Bytes& account, uint32_t address, Time now) {
    AccountEntry& e = accounts_[account];
    if (now - e.minuteStart >= std::chrono::minutes(1)) {
        e.minuteStart = now;
        e.checksThisMinute = 0;
    }
    if (e.checksThisMinute >= limits_.accountChecksPerMinute) return false;
    const bool may =
        now >= e.strikes.until || std::any_of(e.known.begin(), e.known.end(), [&](const auto& k) {
            return k.first == address && now - k.second <= kKnownFor;
        });
    if (may) ++e.checksThisMinute;
    return may;
}

LoginThrottle::Waits LoginThrottle::failed(uint32_t address, const Bytes* account, Time now) {
    Waits w;
    w.address = addressEntry(address).strikes.fail(now, limits_.addressFailures, limits_);
    if (account) w.account = accounts_[*account].strikes.fail(now, limits_.accountFailures, limits_);
    return w;
}

void LoginThrottle::succeeded(uint32_t address, const Bytes& account, Time now) {
    // The address's own failures stand: logging in to an account of one's own between guesses at
    // others must not buy more guesses.
    AccountEntry& e = accounts_[account];
    e.strikes = {};  // the checks of this minute stand
    std::erase_if(e.known, [&](const auto& k) { return k.first == address || now - k.second > kKnownFor; });
    e.known.insert(e.known.begin(), {address, now});
    if (e.known.size() > kKnownPerAccount) e.known.resize(kKnownPerAccount);
}

LoginOutcome LoginGate::check(uint32_t address, const Bytes& name, std::string_view digest, Time now) {
    if (!throttle_.addressMayTry(address, now)) return {LoginVerdict::HeldBack, {}, "its address waits"};
    auto account = store_.account(name);
    const char* why = nullptr;
    if (!account)
        why = "no such account";
    else if (!throttle_.accountMayTry(account->name, address, now))
        return {LoginVerdict::HeldBack, {}, "the account waits"};
    else if (!wellFormedDigest(digest) || !digestMatches(account->digest, digest))
        why = "wrong password";
    if (why) {
        const auto waits = throttle_.failed(address, account ? &account->name : nullptr, now);
        if (waits.address.count())
            NQ_LOG_CAPPED(log_, Refused, now, Warn, "logins from %s wait %.1f s after repeated failures",
                          formatIpv4(address).c_str(), secondsOf(waits.address));
        if (waits.account.count())
            NQ_LOG_CAPPED(log_, Refused, now, Warn,
                          "logins of %s from unknown addresses wait %.1f s after repeated failures",
                          printable(name).c_str(), secondsOf(waits.account));
        return {LoginVerdict::Refused, {}, why};
    }
    throttle_.succeeded(address, account->name, now);
    if (!sealIsCurrent(account->digest)) {
        try {
            if (store_.resealDigest(account->name, account->digest, sealDigest(digest)))
                NQ_LOG(log_, Info, "resealed the password digest of %s", printable(name).c_str());
        } catch (const StoreError& e) {
            // The old seal still works; the next login tries again.
            NQ_LOG_CAPPED(log_, Failed, now, Warn, "could not reseal the password digest of %s: %s",
                          printable(name).c_str(), e.what());
        }
    }
    return {LoginVerdict::Accepted, std::move(account), ""};
}

}  // namespace nq::server
