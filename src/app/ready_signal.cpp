#include "app/ready_signal.h"

#include <unistd.h>

#include <cstdlib>
#include <cstring>

namespace nq::app {

void notifyReadyOnce() {
    static bool done = false;
    if (done) return;
    done = true;
    const char* fdText = std::getenv("NQ_READY_FD");
    if (!fdText || !*fdText) return;
    char* end = nullptr;
    const long fd = std::strtol(fdText, &end, 10);
    if (*end != '\0' || fd < 0) return;
    const char line[] = "ready\n";
    // One small write on a pipe is atomic; a reader that has gone away is no concern of ours.
    [[maybe_unused]] const ssize_t n = ::write(static_cast<int>(fd), line, std::strlen(line));
    ::close(static_cast<int>(fd));
}

}  // namespace nq::app
