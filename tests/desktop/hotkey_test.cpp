#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "desktop/global_hotkey.h"
#include "desktop/hotkey_text.h"

namespace nq {
namespace {

TEST(HotkeyText, StoredValuesReadAsMaskAndKey) {
    const struct {
        const char* text;
        HotkeySpec spec;
    } cases[] = {
        {"Alt,81", {1, 81}},        {"Ctrl,81", {2, 81}},         {"Ctrl+Alt,81", {3, 81}},
        {"Shift,65", {4, 65}},      {"Shift+Alt,65", {5, 65}},    {"Ctrl+Shift,65", {6, 65}},
        {"Ctrl+Alt+Shift,9", {7, 9}},
        {"ctrl,81", {0, 81}},       // names compare case-sensitively
        {"Alt+Ctrl,81", {0, 81}},   // only the seven spellings
        {"112", {0, 112}},          // a key alone
        {"Ctrl,8,1", {2, 8}},       // the first comma splits
        {"", {0, 0}},               {"Ctrl,", {2, 0}},
        {"-26080", {0, -26080}},    // what the settings window stores for "无"
    };
    for (const auto& c : cases) EXPECT_EQ(parseHotkey(c.text), c.spec) << c.text;
}

TEST(HotkeyText, EveryMaskWritesTheNameThatReadsBack) {
    EXPECT_EQ(formatHotkey({0, 70}), "70");
    for (std::uint16_t mask = 1; mask <= 7; ++mask) {
        const std::string text = formatHotkey({mask, 81});
        EXPECT_EQ(parseHotkey(text), (HotkeySpec{mask, 81})) << text;
    }
    EXPECT_EQ(formatHotkey({3, 81}), "Ctrl+Alt,81");
}

TEST(HotkeyText, LoginPassesThreeCharactersAsTheirNumber) {
    EXPECT_EQ(hotkeyValueAtLogin(""), std::nullopt);
    EXPECT_EQ(hotkeyValueAtLogin("112"), "112");
    EXPECT_EQ(hotkeyValueAtLogin("07a"), "7");
    EXPECT_EQ(hotkeyValueAtLogin("Ctrl+Alt,81"), "Ctrl+Alt,81");
    EXPECT_EQ(hotkeyValueAtLogin("70"), "70");
}

TEST(HotkeyText, X11MeaningOfMasksAndKeys) {
    const std::uint16_t modifiers[8] = {0, 8, 4, 12, 1, 9, 5, 13};
    for (std::uint16_t mask = 0; mask < 8; ++mask) EXPECT_EQ(x11Modifiers(mask), modifiers[mask]) << mask;
    const struct {
        int vk;
        std::uint32_t keysym;
    } keys[] = {{'Q', 'q'}, {'A', 'a'}, {'Z', 'z'}, {'0', '0'}, {'9', '9'}, {0x70, 0xffbe},
                {0x87, 0xffd5}, {0x60, 0xffb0}, {0x20, ' '}, {0x2e, 0xffff}, {0x5b, 0}, {-26080, 0}};
    for (const auto& k : keys) EXPECT_EQ(x11Keysym(k.vk), k.keysym) << k.vk;
}

TEST(HotkeyText, PortalTriggers) {
    const std::pair<HotkeySpec, const char*> rows[] = {
        {{3, 'Q'}, "CTRL+ALT+q"}, {{7, 0x7b}, "CTRL+ALT+SHIFT+F12"}, {{4, 0x08}, "SHIFT+BackSpace"},
        {{0, 0x63}, "KP_3"},      {{6, 0x21}, "CTRL+SHIFT+Prior"},   {{2, 0x5b}, ""}};
    for (const auto& [spec, trigger] : rows) EXPECT_EQ(portalTrigger(spec), trigger) << trigger;
}

// Records what reaches the system and lets the test press a registered identifier.
class FakeGrabber : public HotkeyGrabber {
  public:
    explicit FakeGrabber(std::vector<std::string>& log) : log_(log) {}
    void RegisterHotKey(int id, std::uint16_t mask, int key) override {
        log_.push_back("reg " + std::to_string(id) + " " + std::to_string(mask) + " " + std::to_string(key));
    }
    void UnregisterHotKey(int id) override { log_.push_back("unreg " + std::to_string(id)); }
    void onPressed(std::function<void(int)> handler) override { press = std::move(handler); }
    std::function<void(int)> press;

  private:
    std::vector<std::string>& log_;
};

TEST(GlobalHotkey, DelKeepsTheSystemRegistrationAndOnlyAddTakesPresses) {
    std::vector<std::string> log;
    auto owned = std::make_unique<FakeGrabber>(log);
    FakeGrabber& grabber = *owned;
    GlobalHotkey hotkey(std::move(owned));
    int fetches = 0;
    QObject::connect(&hotkey, &GlobalHotkey::fetchRequested, [&fetches] { ++fetches; });

    hotkey.ApplyHotkey(1, "Ctrl+Alt,81", "Add");
    grabber.press(1);
    hotkey.ApplyHotkey(1, "Ctrl+Alt,81", "Del");
    grabber.press(1);
    hotkey.ApplyHotkey(1, "Alt,87", "Add");
    grabber.press(1);
    grabber.press(4);

    EXPECT_EQ(log, (std::vector<std::string>{"reg 1 3 81", "unreg 0", "reg 1 1 87"}));
    EXPECT_EQ(fetches, 2) << "no fetch between Del and the next Add";
    EXPECT_TRUE(hotkey.hooked());
    EXPECT_EQ(hotkey.key(), 87);
}

}  // namespace
}  // namespace nq
