#include "desktop/hall_socket.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace nq {
namespace {

struct Word {
    std::string_view name;
    HallMessage message;
};
constexpr std::array<Word, 7> kWords = {{
    {"add-friends", HallMessage::AddFriends},
    {"add-blacklist", HallMessage::AddToBlacklist},
    {"exit", HallMessage::Exit},
    {"show", HallMessage::ShowOrMinimise},
    {"room-view", HallMessage::RoomView},
    {"open-chat", HallMessage::OpenConversation},
    {"start", HallMessage::Start},
}};

HallParse refuse(std::string why) {
    return {std::nullopt, std::move(why)};
}

// "0x468" or "1128": the hall's own message numbers are accepted for the six messages.
std::optional<HallMessage> byNumber(std::string_view word) {
    if (word.empty() || word.size() > 8) return std::nullopt;
    const std::string text(word);
    char* end = nullptr;
    const long value = std::strtol(text.c_str(), &end, 0);
    if (end != text.c_str() + text.size()) return std::nullopt;
    for (const Word& w : kWords)
        if (w.message != HallMessage::Start && static_cast<long>(w.message) == value) return w.message;
    return std::nullopt;
}

// FNV-1a, 64 bits: stable across runs and builds, unlike std::hash.
uint64_t fnv1a(std::string_view text) {
    uint64_t h = 0xcbf29ce484222325ULL;
    for (unsigned char c : text) {
        h ^= c;
        h *= 0x100000001b3ULL;
    }
    return h;
}

bool fillAddress(const std::string& path, sockaddr_un& address) {
    address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) return false;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return true;
}

}  // namespace

HallParse parseHallRequest(std::string_view line) {
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (line.size() > kHallMaxLine) return refuse("line too long");
    for (unsigned char c : line)
        if (c < 0x20 || c == 0x7F) return refuse("control character in the line");
    const size_t space = line.find(' ');
    const std::string_view word = line.substr(0, space);
    const std::string_view rest =
        space == std::string_view::npos ? std::string_view{} : line.substr(space + 1);
    std::optional<HallMessage> message = byNumber(word);
    for (const Word& w : kWords)
        if (w.name == word) message = w.message;
    if (word.empty()) return refuse("empty request");
    if (!message) return refuse("unknown message \"" + std::string(word) + "\"");
    if (*message == HallMessage::Start) {
        if (rest.empty()) return refuse("start without a start line");
        return {HallRequest{HallMessage::Start, std::string(rest)}, {}};
    }
    if (space != std::string_view::npos) return refuse("\"" + std::string(word) + "\" takes no argument");
    return {HallRequest{*message, {}}, {}};
}

std::string hallRequestLine(const HallRequest& request) {
    for (const Word& w : kWords)
        if (w.message == request.message)
            return request.message == HallMessage::Start ? std::string(w.name) + " " + request.startLine
                                                         : std::string(w.name);
    return {};
}

std::string hallSocketFolder(const char* xdgRuntimeDir, unsigned uid) {
    if (xdgRuntimeDir && xdgRuntimeDir[0] == '/') return xdgRuntimeDir;
    return "/tmp/nqchat-" + std::to_string(uid);
}

std::string hallSocketPath(const std::string& socketFolder, const std::string& programFolder) {
    std::error_code ec;
    std::filesystem::path real =
        std::filesystem::weakly_canonical(std::filesystem::absolute(programFolder), ec);
    if (ec) real = std::filesystem::absolute(programFolder).lexically_normal();
    std::string text = real.string();
    while (text.size() > 1 && text.back() == '/') text.pop_back();
    char name[48];
    std::snprintf(name, sizeof name, "nqchat-hall-%016" PRIx64 ".sock", fnv1a(text));
    return socketFolder + "/" + name;
}

std::string hallSocketPathFor(const std::string& programFolder) {
    return hallSocketPath(hallSocketFolder(std::getenv("XDG_RUNTIME_DIR"), getuid()), programFolder);
}

std::string preparePrivateFolder(const std::string& folder, unsigned uid) {
    if (::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) return std::strerror(errno);
    struct stat st {};
    if (::lstat(folder.c_str(), &st) != 0) return std::strerror(errno);
    if (!S_ISDIR(st.st_mode)) return "not a folder";
    if (st.st_uid != uid) return "owned by another user";
    // A folder of our own that others may enter is closed; one made by somebody else is not ours.
    if ((st.st_mode & 077) != 0 && ::chmod(folder.c_str(), 0700) != 0) return std::strerror(errno);
    return {};
}

std::optional<std::string> sendHallRequest(const std::string& socketPath, const std::string& line,
                                           int timeoutMs) {
    sockaddr_un address;
    if (!fillAddress(socketPath, address)) return std::nullopt;
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return std::nullopt;
    std::optional<std::string> answer;
    const std::string request = line + "\n";
    if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
        ::send(fd, request.data(), request.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(request.size())) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
        std::string got;
        for (;;) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                deadline - std::chrono::steady_clock::now());
            pollfd p{fd, POLLIN, 0};
            if (left.count() <= 0 || ::poll(&p, 1, static_cast<int>(left.count())) <= 0) break;
            char buf[256];
            const ssize_t n = ::recv(fd, buf, sizeof buf, 0);
            if (n <= 0) break;
            got.append(buf, static_cast<size_t>(n));
            if (const size_t lf = got.find('\n'); lf != std::string::npos) {
                answer = got.substr(0, lf);
                break;
            }
        }
    }
    ::close(fd);
    return answer;
}

}  // namespace nq
