#pragma once
// Password guessing, held back. Each failed login counts against the IPv4 address it came from
// and against the account it named; past a number of failures the address, or the account,
// waits before its next password is checked, and each failure after that doubles the wait.
// A login that must wait is not checked at all, which is what keeps a flood of guesses from
// costing a seal check each (credentials.h).
//
// A wait, never a lockout: an address that logged in to an account before skips that
// account's wait, so that guesses at an account from elsewhere do not keep its owner out.

#include <cstdint>
#include <list>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "server/clock.h"
#include "server/log.h"
#include "server/store.h"

namespace nq::server {

struct LoginLimits {
    int addressFailures = 5;   // failed logins from one address before it waits
    int accountFailures = 20;  // failed logins of one account, from anywhere, before it waits
    Duration backoff = std::chrono::seconds(1);     // the first wait
    Duration backoffMax = std::chrono::minutes(5);  // the longest
    // Password checks of one account per minute, successes included, so that a flood of logins
    // that succeed (an account of the flooder's own) costs a bounded number of seal checks.
    int accountChecksPerMinute = 60;
    // Failures are forgotten after twice the longest wait without one.
    Duration forgetAfter() const { return backoffMax * 2; }
};

class LoginThrottle {
  public:
    // Addresses followed at most; past it the one longest unheard of is forgotten. About 100
    // bytes each.
    static constexpr size_t kMaxAddresses = 1 << 16;

    explicit LoginThrottle(const LoginLimits& limits) : limits_(limits) {}

    bool addressMayTry(uint32_t address, Time now);
    // True spends one of the account's checks of this minute.
    bool accountMayTry(const Bytes& account, uint32_t address, Time now);
    // The wait that this failure started for the address and for the account (zero: none).
    struct Waits {
        Duration address{};
        Duration account{};
    };
    Waits failed(uint32_t address, const Bytes* account, Time now);
    void succeeded(uint32_t address, const Bytes& account, Time now);

  private:
    struct Strikes {
        int failures = 0;
        Time last{};
        Time until{};
        Duration fail(Time now, int allowed, const LoginLimits& limits);
    };
    struct AddressEntry {
        Strikes strikes;
        std::list<uint32_t>::iterator age;
    };
    struct AccountEntry {
        Strikes strikes;
        Time minuteStart{};
        int checksThisMinute = 0;
        std::vector<std::pair<uint32_t, Time>> known;  // addresses that logged in, newest first
    };

    AddressEntry& addressEntry(uint32_t address);

    LoginLimits limits_;
    std::unordered_map<uint32_t, AddressEntry> addresses_;
    std::list<uint32_t> byAge_;  // most recently heard of first
    std::unordered_map<Bytes, AccountEntry> accounts_;
};

enum class LoginVerdict { Accepted, Refused, HeldBack };

struct LoginOutcome {
    LoginVerdict verdict;
    std::optional<Account> account;  // when accepted
    const char* why = "";            // when not
};

// The password check that the dispatcher and the chat server share: held back by the throttle,
// refused, or accepted, and a seal of an earlier kind resealed on acceptance.
class LoginGate {
  public:
    LoginGate(Store& store, const LoginLimits& limits, Logger& log)
        : store_(store), throttle_(limits), log_(log) {}

    LoginOutcome check(uint32_t address, const Bytes& name, std::string_view digest, Time now);

  private:
    Store& store_;
    LoginThrottle throttle_;
    Logger& log_;
};

}  // namespace nq::server
