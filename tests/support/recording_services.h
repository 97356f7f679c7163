#pragma once
// A PlatformServices that records every request and answers boxes from a script, so that
// tests can read what the user would have seen and heard, and drive the clock by hand.

#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "session/platform_services.h"

namespace nq::test {

struct RecordedBox {
    std::string text, title;
    BoxButtons buttons;
    BoxIcon icon;
};

struct RecordedToast {
    std::string text;
    int milliseconds;
    std::string sound;
};

struct RecordedStart {
    std::string program;
    std::vector<std::string> args;
};

class RecordingServices : public PlatformServices {
  public:
    BoxAnswer messageBox(const std::string& text, const std::string& title, BoxButtons buttons,
                         BoxIcon icon) override {
        boxes.push_back({text, title, buttons, icon});
        if (onBox) onBox();
        if (answers.empty()) return BoxAnswer::Ok;
        const BoxAnswer a = answers.front();
        answers.pop_front();
        return a;
    }
    void playSound(const std::string& path) override { sounds.push_back(path); }
    bool startDetached(const std::string& program, const std::vector<std::string>& args) override {
        starts.push_back({program, args});
        return startSucceeds;
    }
    void openUrl(const std::string& url) override { urls.push_back(url); }
    std::chrono::system_clock::time_point now() override { return clock; }
    void exitProcess(int code) override { exitCodes.push_back(code); }
    void showToast(const std::string& text, int milliseconds, const std::string& soundPath) override {
        toasts.push_back({text, milliseconds, soundPath});
    }

    std::vector<RecordedBox> boxes;
    std::vector<std::string> sounds;
    std::vector<RecordedStart> starts;
    std::vector<std::string> urls;
    std::vector<int> exitCodes;
    std::vector<RecordedToast> toasts;

    std::deque<BoxAnswer> answers;  // answers to the next boxes, Ok once they run out
    std::function<void()> onBox;    // runs while a box is "up", e.g. to deliver datagrams meanwhile
    bool startSucceeds = true;
    std::chrono::system_clock::time_point clock{};
};

}  // namespace nq::test
