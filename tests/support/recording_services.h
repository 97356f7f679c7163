#pragma once
// A PlatformServices that records every request and answers every box with Ok, so that tests
// can read what the user would have seen and heard.

#include <functional>
#include <string>
#include <vector>

#include "session/platform_services.h"

namespace nq::test {

struct RecordedBox {
    std::string text, title;
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
    BoxAnswer messageBox(const std::string& text, const std::string& title, BoxButtons,
                         BoxIcon icon) override {
        boxes.push_back({text, title, icon});
        if (onBox) onBox();
        return BoxAnswer::Ok;
    }
    void playSound(const std::string& path) override { sounds.push_back(path); }
    bool startDetached(const std::string& program, const std::vector<std::string>& args) override {
        starts.push_back({program, args});
        return startSucceeds;
    }
    void openUrl(const std::string&) override {}
    std::chrono::system_clock::time_point now() override { return {}; }
    void exitProcess(int code) override { exitCodes.push_back(code); }
    void showToast(const std::string& text, int milliseconds, const std::string& soundPath) override {
        toasts.push_back({text, milliseconds, soundPath});
    }

    std::vector<RecordedBox> boxes;
    std::vector<std::string> sounds;
    std::vector<RecordedStart> starts;
    std::vector<int> exitCodes;
    std::vector<RecordedToast> toasts;

    std::function<void()> onBox;  // runs while a box is "up", e.g. to deliver datagrams meanwhile
    bool startSucceeds = true;
};

}  // namespace nq::test
