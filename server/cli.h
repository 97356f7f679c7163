#pragma once
// The command line of nqserver: serving (the default) and the admin commands. Parsing only;
// a bad argument throws UsageError with a one-line message for the user.

#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "server/dispatcher_service.h"
#include "server/log.h"
#include "server/pacer.h"

namespace nq::server {

class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

enum class Role { Both, Dispatcher, Chat };

struct ServeOptions {
    std::string address = "0.0.0.0";
    uint16_t dispatcherPort = 4000;
    uint16_t chatPort = 8000;
    Role role = Role::Both;
    std::vector<ChatTarget> chatServers;  // what the dispatcher names; its own chat server if empty
    std::string publicHost;               // how clients reach this chat server; see resolve in the loop
    std::string minVersion = "1.0";
    std::string updateTarget;
    double sessionTimeoutSeconds = 60;
    double paceTickMs = 500;        // the client's tick; tests shorten it
    size_t ringBudget = 48 * 1024;  // bytes allowed unread in a client's ring
    size_t heldFrames = PacingConfig().heldFrames;
    size_t heldBytes = PacingConfig().heldBytes;
    LoginLimits login;
    InputLimits input;
    WaitingLimits waiting;
    int logLinesPerMinute = 60;
    bool takeOver = false;  // ask a server running on these ports for its sockets; see handover.h
    bool trace = false;
    LogLevel logLevel = LogLevel::Info;
};

struct UserAdd {
    std::string name;  // all text here is UTF-8 as typed
    std::string password;
    std::string nick;  // the name when not given
    std::string head = "m0";
    int level = 1;
    int64_t coins = 0;
};
struct UserPasswd {
    std::string name;
    std::string password;
};
struct UserList {};
struct MakeFriends {
    std::string first;
    std::string second;
};
struct SendNotice {
    bool box = false;
    std::string text;
};
struct GroupAdd {
    std::string name;
    std::string creator;
    std::vector<std::string> members;  // besides the creator
    std::string intro;
};
struct GroupList {};
struct GroupDissolve {
    std::string name;
};
struct GroupRole {
    std::string name;
    std::string role;     // host, hostess, deputy or butler
    std::string account;  // empty: nobody
};
struct UserCoins {
    std::string name;
    int64_t coins = 0;
};
// No name: show the room. A name: the room is called so, its staff the accounts given.
struct RoomSet {
    std::string name;
    std::vector<std::string> staff;
};
struct Demo {};
struct ServerList {};
struct Migrate {
    std::string from;  // a SQLite file
    std::string to;    // a postgresql:// URI
};
struct ShowHelp {};

using Command = std::variant<ServeOptions, UserAdd, UserPasswd, UserList, MakeFriends, SendNotice, GroupAdd,
                             GroupList, GroupDissolve, GroupRole, UserCoins, RoomSet, Demo, ServerList, Migrate, ShowHelp>;

struct CommandLine {
    std::string db = "nqserver.db";  // a SQLite file, or a postgresql:// URI
    Command command;
};

CommandLine parseCommandLine(const std::vector<std::string_view>& args);
std::string usageText();

}  // namespace nq::server
