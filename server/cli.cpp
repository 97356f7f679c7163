#include "server/cli.h"

#include <charconv>
#include <cmath>
#include <cstdlib>

#include "server/endpoint.h"
#include "server/names.h"
#include "server/records.h"

namespace nq::server {
namespace {

// Walks the arguments; every value-taking option goes through value(), so "--db" at the end
// of the line reports what is missing.
class Args {
  public:
    explicit Args(const std::vector<std::string_view>& args) : args_(args) {}
    bool done() const { return i_ >= args_.size(); }
    std::string_view peek() const { return args_[i_]; }
    std::string_view take() { return args_[i_++]; }
    std::string value(std::string_view option) {
        if (done()) throw UsageError(std::string(option) + " needs a value");
        return std::string(take());
    }

  private:
    const std::vector<std::string_view>& args_;
    size_t i_ = 0;
};

template <typename T>
T integer(std::string_view text, std::string_view option, T low, T high) {
    T v{};
    auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), v);
    if (ec != std::errc() || end != text.data() + text.size() || v < low || v > high)
        throw UsageError(std::string(option) + " wants a whole number from " + std::to_string(low) + " to " +
                         std::to_string(high) + ", not \"" + std::string(text) + "\"");
    return v;
}

double positive(const std::string& text, std::string_view option) {
    char* end = nullptr;
    const double v = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || !std::isfinite(v) || v <= 0)
        throw UsageError(std::string(option) + " wants a positive number, not \"" + text + "\"");
    return v;
}

// Texts that travel in a frame to the client: well within one frame's 999 bytes.
constexpr size_t kMaxTextOption = 200;

ChatTarget chatTarget(const std::string& text) {
    const size_t colon = text.rfind(':');
    if (colon == std::string::npos || colon == 0 || colon > kMaxTextOption)
        throw UsageError("--chat-server wants HOST:PORT, not \"" + text + "\"");
    ChatTarget t;
    t.host = text.substr(0, colon);
    t.port = integer<uint16_t>(std::string_view(text).substr(colon + 1), "--chat-server port", 1, 65535);
    return t;
}

ServeOptions parseServe(Args& a) {
    ServeOptions o;
    while (!a.done()) {
        const std::string_view opt = a.take();
        if (opt == "--address") {
            o.address = a.value(opt);
            if (!parseIpv4(o.address))
                throw UsageError("--address wants an IPv4 address, not \"" + o.address + "\"");
        } else if (opt == "--dispatcher-port") {
            o.dispatcherPort = integer<uint16_t>(a.value(opt), opt, 1, 65535);
        } else if (opt == "--chat-port") {
            o.chatPort = integer<uint16_t>(a.value(opt), opt, 1, 65535);
        } else if (opt == "--role") {
            const std::string r = a.value(opt);
            if (r == "both")
                o.role = Role::Both;
            else if (r == "dispatcher")
                o.role = Role::Dispatcher;
            else if (r == "chat")
                o.role = Role::Chat;
            else
                throw UsageError("--role is both, dispatcher or chat, not \"" + r + "\"");
        } else if (opt == "--chat-server") {
            o.chatServers.push_back(chatTarget(a.value(opt)));
        } else if (opt == "--public-host") {
            o.publicHost = a.value(opt);
            if (o.publicHost.empty()) throw UsageError("--public-host is empty");
            if (o.publicHost.size() > kMaxTextOption)
                throw UsageError("--public-host is longer than " + std::to_string(kMaxTextOption) + " bytes");
        } else if (opt == "--min-version") {
            o.minVersion = a.value(opt);
            if (!versionCodeOf(o.minVersion))
                throw UsageError("--min-version wants a digit, a point and a digit, such as 1.0, not \"" +
                                 o.minVersion + "\"");
        } else if (opt == "--update-target") {
            o.updateTarget = a.value(opt);
            if (o.updateTarget.size() > kMaxTextOption)
                throw UsageError("--update-target is longer than " + std::to_string(kMaxTextOption) +
                                 " bytes");
        } else if (opt == "--session-timeout") {
            o.sessionTimeoutSeconds = positive(a.value(opt), opt);
        } else if (opt == "--pace-tick") {
            o.paceTickMs = positive(a.value(opt), opt);
        } else if (opt == "--ring-budget") {
            // At least a few whole frames, and a whole frame short of the client's 65,408 bytes.
            o.ringBudget = integer<size_t>(a.value(opt), opt, 4096, 65408 - 1021);
        } else if (opt == "--trace") {
            o.trace = true;
        } else if (opt == "--log-level") {
            const std::string l = a.value(opt);
            auto level = parseLogLevel(l);
            if (!level) throw UsageError("--log-level is debug, info, warn or error, not \"" + l + "\"");
            o.logLevel = *level;
        } else {
            throw UsageError("unknown option " + std::string(opt) + " for serve");
        }
    }
    if (o.role == Role::Dispatcher && o.chatServers.empty())
        throw UsageError("--role dispatcher needs at least one --chat-server HOST:PORT to name");
    if (o.role == Role::Both && o.dispatcherPort == o.chatPort)
        throw UsageError("the dispatcher and the chat server need different ports");
    return o;
}

void noMore(Args& a, std::string_view command) {
    if (!a.done())
        throw UsageError("unexpected \"" + std::string(a.peek()) + "\" after " + std::string(command));
}

std::string positional(Args& a, std::string_view what) {
    if (a.done() || a.peek().starts_with("--")) throw UsageError("missing " + std::string(what));
    return std::string(a.take());
}

Command parseUser(Args& a) {
    if (a.done()) throw UsageError("user wants add, passwd or list");
    const std::string_view sub = a.take();
    if (sub == "add") {
        UserAdd u;
        u.name = positional(a, "NAME for user add");
        u.password = positional(a, "PASSWORD for user add");
        while (!a.done()) {
            const std::string_view opt = a.take();
            if (opt == "--nick") {
                u.nick = a.value(opt);
            } else if (opt == "--head") {
                u.head = a.value(opt);
                if (!isHeadCode(u.head))
                    throw UsageError("--head is m0..m9 or w1..w10, not \"" + u.head + "\"");
            } else if (opt == "--level") {
                u.level = integer<int>(a.value(opt), opt, 1, 32767);
            } else if (opt == "--coins") {
                u.coins = integer<int64_t>(a.value(opt), opt, 0, 1'000'000'000'000);
            } else {
                throw UsageError("unknown option " + std::string(opt) + " for user add");
            }
        }
        if (u.nick.empty()) u.nick = u.name;
        return u;
    }
    if (sub == "passwd") {
        UserPasswd p;
        p.name = positional(a, "NAME for user passwd");
        p.password = positional(a, "PASSWORD for user passwd");
        noMore(a, "user passwd");
        return p;
    }
    if (sub == "list") {
        noMore(a, "user list");
        return UserList{};
    }
    throw UsageError("user wants add, passwd or list, not \"" + std::string(sub) + "\"");
}

}  // namespace

CommandLine parseCommandLine(const std::vector<std::string_view>& args) {
    // --db may stand anywhere; take it out first so that each command sees only its own words.
    CommandLine line;
    std::vector<std::string_view> rest;
    for (size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--db") {
            if (i + 1 >= args.size()) throw UsageError("--db needs a value");
            line.db = std::string(args[++i]);
            if (line.db.empty()) throw UsageError("--db is empty");
        } else if (args[i] == "--help" || args[i] == "-h") {
            line.command = ShowHelp{};
            return line;
        } else {
            rest.push_back(args[i]);
        }
    }
    Args a(rest);
    if (a.done() || a.peek().starts_with("--")) {
        line.command = parseServe(a);
        return line;
    }
    const std::string_view command = a.take();
    if (command == "serve") {
        line.command = parseServe(a);
    } else if (command == "user") {
        line.command = parseUser(a);
    } else if (command == "friend") {
        MakeFriends f;
        f.first = positional(a, "NAME1 for friend");
        f.second = positional(a, "NAME2 for friend");
        noMore(a, "friend");
        line.command = f;
    } else if (command == "notice") {
        SendNotice n;
        if (a.done()) throw UsageError("notice wants --box or --toast and a text");
        const std::string_view kind = a.take();
        if (kind != "--box" && kind != "--toast")
            throw UsageError("notice wants --box or --toast, not \"" + std::string(kind) + "\"");
        n.box = kind == "--box";
        n.text = positional(a, "TEXT for notice");
        noMore(a, "notice TEXT (quote a text with spaces)");
        line.command = n;
    } else if (command == "demo") {
        noMore(a, "demo");
        line.command = Demo{};
    } else {
        throw UsageError("unknown command \"" + std::string(command) + "\"");
    }
    return line;
}

std::string usageText() {
    return R"(usage: nqserver [serve] [OPTIONS]          run the dispatcher and a chat server
       nqserver [--db FILE] COMMAND ...        change the database

Serving:
  --db FILE                 database file, created on first start (default ./nqserver.db)
  --address ADDR            IPv4 address to bind (default 0.0.0.0)
  --dispatcher-port PORT    dispatcher port (default 4000)
  --chat-port PORT          chat server port (default 8000)
  --role both|dispatcher|chat
                            what this process serves (default both)
  --chat-server HOST:PORT   a chat server the dispatcher names; repeat for several. A login
                            goes to the one with the fewest sessions. Default: this process's
  --public-host HOST        how clients reach this chat server; default the bound address, or
                            the address a client reached the dispatcher at. Chat servers that
                            share a database report their load under HOST:PORT
  --min-version X.Y         older clients get the update order (default 1.0)
  --update-target TEXT      what the update order hands to the client's updater
                            (default the minimum version)
  --session-timeout SECONDS a silent session ends after this (default 60; fractions allowed)
  --pace-tick MS            the client's tick that pacing assumes (default 500; for tests)
  --ring-budget BYTES       unread bytes allowed in a client's ring (default 49152)
  --trace                   print every frame in and out
  --log-level debug|info|warn|error   (default info)

Commands:
  user add NAME PASSWORD [--nick NICK] [--head m0..m9|w1..w10] [--level N] [--coins N]
  user passwd NAME PASSWORD
  user list
  friend NAME1 NAME2        make two users friends of each other
  notice --box|--toast TEXT send a system notice to everyone online (reaches running
                            servers through the database within a second)
  demo                      create the demo accounts alice, bob, carol, dave and erin
                            (password 123456) and their friendships

Exit status: 0 done, 1 failure at run time, 2 bad command line or input.
)";
}

}  // namespace nq::server
