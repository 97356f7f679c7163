// The main window's load: what it restores from User.ini, in which order, and where the focus
// goes when the window is activated.

#include <gtest/gtest.h>

#include <QAction>
#include <QCheckBox>
#include <QEvent>
#include <QLabel>

#include "desktop/frm_msn_style.h"
#include "desktop/qt_platform_services.h"
#include "form_rig.h"

namespace nq::test {
namespace {

using app::Mainform;

TEST(MainformLoad, StoredPositionInTwipsMovesTheWindowOnlyWhenLeftIsAboveZero) {
    QPoint design;
    {
        FormRig rig;
        design = rig.load().pos();
    }
    const std::pair<const char*, QPoint> cases[] = {
        {"1500,1200,", QPoint(100, 80)},  // 15 twips a pixel
        {"1507.5,30,", QPoint(101, 2)},   // a fraction of a pixel rounds
        {"15,0,", QPoint(1, 1)},          // left 1 px is above 0; the top is then kept below the edge
        {"0,300,", design},               // a window parked at the left edge comes back at design
        {"-150,300,", design},
        {"garbage", design},
    };
    for (const auto& [stored, expected] : cases) {
        FormRig rig;
        rig.writeIni(keys::kUserFileName, keys::kMainForm, stored, keys::kPositionSection);
        EXPECT_EQ(rig.load().pos(), expected) << "stored: " << stored;
    }
}

TEST(MainformLoad, StoredSettingsTickTheMenusAndReachTheDesktop) {
    // Each stored value, what the menus show, and the desktop calls before the tray icon's.
    const std::tuple<std::string_view, const char*, bool, bool, std::vector<std::string>> cases[] = {
        // "True" only ticks the item: the window reaches the topmost band when the user toggles it.
        {keys::kAlwaysOnTop, "True", true, false, {"transparency:"}},
        {keys::kAlwaysOnTop, "true", false, false, {"transparency:", "topMost:off"}},
        {keys::kAutoHide, "True", false, true, {"transparency:", "topMost:off"}},
        {keys::kAutoHide, "", false, false, {"transparency:", "topMost:off"}},
        {keys::kTransparency, "1,205,", false, false, {"transparency:1,205,", "topMost:off"}},
    };
    for (auto [key, value, topMost, autoHide, calls] : cases) {
        FormRig rig;
        rig.writeIni(keys::kUserFileName, key, value);
        Mainform& f = rig.make();
        std::vector<bool> handedOver;
        f.attachAutoHide([&](bool on) { handedOver.push_back(on); });
        rig.load();
        const std::string label = std::string(key) + "=" + value;
        EXPECT_EQ(f.menus().topMost->isChecked(), topMost) << label;
        EXPECT_EQ(f.menus().autoHide->isChecked(), autoHide) << label;
        // Attaching hands over the default (on); the load switches it off unless stored.
        EXPECT_EQ(handedOver, (autoHide ? std::vector<bool>{true} : std::vector<bool>{true, false})) << label;
        calls.push_back("trayAdd:珀岚聊天");
        EXPECT_EQ(rig.desktop.calls, calls) << label;
    }
}

TEST(MainformLoad, TheTrayIconComesAfterThePanelsAndBeforeTheBoxesAreFilled) {
    FormRig rig;
    rig.writeIni(keys::kUserFileName, keys::kUserName, "alice");
    Mainform& f = rig.make();
    QStringList atTray;  // the panels, the name box and the exit flag when the icon came
    rig.desktop.onTrayAdd = [&] {
        atTray = {f.statusText(1), f.statusText(2), f.loginFrame().txtName->text(),
                  QString::number(f.session().exitAllowed)};
    };
    f.session().loginBody = "left over";
    rig.load();
    EXPECT_EQ(atTray, QStringList({"未登录用户", "状态：未登录", "", "1"}))
        << "boxes are filled after the icon";
    EXPECT_EQ(f.loginFrame().txtName->text(), "alice");
    EXPECT_TRUE(f.session().loginBody.empty());
    EXPECT_FALSE(f.mainFrameShown());
}

TEST(MainformLoad, TheHallLineReachesTheSessionAndStartsTheLogin) {
    FormRig rig;
    Mainform& f = rig.load("  bob$fedcba9876543210fedcba9876543210$2$ ");
    EXPECT_EQ(f.loginFrame().txtName->text(), "bob");
    EXPECT_FALSE(f.loginFrame().com_login->isEnabled());
    rig.tick();
    EXPECT_EQ(rig.sentOn(rig.update).body, joinFields({"bob", "fedcba9876543210fedcba9876543210"}));
}

// The desktop's own services: toasts rise with the alpha the window reads and call it back.
TEST(MainformLoad, TheRealPartsHandToastsTheStoredTransparencyAndTheWindowAsTheirCaller) {
    TempDir home;
    (void)CIniFile(home.file(std::string(keys::kUserFileName)))
        .WriteIniKey(keys::kSettingSection, keys::kTransparency, "1,205,");
    Mainform form(app::MainformOptions{home.path()});
    form.load("");
    EXPECT_NEAR(form.windowOpacity(), 205.0 / 255, 1e-6);
    form.session().services().showToast("好友 小溪 已上线", 3000, "");
    frmMsnStyle* toast = nullptr;
    for (QWidget* w : QApplication::topLevelWidgets())
        if (auto* t = qobject_cast<frmMsnStyle*>(w)) toast = t;
    ASSERT_NE(toast, nullptr);
    EXPECT_NEAR(toast->windowOpacity(), 205.0 / 255, 1e-6);
    EXPECT_EQ(toast->lblAlert->text(), QStringLiteral("好友 小溪 已上线"));
    while (toast->phase() == frmMsnStyle::Phase::SlidingIn) toast->step();
    EXPECT_EQ(toast->caller(), &form);
    form.exitProgram();
}

void activate(Mainform& f) {
    QEvent e(QEvent::WindowActivate);
    QApplication::sendEvent(&f, &e);
}

TEST(MainformActivate, FocusGoesToTheEmptyNameElseToTheSelectedPasswordAndStaysWhileOnline) {
    FormRig rig;
    rig.writeIni(keys::kUserFileName, keys::kUserName, "alice");
    rig.writeIni(keys::kUserFileName, keys::kRememberPassword, "1");
    Mainform& f = rig.load();
    app::LoginFrame& l = f.loginFrame();
    l.com_login->setFocus();
    l.txtPassword->deselect();
    activate(f);
    EXPECT_EQ(f.focusWidget(), l.txtPassword);
    EXPECT_EQ(l.txtPassword->selectedText(), "31415926");

    l.txtName->clear();
    activate(f);
    EXPECT_EQ(f.focusWidget(), l.txtName);

    rig.login();
    l.txtName->clear();
    l.com_cancle->setFocus();
    activate(f);
    EXPECT_EQ(f.focusWidget(), l.com_cancle) << "online: the focus is left alone";
}

}  // namespace
}  // namespace nq::test
