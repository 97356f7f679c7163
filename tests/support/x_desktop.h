#pragma once
// A real X desktop for tests that need one: Xvfb on a display of its own, openbox as the window
// manager and trayer as the XEmbed notification area. Made before the application object, it
// points DISPLAY and Qt at itself; its helpers are stopped by their pids, newest first, at the end.

#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace nq::test {

class XDesktop {
  public:
    XDesktop() {
        // Xvfb picks a free display and writes its number to the pipe.
        int fds[2];
        if (pipe(fds) != 0) return;
        spawn({"Xvfb", "-displayfd", std::to_string(fds[1]), "-screen", "0", "1024x768x24", "-nolisten",
               "tcp"});
        close(fds[1]);
        char number[16] = {};
        const ssize_t got = read(fds[0], number, sizeof number - 1);
        close(fds[0]);
        if (got <= 0) return;
        display_ = ":" + std::string(number, std::strcspn(number, "\n"));
        setenv("DISPLAY", display_.c_str(), 1);
        setenv("QT_QPA_PLATFORM", "xcb", 1);
        spawn({"openbox"});
        spawn({"trayer", "--edge", "top", "--align", "right", "--widthtype", "request", "--height", "24"});
    }
    ~XDesktop() {
        for (auto it = helpers_.rbegin(); it != helpers_.rend(); ++it) kill(*it, SIGTERM);
    }
    XDesktop(const XDesktop&) = delete;
    XDesktop& operator=(const XDesktop&) = delete;

    bool started() const { return !display_.empty(); }

  private:
    void spawn(const std::vector<std::string>& argv) {
        const pid_t pid = fork();
        if (pid == 0) {
            std::vector<char*> args;
            for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
            args.push_back(nullptr);
            execvp(args[0], args.data());
            _exit(127);
        }
        helpers_.push_back(pid);
    }

    std::vector<pid_t> helpers_;
    std::string display_;
};

}  // namespace nq::test
