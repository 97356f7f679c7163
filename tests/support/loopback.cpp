#include "support/loopback.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>

namespace nq::test {

namespace {

// 127.0.0.1 is left to ./nq run, so a developer's running demo never meets a test.
constexpr int kFirstHost = 2;
constexpr int kLastHost = 254;
constexpr int kFixedPorts[] = {4000, 8000};

bool portFree(const std::string& address, int port) {
    const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return false;
    sockaddr_in sa{};
    sa.sin_family = AF_INET;
    sa.sin_port = htons(static_cast<uint16_t>(port));
    ::inet_pton(AF_INET, address.c_str(), &sa.sin_addr);
    const bool free = ::bind(fd, reinterpret_cast<sockaddr*>(&sa), sizeof sa) == 0;
    ::close(fd);
    return free;
}

// The lock is the claim: it dies with the process, however the process ends. Returns the
// descriptor that holds it, or -1.
int lockAddress(const std::string& address) {
    const std::string folder = (std::filesystem::temp_directory_path() / "nq-test-loopback").string();
    ::mkdir(folder.c_str(), 0777);
    const int fd = ::open((folder + "/" + address).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (fd >= 0 && ::flock(fd, LOCK_EX | LOCK_NB) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

}  // namespace

std::string claimLoopbackAddress() {
    static int claimed = 0;  // a second claim in one process starts past the first
    // Start at a place that depends on the process so that parallel starts rarely race for the
    // same lock; the lock settles the races that remain.
    const int span = kLastHost - kFirstHost + 1;
    const int start = (static_cast<int>(::getpid()) + claimed++) % span;
    for (int i = 0; i < span; ++i) {
        const std::string address = "127.0.0." + std::to_string(kFirstHost + (start + i) % span);
        const int lock = lockAddress(address);
        if (lock < 0) continue;
        bool free = true;
        for (int port : kFixedPorts) free = free && portFree(address, port);
        if (free) return address;  // the lock stays held for the life of the process
        ::close(lock);
    }
    throw std::runtime_error("no free loopback address for a test: 127.0.0.2 to .254 are all taken");
}

}  // namespace nq::test
