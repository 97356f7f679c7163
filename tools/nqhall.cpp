// nqhall: plays the game hall against a running nqchat. It writes the hall's nqtemp.nq where
// the request reads it (the program folder for the two lists, the account's folder for a
// conversation) and sends the request on the client's hall socket. docs/hall.md has the rest.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "desktop/hall_socket.h"
#include "store/ini_file.h"
#include "store/store_keys.h"
#include "wire/gbk.h"

namespace {

constexpr int kAnswerMs = 3000;

const char* const kUsage =
    "usage: nqhall [--home DIR] [--account NAME] REQUEST [ARG...]\n"
    "  add-friends NAME...     names to add as friends (written to DIR/nqtemp.nq first)\n"
    "  add-blacklist NAME...   names to put on the blacklist (DIR/nqtemp.nq)\n"
    "  open-chat [NAME]        open a conversation; NAME goes to DIR/ACCOUNT/nqtemp.nq (needs --account)\n"
    "  show | room-view | exit show or minimise the window, the room-only view, end the client\n"
    "  start LINE              hand a start line (name$digest$mode$) to the running client\n"
    "Without names a list request sends only, for an nqtemp.nq written by someone else.\n"
    "DIR is the client's program folder (default $NQCHAT_HOME). Exit status: 0 taken, 1 refused,\n"
    "2 usage, 3 no client listening for DIR.\n";

int usage(const char* why) {
    if (why) std::fprintf(stderr, "nqhall: %s\n", why);
    std::fputs(kUsage, stderr);
    return 2;
}

bool writeList(const std::string& file, std::string_view section, std::string_view countKey,
               const std::vector<std::string>& names) {
    nq::CIniFile ini(file);
    bool ok = ini.WriteIniKey(section, countKey, std::to_string(names.size()));
    for (size_t i = 0; i < names.size(); ++i)
        ok = ini.WriteIniKey(section, std::to_string(i + 1), nq::gbk::fromUtf8(names[i])) && ok;
    return ok;
}

}  // namespace

int main(int argc, char** argv) {
    std::string home = std::getenv("NQCHAT_HOME") ? std::getenv("NQCHAT_HOME") : "";
    std::string account;
    int i = 1;
    for (; i < argc && std::strncmp(argv[i], "--", 2) == 0; i += 2) {
        if (std::strcmp(argv[i], "--help") == 0) {
            std::fputs(kUsage, stdout);
            return 0;
        }
        if (i + 1 >= argc) return usage("an option without its value");
        if (std::strcmp(argv[i], "--home") == 0) {
            home = argv[i + 1];
        } else if (std::strcmp(argv[i], "--account") == 0) {
            account = argv[i + 1];
        } else {
            return usage("unknown option");
        }
    }
    if (i >= argc) return usage("no request");
    if (home.empty()) return usage("no program folder: give --home DIR or set NQCHAT_HOME");
    const std::string request = argv[i++];
    const std::vector<std::string> args(argv + i, argv + argc);

    namespace temp = nq::store::temp;
    const std::string programTemp = home + "/" + std::string(temp::kFileName);
    std::string line = request;
    bool written = true;
    if (request == "add-friends" && !args.empty()) {
        written = writeList(programTemp, temp::kAddFriendsSection, temp::kAddFriendsCount, args);
    } else if (request == "add-blacklist" && !args.empty()) {
        written = writeList(programTemp, temp::kAddBlacklistSection, temp::kAddBlacklistCount, args);
    } else if (request == "open-chat" && !args.empty()) {
        if (account.empty() || args.size() != 1) return usage("open-chat NAME needs --account and one name");
        written = nq::CIniFile(home + "/" + account + "/" + std::string(temp::kFileName))
                      .WriteIniKey(temp::kHallChatSection, temp::kHallChatKey, nq::gbk::fromUtf8(args[0]));
    } else if (request == "start") {
        if (args.size() != 1) return usage("start takes one start line");
        line += " " + args[0];
    } else if (!args.empty()) {
        return usage("this request takes no names");
    }
    if (!written) {
        std::fprintf(stderr, "nqhall: cannot write nqtemp.nq under %s\n", home.c_str());
        return 1;
    }
    const std::string socket = nq::hallSocketPathFor(home);
    const auto answer = nq::sendHallRequest(socket, line, kAnswerMs);
    if (!answer) {
        std::fprintf(stderr, "nqhall: no nqchat listens for %s (%s)\n", home.c_str(), socket.c_str());
        return 3;
    }
    if (*answer != "ok") {
        std::fprintf(stderr, "nqhall: %s\n", answer->c_str());
        return 1;
    }
    return 0;
}
