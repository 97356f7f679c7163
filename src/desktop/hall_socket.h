#pragma once
// The game hall's way into a running client on Linux: a Unix stream socket that only the same
// user reaches, one request a line. This part has no Qt in it, so that the tool nqhall and the
// start of a second nqchat can use it before any application object exists; HallListener is
// the running client's side. The line protocol is described in docs/hall.md.

#include <optional>
#include <string>
#include <string_view>

namespace nq {

// The six hall messages, by the window-message numbers the hall has always posted, and the
// start line a second nqchat hands to the running one.
enum class HallMessage {
    AddFriends = 0x468,
    AddToBlacklist = 0x469,
    Exit = 0x46A,
    ShowOrMinimise = 0x46C,
    RoomView = 0x46D,
    OpenConversation = 0x46E,
    Start = 0,
};

struct HallRequest {
    HallMessage message = HallMessage::Exit;
    std::string startLine;  // Start only: "name$digest$mode$", as the bytes given
};

// A request line without its LF, or why it is refused.
struct HallParse {
    std::optional<HallRequest> request;
    std::string error;
};
[[nodiscard]] HallParse parseHallRequest(std::string_view line);
// The request's word in the line protocol ("add-friends").
[[nodiscard]] std::string hallRequestLine(const HallRequest& request);

// A line longer than this (LF excluded) is refused, and the connection with it.
inline constexpr size_t kHallMaxLine = 1024;

// $XDG_RUNTIME_DIR when it is set to an absolute path, else /tmp/nqchat-<uid>.
[[nodiscard]] std::string hallSocketFolder(const char* xdgRuntimeDir, unsigned uid);
// The socket of the client whose program folder this is: the folder's real path hashed into
// the name, so that two clients with two homes never meet on one socket.
[[nodiscard]] std::string hallSocketPath(const std::string& socketFolder, const std::string& programFolder);
// The socket for this process's user and environment.
[[nodiscard]] std::string hallSocketPathFor(const std::string& programFolder);

// Makes the folder if it is missing (mode 0700) and checks that it is a folder of uid's own
// that nobody else may enter: "" when it is, else the reason in a few words.
[[nodiscard]] std::string preparePrivateFolder(const std::string& folder, unsigned uid);

// Connects, sends one request line and reads the one-line answer ("ok", "refused ...").
// Nothing when nobody listens on the path or no answer came within timeoutMs.
[[nodiscard]] std::optional<std::string> sendHallRequest(const std::string& socketPath,
                                                         const std::string& line, int timeoutMs);

}  // namespace nq
