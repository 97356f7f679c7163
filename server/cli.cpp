#include "server/cli.h"

#include <getopt.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>

#include "server/endpoint.h"
#include "server/names.h"
#include "server/records.h"

namespace nq::server {
namespace {

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

// Every option of every command, in one table for getopt_long; which command takes which is
// checked once the command word is known.
enum Opt : int {
    kDb = 256,
    kAddress,
    kDispatcherPort,
    kChatPort,
    kRole,
    kChatServer,
    kPublicHost,
    kMinVersion,
    kUpdateTarget,
    kSessionTimeout,
    kPaceTick,
    kRingBudget,
    kTrace,
    kLogLevel,
    kNick,
    kHead,
    kLevel,
    kCoins,
    kBox,
    kToast,
    kFirstServeOpt = kAddress,
    kLastServeOpt = kLogLevel,
};

const option kOptions[] = {
    {"db", required_argument, nullptr, kDb},
    {"help", no_argument, nullptr, 'h'},
    {"address", required_argument, nullptr, kAddress},
    {"dispatcher-port", required_argument, nullptr, kDispatcherPort},
    {"chat-port", required_argument, nullptr, kChatPort},
    {"role", required_argument, nullptr, kRole},
    {"chat-server", required_argument, nullptr, kChatServer},
    {"public-host", required_argument, nullptr, kPublicHost},
    {"min-version", required_argument, nullptr, kMinVersion},
    {"update-target", required_argument, nullptr, kUpdateTarget},
    {"session-timeout", required_argument, nullptr, kSessionTimeout},
    {"pace-tick", required_argument, nullptr, kPaceTick},
    {"ring-budget", required_argument, nullptr, kRingBudget},
    {"trace", no_argument, nullptr, kTrace},
    {"log-level", required_argument, nullptr, kLogLevel},
    {"nick", required_argument, nullptr, kNick},
    {"head", required_argument, nullptr, kHead},
    {"level", required_argument, nullptr, kLevel},
    {"coins", required_argument, nullptr, kCoins},
    {"box", no_argument, nullptr, kBox},
    {"toast", no_argument, nullptr, kToast},
    {nullptr, 0, nullptr, 0},
};

std::string optionName(int id) {
    for (const option& o : kOptions)
        if (o.name && o.val == id) return std::string("--") + o.name;
    return "?";
}

struct Given {
    int id;
    std::string value;
};

// The words and options of the line, options in the order given; "--" ends the options.
struct Parsed {
    std::vector<std::string> words;
    std::vector<Given> options;
    bool help = false;
};

Parsed scan(const std::vector<std::string_view>& args) {
    std::vector<std::string> storage{"nqserver"};
    for (std::string_view a : args) storage.emplace_back(a);
    std::vector<char*> argv;
    for (std::string& a : storage) argv.push_back(a.data());
    argv.push_back(nullptr);

    Parsed p;
    opterr = 0;  // our own messages, one line each
    optind = 0;  // glibc: start afresh, as a second parse in the same process needs
    const int argc = static_cast<int>(argv.size()) - 1;
    for (;;) {
        const int id = getopt_long(argc, argv.data(), ":h", kOptions, nullptr);
        if (id == -1) break;
        const std::string seen = argv[optind - 1];
        if (id == ':') throw UsageError(seen.substr(0, seen.find('=')) + " needs a value");
        if (id == '?') throw UsageError("unknown option " + seen);
        if (id == 'h') {
            p.help = true;
            continue;
        }
        p.options.push_back({id, optarg ? optarg : ""});
    }
    for (int i = optind; i < argc; ++i) p.words.emplace_back(argv[i]);
    return p;
}

ServeOptions serveOptions(const std::vector<Given>& options) {
    ServeOptions o;
    for (const Given& g : options) {
        const std::string opt = optionName(g.id);
        const std::string& v = g.value;
        switch (g.id) {
            case kAddress:
                if (!parseIpv4(v)) throw UsageError("--address wants an IPv4 address, not \"" + v + "\"");
                o.address = v;
                break;
            case kDispatcherPort:
                o.dispatcherPort = integer<uint16_t>(v, opt, 1, 65535);
                break;
            case kChatPort:
                o.chatPort = integer<uint16_t>(v, opt, 1, 65535);
                break;
            case kRole:
                if (v == "both")
                    o.role = Role::Both;
                else if (v == "dispatcher")
                    o.role = Role::Dispatcher;
                else if (v == "chat")
                    o.role = Role::Chat;
                else
                    throw UsageError("--role is both, dispatcher or chat, not \"" + v + "\"");
                break;
            case kChatServer:
                o.chatServers.push_back(chatTarget(v));
                break;
            case kPublicHost:
                if (v.empty()) throw UsageError("--public-host is empty");
                if (v.size() > kMaxTextOption)
                    throw UsageError("--public-host is longer than " + std::to_string(kMaxTextOption) +
                                     " bytes");
                o.publicHost = v;
                break;
            case kMinVersion:
                if (!versionCodeOf(v))
                    throw UsageError("--min-version wants a digit, a point and a digit, such as 1.0, not \"" +
                                     v + "\"");
                o.minVersion = v;
                break;
            case kUpdateTarget:
                if (v.size() > kMaxTextOption)
                    throw UsageError("--update-target is longer than " + std::to_string(kMaxTextOption) +
                                     " bytes");
                o.updateTarget = v;
                break;
            case kSessionTimeout:
                o.sessionTimeoutSeconds = positive(v, opt);
                break;
            case kPaceTick:
                o.paceTickMs = positive(v, opt);
                break;
            case kRingBudget:
                // At least a few whole frames, and a whole frame short of the client's 65,408 bytes.
                o.ringBudget = integer<size_t>(v, opt, 4096, 65408 - 1021);
                break;
            case kTrace:
                o.trace = true;
                break;
            case kLogLevel:
                if (auto level = parseLogLevel(v))
                    o.logLevel = *level;
                else
                    throw UsageError("--log-level is debug, info, warn or error, not \"" + v + "\"");
                break;
        }
    }
    if (o.role == Role::Dispatcher && o.chatServers.empty())
        throw UsageError("--role dispatcher needs at least one --chat-server HOST:PORT to name");
    if (o.role == Role::Both && o.dispatcherPort == o.chatPort)
        throw UsageError("the dispatcher and the chat server need different ports");
    return o;
}

// The words of one command after its name: exactly the names asked for, nothing more.
class Words {
  public:
    Words(const std::vector<std::string>& words, size_t from, std::string command)
        : words_(words), i_(from), command_(std::move(command)) {}
    std::string take(std::string_view what) {
        if (i_ >= words_.size()) throw UsageError("missing " + std::string(what) + " for " + command_);
        return words_[i_++];
    }
    void end() const {
        if (i_ < words_.size()) throw UsageError("unexpected \"" + words_[i_] + "\" after " + command_);
    }

  private:
    const std::vector<std::string>& words_;
    size_t i_;
    std::string command_;
};

UserAdd userAdd(Words& w, const std::vector<Given>& options) {
    UserAdd u;
    u.name = w.take("NAME");
    u.password = w.take("PASSWORD");
    w.end();
    for (const Given& g : options) {
        const std::string opt = optionName(g.id);
        if (g.id == kNick) {
            u.nick = g.value;
        } else if (g.id == kHead) {
            if (!isHeadCode(g.value))
                throw UsageError("--head is m0..m9 or w1..w10, not \"" + g.value + "\"");
            u.head = g.value;
        } else if (g.id == kLevel) {
            u.level = integer<int>(g.value, opt, 1, 32767);
        } else if (g.id == kCoins) {
            u.coins = integer<int64_t>(g.value, opt, 0, 1'000'000'000'000);
        }
    }
    if (u.nick.empty()) u.nick = u.name;
    return u;
}

// Refuses an option that the command does not take.
void only(const std::vector<Given>& options, std::string_view command, std::initializer_list<int> allowed) {
    for (const Given& g : options)
        if (std::find(allowed.begin(), allowed.end(), g.id) == allowed.end())
            throw UsageError("unknown option " + optionName(g.id) + " for " + std::string(command));
}

}  // namespace

CommandLine parseCommandLine(const std::vector<std::string_view>& args) {
    Parsed p = scan(args);
    CommandLine line;
    if (p.help) {
        line.command = ShowHelp{};
        return line;
    }
    std::vector<Given> options;
    for (Given& g : p.options) {
        if (g.id != kDb) {
            options.push_back(std::move(g));
            continue;
        }
        if (g.value.empty()) throw UsageError("--db is empty");
        line.db = std::move(g.value);
    }

    const std::string command = p.words.empty() ? "serve" : p.words[0];
    if (command == "serve") {
        Words(p.words, 1, "serve").end();
        for (const Given& g : options)
            if (g.id < kFirstServeOpt || g.id > kLastServeOpt)
                throw UsageError("unknown option " + optionName(g.id) + " for serve");
        line.command = serveOptions(options);
    } else if (command == "user") {
        const std::string sub = p.words.size() > 1 ? p.words[1] : "";
        Words w(p.words, 2, "user " + sub);
        if (sub == "add") {
            only(options, "user add", {kNick, kHead, kLevel, kCoins});
            line.command = userAdd(w, options);
        } else if (sub == "passwd") {
            only(options, "user passwd", {});
            line.command = UserPasswd{w.take("NAME"), w.take("PASSWORD")};
            w.end();
        } else if (sub == "list") {
            only(options, "user list", {});
            w.end();
            line.command = UserList{};
        } else {
            throw UsageError(sub.empty() ? "user wants add, passwd or list"
                                         : "user wants add, passwd or list, not \"" + sub + "\"");
        }
    } else if (command == "friend") {
        only(options, "friend", {});
        Words w(p.words, 1, "friend");
        MakeFriends f;
        f.first = w.take("NAME1");
        f.second = w.take("NAME2");
        w.end();
        line.command = f;
    } else if (command == "notice") {
        only(options, "notice", {kBox, kToast});
        if (options.size() != 1) throw UsageError("notice wants --box or --toast and a text");
        Words w(p.words, 1, "notice TEXT (quote a text with spaces)");
        SendNotice n;
        n.box = options[0].id == kBox;
        n.text = w.take("TEXT");
        w.end();
        line.command = n;
    } else if (command == "demo") {
        only(options, "demo", {});
        Words(p.words, 1, "demo").end();
        line.command = Demo{};
    } else {
        throw UsageError("unknown command \"" + command + "\"");
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
