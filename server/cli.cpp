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

// At most a day: a wait that long is a lockout in all but name.
Duration seconds(const std::string& text, std::string_view option) {
    const double v = positive(text, option);
    if (v > 86400) throw UsageError(std::string(option) + " is at most 86400 seconds, not \"" + text + "\"");
    return std::chrono::duration_cast<Duration>(std::chrono::duration<double>(v));
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
const option kOptions[] = {{"db", required_argument, nullptr, 0},
                           {"help", no_argument, nullptr, 'h'},
                           {"address", required_argument, nullptr, 0},
                           {"dispatcher-port", required_argument, nullptr, 0},
                           {"chat-port", required_argument, nullptr, 0},
                           {"role", required_argument, nullptr, 0},
                           {"chat-server", required_argument, nullptr, 0},
                           {"public-host", required_argument, nullptr, 0},
                           {"min-version", required_argument, nullptr, 0},
                           {"update-target", required_argument, nullptr, 0},
                           {"session-timeout", required_argument, nullptr, 0},
                           {"pace-tick", required_argument, nullptr, 0},
                           {"ring-budget", required_argument, nullptr, 0},
                           {"trace", no_argument, nullptr, 0},
                           {"log-level", required_argument, nullptr, 0},
                           {"login-address-failures", required_argument, nullptr, 0},
                           {"login-account-failures", required_argument, nullptr, 0},
                           {"login-backoff", required_argument, nullptr, 0},
                           {"login-backoff-max", required_argument, nullptr, 0},
                           {"login-account-checks", required_argument, nullptr, 0},
                           {"frame-rate", required_argument, nullptr, 0},
                           {"datagram-frames", required_argument, nullptr, 0},
                           {"reply-rate", required_argument, nullptr, 0},
                           {"held-frames", required_argument, nullptr, 0},
                           {"held-bytes", required_argument, nullptr, 0},
                           {"waiting-rate", required_argument, nullptr, 0},
                           {"group-rate", required_argument, nullptr, 0},
                           {"room-rate", required_argument, nullptr, 0},
                           {"waiting-max", required_argument, nullptr, 0},
                           {"waiting-days", required_argument, nullptr, 0},
                           {"log-lines", required_argument, nullptr, 0},
                           {"group-coins", required_argument, nullptr, 0},
                           {"join-rate", required_argument, nullptr, 0},
                           {"take-over", no_argument, nullptr, 0},
                           {"nick", required_argument, nullptr, 0},
                           {"head", required_argument, nullptr, 0},
                           {"level", required_argument, nullptr, 0},
                           {"coins", required_argument, nullptr, 0},
                           {"box", no_argument, nullptr, 0},
                           {"intro", required_argument, nullptr, 0},
                           {"toast", no_argument, nullptr, 0},
                           {"from", required_argument, nullptr, 0},
                           {"to", required_argument, nullptr, 0},
                           {nullptr, 0, nullptr, 0}};
int optionIndex(std::string_view name) {
    int i = 0;
    while (kOptions[i].name && kOptions[i].name != name) ++i;
    return i;
}
// The serve command takes the options from address to take-over; found by name, so that an option
// added in between cannot push take-over out of the range.
const int kFirstServeOption = optionIndex("address"), kLastServeOption = optionIndex("take-over");

struct Given {
    int index;  // into kOptions
    std::string value;
    std::string name() const { return std::string("--") + kOptions[index].name; }
    bool is(std::string_view option) const { return option == kOptions[index].name; }
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
        int index = -1;
        const int id = getopt_long(argc, argv.data(), ":h", kOptions, &index);
        if (id == -1) break;
        const std::string seen = argv[optind - 1];
        if (id == ':') throw UsageError(seen.substr(0, seen.find('=')) + " needs a value");
        if (id == '?') throw UsageError("unknown option " + seen);
        if (id == 'h') {
            p.help = true;
            continue;
        }
        p.options.push_back({index, optarg ? optarg : ""});
    }
    for (int i = optind; i < argc; ++i) p.words.emplace_back(argv[i]);
    return p;
}

ServeOptions serveOptions(const std::vector<Given>& options) {
    ServeOptions o;
    for (const Given& g : options) {
        const std::string opt = g.name();
        const std::string& v = g.value;
        if (g.is("address")) {
            if (!parseIpv4(v)) throw UsageError("--address wants an IPv4 address, not \"" + v + "\"");
            o.address = v;
        } else if (g.is("dispatcher-port")) {
            o.dispatcherPort = integer<uint16_t>(v, opt, 1, 65535);
        } else if (g.is("chat-port")) {
            o.chatPort = integer<uint16_t>(v, opt, 1, 65535);
        } else if (g.is("role")) {
            if (v == "both")
                o.role = Role::Both;
            else if (v == "dispatcher")
                o.role = Role::Dispatcher;
            else if (v == "chat")
                o.role = Role::Chat;
            else
                throw UsageError("--role is both, dispatcher or chat, not \"" + v + "\"");
        } else if (g.is("chat-server")) {
            o.chatServers.push_back(chatTarget(v));
        } else if (g.is("public-host")) {
            if (v.empty()) throw UsageError("--public-host is empty");
            if (v.size() > kMaxTextOption)
                throw UsageError("--public-host is longer than " + std::to_string(kMaxTextOption) + " bytes");
            o.publicHost = v;
        } else if (g.is("min-version")) {
            if (!versionCodeOf(v))
                throw UsageError("--min-version wants a digit, a point and a digit, such as 1.0, not \"" + v +
                                 "\"");
            o.minVersion = v;
        } else if (g.is("update-target")) {
            if (v.size() > kMaxTextOption)
                throw UsageError("--update-target is longer than " + std::to_string(kMaxTextOption) +
                                 " bytes");
            o.updateTarget = v;
        } else if (g.is("session-timeout")) {
            o.sessionTimeoutSeconds = positive(v, opt);
        } else if (g.is("pace-tick")) {
            o.paceTickMs = positive(v, opt);
        } else if (g.is("ring-budget")) {
            // At least a few whole frames, and a whole frame short of the client's 65,408 bytes.
            o.ringBudget = integer<size_t>(v, opt, 4096, 65408 - 1021);
        } else if (g.is("trace")) {
            o.trace = true;
        } else if (g.is("log-level")) {
            auto level = parseLogLevel(v);
            if (!level) throw UsageError("--log-level is debug, info, warn or error, not \"" + v + "\"");
            o.logLevel = *level;
        } else if (g.is("login-address-failures")) {
            o.login.addressFailures = integer<int>(v, opt, 1, 1000000);
        } else if (g.is("login-account-failures")) {
            o.login.accountFailures = integer<int>(v, opt, 1, 1000000);
        } else if (g.is("login-backoff")) {
            o.login.backoff = seconds(v, opt);
        } else if (g.is("login-backoff-max")) {
            o.login.backoffMax = seconds(v, opt);
        } else if (g.is("login-account-checks")) {
            o.login.accountChecksPerMinute = integer<int>(v, opt, 1, 1000000);
        } else if (g.is("frame-rate")) {
            // Below 10 a second a client's own busiest ticks would be cut.
            o.input.framesPerSecond = integer<int>(v, opt, 10, 1000000);
        } else if (g.is("datagram-frames")) {
            o.input.framesPerDatagram = integer<int>(v, opt, 2, 1000);
        } else if (g.is("reply-rate")) {
            o.input.repliesPerSecond = integer<int>(v, opt, 1, 1000000);
        } else if (g.is("held-frames")) {
            o.heldFrames = integer<size_t>(v, opt, 64, 1000000);
        } else if (g.is("held-bytes")) {
            // At least a slice of waiting messages of the longest kind.
            o.heldBytes = integer<size_t>(v, opt, 65536, size_t{1} << 30);
        } else if (g.is("group-rate")) {
            o.input.groupLinesPerMinute = integer<int>(v, opt, 1, 1000000);
        } else if (g.is("room-rate")) {
            o.input.roomLinesPerMinute = integer<int>(v, opt, 1, 1000000);
        } else if (g.is("waiting-rate")) {
            o.waiting.perSenderPerMinute = integer<int>(v, opt, 1, 1000000);
        } else if (g.is("waiting-max")) {
            o.waiting.perReceiver = integer<int>(v, opt, 1, 100000000);
        } else if (g.is("waiting-days")) {
            o.waiting.maxAge = std::chrono::hours(24) * integer<int>(v, opt, 1, 36500);
        } else if (g.is("group-coins")) {
            o.input.groupCoinsThousands = integer<int>(v, opt, 0, 1000000);
        } else if (g.is("join-rate")) {
            o.input.joinRequestsPerHour = integer<int>(v, opt, 1, 100000);
        } else if (g.is("log-lines")) {
            o.logLinesPerMinute = integer<int>(v, opt, 1, 1000000);
        } else if (g.is("take-over")) {
            o.takeOver = true;
        }
    }
    if (o.login.backoffMax < o.login.backoff)
        throw UsageError("--login-backoff-max is shorter than --login-backoff");
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
    std::vector<std::string> rest() {
        std::vector<std::string> out(words_.begin() + static_cast<std::ptrdiff_t>(i_), words_.end());
        i_ = words_.size();
        return out;
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
        const std::string opt = g.name();
        if (g.is("nick")) {
            u.nick = g.value;
        } else if (g.is("head")) {
            if (!isHeadCode(g.value))
                throw UsageError("--head is m0..m9 or w1..w10, not \"" + g.value + "\"");
            u.head = g.value;
        } else if (g.is("level")) {
            u.level = integer<int>(g.value, opt, 1, 32767);
        } else if (g.is("coins")) {
            u.coins = integer<int64_t>(g.value, opt, 0, 1'000'000'000'000);
        }
    }
    if (u.nick.empty()) u.nick = u.name;
    return u;
}

// Refuses an option that the command does not take.
void only(const std::vector<Given>& options, std::string_view command,
          std::initializer_list<std::string_view> allowed) {
    for (const Given& g : options)
        if (std::none_of(allowed.begin(), allowed.end(), [&](std::string_view a) { return g.is(a); }))
            throw UsageError("unknown option " + g.name() + " for " + std::string(command));
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
        if (!g.is("db")) {
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
            if (g.index < kFirstServeOption || g.index > kLastServeOption)
                throw UsageError("unknown option " + g.name() + " for serve");
        line.command = serveOptions(options);
    } else if (command == "user") {
        const std::string sub = p.words.size() > 1 ? p.words[1] : "";
        Words w(p.words, 2, "user " + sub);
        if (sub == "add") {
            only(options, "user add", {"nick", "head", "level", "coins"});
            line.command = userAdd(w, options);
        } else if (sub == "passwd") {
            only(options, "user passwd", {});
            line.command = UserPasswd{w.take("NAME"), w.take("PASSWORD")};
            w.end();
        } else if (sub == "list") {
            only(options, "user list", {});
            w.end();
            line.command = UserList{};
        } else if (sub == "coins") {
            only(options, "user coins", {});
            UserCoins c;
            c.name = w.take("NAME");
            const std::string coins = w.take("COINS");
            w.end();
            c.coins = integer<int64_t>(coins, "COINS", 0, 1'000'000'000'000);
            line.command = c;
        } else {
            throw UsageError(sub.empty() ? "user wants add, passwd, list or coins"
                                         : "user wants add, passwd, list or coins, not \"" + sub + "\"");
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
        only(options, "notice", {"box", "toast"});
        if (options.size() != 1) throw UsageError("notice wants --box or --toast and a text");
        Words w(p.words, 1, "notice TEXT (quote a text with spaces)");
        SendNotice n;
        n.box = options[0].is("box");
        n.text = w.take("TEXT");
        w.end();
        line.command = n;
    } else if (command == "group") {
        const std::string sub = p.words.size() > 1 ? p.words[1] : "";
        Words w(p.words, 2, "group " + sub);
        if (sub == "add") {
            only(options, "group add", {"intro"});
            GroupAdd a;
            a.name = w.take("NAME");
            a.creator = w.take("CREATOR");
            a.members = w.rest();
            for (const Given& g : options) a.intro = g.value;
            line.command = a;
        } else if (sub == "list") {
            only(options, "group list", {});
            w.end();
            line.command = GroupList{};
        } else if (sub == "dissolve") {
            only(options, "group dissolve", {});
            GroupDissolve d{w.take("NAME")};
            w.end();
            line.command = d;
        } else if (sub == "role") {
            only(options, "group role", {});
            GroupRole r;
            r.name = w.take("NAME");
            r.role = w.take("ROLE");
            const std::vector<std::string> rest = w.rest();
            if (rest.size() > 1) throw UsageError("unexpected \"" + rest[1] + "\" after group role");
            if (!rest.empty()) r.account = rest[0];
            if (r.role != "host" && r.role != "hostess" && r.role != "deputy" && r.role != "butler")
                throw UsageError("a role is host, hostess, deputy or butler, not \"" + r.role + "\"");
            line.command = r;
        } else {
            throw UsageError(sub.empty() ? "group wants add, list, dissolve or role"
                                         : "group wants add, list, dissolve or role, not \"" + sub + "\"");
        }
    } else if (command == "migrate") {
        only(options, "migrate", {"from", "to"});
        Words(p.words, 1, "migrate").end();
        Migrate m;
        for (const Given& g : options) (g.is("from") ? m.from : m.to) = g.value;
        if (m.from.empty() || m.to.empty()) throw UsageError("migrate wants --from FILE and --to URI");
        if (!m.to.starts_with("postgresql://") && !m.to.starts_with("postgres://"))
            throw UsageError("migrate --to wants a postgresql:// URI, not \"" + m.to + "\"");
        line.command = m;
    } else if (command == "room") {
        only(options, "room", {});
        RoomSet r;
        if (p.words.size() > 1) r.name = p.words[1];
        r.staff.assign(p.words.begin() + std::min<size_t>(2, p.words.size()), p.words.end());
        line.command = r;
    } else if (command == "servers") {
        only(options, "servers", {});
        Words(p.words, 1, "servers").end();
        line.command = ServerList{};
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
       nqserver [--db FILE|URI] COMMAND ...    change the database

Serving:
  --db FILE                 database file, created on first start (default ./nqserver.db)
  --db postgresql://...     a PostgreSQL database instead, shared by chat servers on
                            several machines, such as postgresql://nq@db1/nqchat (libpq's
                            connection URI; the tables are made on first start)
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
  --session-timeout SECONDS a silent session ends after this (default 60; fractions allowed),
                            but one silent for 21 s is taken for stalled and kept 30 minutes
  --pace-tick MS            the client's tick that pacing assumes (default 500; for tests)
  --ring-budget BYTES       unread bytes allowed in a client's ring (default 49152)
  --login-address-failures N  failed logins from one IPv4 address before its next
                            login waits (default 5)
  --login-account-failures N  failed logins of one account, from anywhere, before its next
                            login from an address it never logged in from waits (default 20)
  --login-backoff SECONDS   the first wait; each further failure doubles it (default 1)
  --login-backoff-max SECONDS the longest wait (default 300)
  --login-account-checks N  password checks of one account per minute, successes
                            included (default 60)
  --frame-rate N            frames a second taken from one address and port, bursts of
                            twice as many (default 20); past it frames are dropped
  --datagram-frames N       frames read from one datagram (default 16)
  --reply-rate N            login refusals and dispatcher answers a second to one address,
                            one a datagram (default 20)
  --held-frames N           frames held back for one client (default 256)
  --held-bytes BYTES        bytes held back for one client (default 131072)
  --group-rate N            group lines a minute one user may send, bursts of a third as
                            many (default 30)
  --room-rate N             lines a minute one user may say in the public room, bursts of a
                            third as many (default 20)
  --waiting-rate N          messages a minute one user may leave waiting (default 60)
  --waiting-max N           messages waiting for one user (default 1000)
  --waiting-days N          waiting messages older than this are deleted (default 30)
  --group-coins N           coins a user needs to create a group, in thousands (default 10)
  --join-rate N             join requests an hour one user may send (default 12)
  --log-lines N             lines a minute about dropped frames, refusals and failures,
                            each (default 60)
  --take-over               replace the nqserver running on these address and ports: it
                            hands its sockets over and stops, its clients carry on
  --trace                   print every frame in and out
  --log-level debug|info|warn|error   (default info)

Commands:
  user add NAME PASSWORD [--nick NICK] [--head m0..m9|w1..w10] [--level N] [--coins N]
  user passwd NAME PASSWORD
  user list
  user coins NAME COINS     set the coins of a user
  friend NAME1 NAME2        make two users friends of each other
  notice --box|--toast TEXT send a system notice to everyone online (reaches running
                            servers through the database within a second)
  group add NAME CREATOR [MEMBER...] [--intro TEXT]
                            create a group with its creator and members (200 at most; each
                            member's groups must fit one roster frame)
  group list                groups with number, creator and number of members
  group dissolve NAME       remove a group; its members online hear it at once
  group role NAME host|hostess|deputy|butler [ACCOUNT]
                            name a member to a role of the group's card, or clear it
  migrate --from FILE --to URI
                            copy a SQLite database into an empty PostgreSQL one and check
                            that the copy holds every row (exit 1 when it does not)
  room [NAME [STAFF...]]    name the public room and its customer-service staff (accounts);
                            clients see it at their next login. Without NAME: show it
  servers                   the chat servers on the database: sessions, age of the last
                            report, and whether they count as running or as gone
  demo                      create the demo accounts alice, bob, carol, dave and erin
                            (password 123456), their friendships, the group 周末棋友会
                            of alice, bob, carol and erin, and the room 珀岚大厅 (staff dave)

Exit status: 0 done, 1 failure at run time, 2 bad command line or input.
)";
}

}  // namespace nq::server
