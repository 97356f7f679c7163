#include <gtest/gtest.h>

#include <QTemporaryDir>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "desktop/auto_start.h"
#include "desktop/setting_texts.h"

namespace nq {
namespace {

TEST(HotkeyText, StoredValueShowsByLengthAndSavesBackByTheLastCharacter) {
    struct Case {
        const char* stored;
        HotkeyOption option;
        const char* shown;
    };
    const Case shown[] = {
        {"116", HotkeyOption::Function, "F5"},
        {"abc", HotkeyOption::Function, "F-111"},
        {"Alt,65", HotkeyOption::Alt, "Alt+A"},
        {"Ctrl,81", HotkeyOption::Ctrl, "Ctrl+Q"},
        {"70", HotkeyOption::Ctrl, "Ctrl+"},
        {"Alt,0", HotkeyOption::Alt, "Alt+"},
        {"Ctrl+Alt,81", HotkeyOption::CtrlAlt, "Ctrl+Alt+Q"},
        {"Alt,-12578", HotkeyOption::CtrlAlt, "Ctrl+Alt+无"},
        {"Alt,12345", HotkeyOption::CtrlAlt, "Ctrl+Alt+"},
    };
    for (const Case& c : shown) {
        const HotkeyShown s = hotkeyShown(c.stored);
        EXPECT_EQ(s.option, c.option) << c.stored;
        EXPECT_EQ(s.text, QString::fromUtf8(c.shown)) << c.stored;
    }
    const std::pair<const char*, const char*> saved[] = {
        {"Ctrl+Alt+Q", "Ctrl+Alt,81"}, {"Alt+A", "Alt,65"}, {"F5", "70"}, {"无", "-12578"}, {"F", "70"},
    };
    for (const auto& [box, value] : saved)
        EXPECT_EQ(hotkeySaveValue(QString::fromUtf8(box)), Bytes(value)) << box;
    EXPECT_FALSE(hotkeySaveValue({}));
}

TEST(HotkeyText, KeyBoxTakesOneLetterAfterAModifierAndDigitsAfterF) {
    using O = HotkeyOption;
    struct Case {
        O option;
        const char* box;
        char typed;
        char insert /* 0: swallowed */;
        const char* reset;
    };
    const Case cases[] = {
        {O::Ctrl, "Ctrl+", 'q', 'Q', nullptr},
        {O::Ctrl, "Ctrl+Q", 'w', 'W', "Ctrl+"},
        {O::Ctrl, "Ctrl+", '5', 0, nullptr},
        {O::Alt, "Alt+X", '5', 0, "Alt+"},
        {O::CtrlAlt, "Ctrl+Alt+", 'k', 'K', nullptr},
        {O::CtrlAlt, "Ctrl+Alt+K", 'j', 'J', "Ctrl+Alt+"},
        {O::Function, "F", '0', '0', nullptr},
        {O::Function, "F5", '6', '6', "F"},
        {O::Function, "F", 'a', 0, nullptr},
        {O::Ctrl, "Ctrl+", '\b', 0, nullptr},
        {O::Alt, "Alt+", '+', 0, nullptr},
        {O::None, "", 'a', 'a', nullptr},
    };
    for (const Case& c : cases) {
        const HotkeyKeyPress p = hotkeyKeyPress(c.option, QString::fromUtf8(c.box), QChar(c.typed));
        EXPECT_EQ(p.insert ? p.insert->toLatin1() : 0, c.insert) << c.box << " " << c.typed;
        EXPECT_EQ(p.resetTo.value_or("-"), c.reset ? QString(c.reset) : QString("-"))
            << c.box << " " << c.typed;
    }
}

TEST(AutoStart, EntryFollowsTheBaseDirectoryRulesAndQuotesItsArguments) {
    EXPECT_EQ(autoStartEntryPath("/x/cfg", "/home/u"), "/x/cfg/autostart/nqchat.desktop");
    EXPECT_EQ(autoStartEntryPath("rel", "/home/u"), "/home/u/.config/autostart/nqchat.desktop");
    EXPECT_EQ(autoStartEntryPath(nullptr, "/home/u"), "/home/u/.config/autostart/nqchat.desktop");
    EXPECT_EQ(autoStartEntryPath("", nullptr), "");
    const std::pair<const char*, const char*> args[] = {
        {"/usr/bin/nqchat", "/usr/bin/nqchat"}, {"/a b/nq", "\"/a b/nq\""}, {"/a$b", "\"/a\\\\$b\""},
        {"/c\\d", "\"/c\\\\\\\\d\""},           {"/50%", "/50%%"},
    };
    for (const auto& [arg, exec] : args) EXPECT_EQ(execArgument(arg), exec) << arg;

    QTemporaryDir dir;
    const std::string path = dir.filePath("cfg/autostart/nqchat.desktop").toStdString();
    ASSERT_TRUE(setAutoStartAt(path, true, {"/opt/nq chat/nqchat", "/srv/nq"}));
    std::stringstream text;
    text << std::ifstream(path).rdbuf();
    EXPECT_NE(text.str().find("\nExec=\"/opt/nq chat/nqchat\" --home /srv/nq\n"), std::string::npos)
        << text.str();
    EXPECT_TRUE(setAutoStartAt(path, false, {}));
    EXPECT_FALSE(std::filesystem::exists(path));
}

}  // namespace
}  // namespace nq
