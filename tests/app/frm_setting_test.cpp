#include <gtest/gtest.h>

#include <QCheckBox>
#include <QLineEdit>
#include <QRadioButton>
#include <QSlider>
#include <QTemporaryDir>
#include <QTest>

#include "app/frm_setting.h"
#include "store/ini_file.h"
#include "store/store_keys.h"
#include "widgets/lv_buttons_h.h"

namespace nq::app {
namespace {

namespace keys = store::settings;

struct SettingRig {
    QTemporaryDir dir;
    std::string userIni = dir.filePath("User.ini").toStdString();
    std::string otherIni = dir.filePath("NQUser.nq").toStdString();
    CIniFile ini;
    std::vector<std::string> calls;
    frmSetting* window = nullptr;

    explicit SettingRig(std::initializer_list<std::pair<std::string_view, std::string_view>> stored = {}) {
        for (const auto& [key, value] : stored)
            CIniFile(userIni).WriteIniKey(keys::kSettingSection, key, value);
        const auto record = [this](std::string name) {
            return [this, name](bool on) { calls.push_back(name + (on ? ":on" : ":off")); };
        };
        SettingServices s{ini,
                          userIni,
                          record("autoHide"),
                          [this](const Bytes& v) { calls.push_back("hotkey:" + v); },
                          record("autoStart"),
                          [this](const QString& t) { calls.push_back("box:" + t.toStdString()); }};
        window = new frmSetting(std::move(s));
        window->open();
    }
    ~SettingRig() { window->close(); }
    std::string key(std::string_view k, const std::string& file = {}) {
        return CIniFile(file.empty() ? userIni : file).GetIniKey(keys::kSettingSection, k);
    }
};

// Each Check3 box writes at its click; 0 and 1 into whatever file the shared accessor last
// named, 2 always into User.ini, 3 only into the autostart entry.
TEST(FrmSetting, Check3BoxesWriteAtTheClickIntoTheFileTheyAreMeantFor) {
    // call: the service the box also calls, without its state
    struct Case {
        int index;
        std::string_view key;
        const char* on;
        const char* off;
        const char* call;
        bool shared;
    };
    const Case cases[] = {
        {0, keys::kAlwaysOnTop, "True", "False", nullptr, true},
        {1, keys::kAutoHide, "True", "False", "autoHide", true},
        {2, keys::kAutoRun, "1", "0", nullptr, false},
        {3, {}, nullptr, nullptr, "autoStart", false},
    };
    for (const Case& c : cases) {
        SettingRig rig({{keys::kAlwaysOnTop, "True"}, {keys::kAutoHide, "True"}, {keys::kAutoRun, "1"}});
        EXPECT_FALSE(rig.window->Check3[c.index]->isChecked()) << c.index;
        rig.ini.setINIFileName(rig.otherIni);
        for (bool tick : {true, false}) {
            rig.window->Check3[c.index]->click();
            const std::string file = c.shared ? rig.otherIni : rig.userIni;
            if (c.on) {
                EXPECT_EQ(rig.key(c.key, file), tick ? c.on : c.off) << c.index;
            }
            if (c.call) {
                EXPECT_EQ(rig.calls.back(), std::string(c.call) + (tick ? ":on" : ":off")) << c.index;
            }
        }
        EXPECT_TRUE(rig.window->comSave->isEnabled());
    }
    SettingRig top;
    top.window->Check3[0]->click();
    EXPECT_TRUE(top.window->windowFlags().testFlag(Qt::WindowStaysOnTopHint));
}

TEST(FrmSetting, OpeningFillsTransparencyAndHotkeyFromTheFile) {
    SettingRig rig({{keys::kTransparency, "0,100,"}, {keys::kHotkey, "Ctrl+Alt,81"}});
    frmSetting& w = *rig.window;
    EXPECT_EQ(w.windowTitle(), QString("设置"));
    EXPECT_EQ(w.visiblePage(), 0);
    EXPECT_TRUE(!w.Check8->isChecked() && w.Text2->text() == "77" && w.Slider1->value() == 77);
    EXPECT_TRUE(w.Check7->isChecked() && w.Option3->isChecked() && w.Text1->isEnabled());
    EXPECT_EQ(w.Text1->text(), "Ctrl+Alt+Q");
    EXPECT_FALSE(w.comSave->isEnabled());
}

// A save writes the key box and the transparency, hands the hotkey on, and says so; an empty
// box stops it before anything is written.
TEST(FrmSetting, SaveWritesHotkeyAndTransValueExactly) {
    SettingRig rig;
    frmSetting& w = *rig.window;
    w.Check7->click();
    w.Option5->click();
    QTest::keyClicks(w.Text1, "q+w");
    EXPECT_EQ(w.Text1->text(), "Alt+W");
    w.Check8->click();
    w.Slider1->setValue(25);
    w.comSaveClick();
    EXPECT_EQ(rig.key(keys::kHotkey), "Alt,87");
    EXPECT_EQ(rig.key(keys::kTransparency), "1,205,");
    EXPECT_EQ(rig.calls, (std::vector<std::string>{"hotkey:Alt,87", "box:保存成功"}));
    EXPECT_FALSE(w.comSave->isEnabled());

    w.Check7->click();
    w.Check7->click();  // ticked again: an empty box
    w.comSaveClick();
    EXPECT_EQ(rig.key(keys::kHotkey), "Alt,87");
    EXPECT_TRUE(w.comSave->isEnabled());
    w.Check7->click();  // unticked: "无" saves as its code
    w.comSaveClick();
    EXPECT_EQ(rig.key(keys::kHotkey), "-12578");
}

}  // namespace
}  // namespace nq::app
