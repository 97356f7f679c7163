// The main window's load: what it restores from User.ini, in which order, and where the focus
// goes when the window is activated.

#include <gtest/gtest.h>

#include <QAction>
#include <QCheckBox>
#include <QEvent>
#include <QLabel>
#include <QPushButton>

#include "app/login_frame.h"
#include "app/main_frame.h"
#include "form_rig.h"

namespace nq::test {
namespace {

using app::Mainform;

TEST(MainformLoad, StoredPositionInTwipsMovesTheWindowOnlyWhenLeftIsAboveZero) {
    QPoint design;
    {
        FormRig rig("127.0.2.1");
        design = rig.load().pos();
    }
    struct Case {
        const char* stored;
        QPoint expected;
    };
    const Case cases[] = {
        {"1500,1200,", QPoint(100, 80)},  // 15 twips a pixel
        {"1507.5,30,", QPoint(101, 2)},   // a fraction of a pixel rounds
        {"15,0,", QPoint(1, 1)},          // left 1 px is above 0; the top is then kept below the edge
        {"0,300,", design},               // a window parked at the left edge comes back at design
        {"-150,300,", design},
        {"", design},
        {"garbage", design},
    };
    for (const Case& c : cases) {
        FormRig rig("127.0.2.1");
        rig.writeKey("User.ini", "Position", "Mainform", c.stored);
        EXPECT_EQ(rig.load().pos(), c.expected) << "stored: " << c.stored;
    }
}

TEST(MainformLoad, AlwaysOnTopOnlyTicksTheMenuWhileOtherValuesLeaveTheTopmostBand) {
    {
        FormRig rig("127.0.2.1");
        rig.writeKey("User.ini", "Setting", "AlWaysOnTop", "True");
        Mainform& f = rig.load();
        EXPECT_TRUE(f.menus().topMost->isChecked());
        EXPECT_TRUE(rig.desktop.topMost.empty()) << "the window must not be made topmost at start";
    }
    for (const char* value : {"False", "true", ""}) {
        FormRig rig("127.0.2.1");
        if (*value) rig.writeKey("User.ini", "Setting", "AlWaysOnTop", value);
        Mainform& f = rig.load();
        EXPECT_FALSE(f.menus().topMost->isChecked()) << value;
        EXPECT_EQ(rig.desktop.topMost, std::vector<bool>{false}) << value;
    }
}

TEST(MainformLoad, AutoHideTicksItsMenuAndSwitchesTheEdgeHidingOffOtherwise) {
    {
        FormRig rig("127.0.2.1");
        rig.writeKey("User.ini", "Setting", "AutoHide", "True");
        Mainform& f = rig.load();
        EXPECT_TRUE(f.menus().autoHide->isChecked());
        EXPECT_TRUE(f.autoHideActive());
    }
    {
        FormRig rig("127.0.2.1");
        rig.writeKey("User.ini", "Setting", "AutoHide", "False");
        Mainform& f = rig.make();
        std::vector<bool> handedOver;
        f.attachAutoHide([&](bool on) { handedOver.push_back(on); });
        rig.load();
        EXPECT_FALSE(f.menus().autoHide->isChecked());
        EXPECT_FALSE(f.autoHideActive());
        EXPECT_EQ(handedOver, (std::vector<bool>{true, false}))
            << "attach hands over the default, load turns it off";
    }
}

TEST(MainformLoad, RunsItsStepsInOrder) {
    FormRig rig("127.0.2.1");
    rig.writeKey("User.ini", "Setting", "TransValue", "1,205,");
    rig.writeKey("User.ini", "Setting", "UserName", "alice");
    Mainform& f = rig.make();
    // What the window looked like when the tray icon came: panels set, boxes not yet filled.
    QString panel1AtTray, panel2AtTray, nameAtTray;
    bool exitAllowedAtTray = false;
    rig.desktop.onTrayAdd = [&] {
        panel1AtTray = f.statusText(1);
        panel2AtTray = f.statusText(2);
        nameAtTray = f.loginFrame().txtName->text();
        exitAllowedAtTray = f.session().exitAllowed;
    };
    f.session().loginBody = "left over";
    rig.load();

    EXPECT_EQ(rig.desktop.calls, (std::vector<std::string>{"transparency", "setTopMost", "trayAdd"}));
    EXPECT_EQ(rig.desktop.transValues, std::vector<std::string>{"1,205,"});
    EXPECT_EQ(rig.desktop.tips, std::vector<std::string>{"珀岚聊天"});
    EXPECT_EQ(panel1AtTray, "未登录用户");
    EXPECT_EQ(panel2AtTray, "状态：未登录");
    EXPECT_TRUE(exitAllowedAtTray);
    EXPECT_EQ(nameAtTray, "") << "the boxes are filled after the tray icon";
    EXPECT_EQ(f.loginFrame().txtName->text(), "alice");
    EXPECT_TRUE(f.session().loginBody.empty());
    EXPECT_FALSE(f.mainFrameShown());
    EXPECT_GE(f.width(), f.minimumWidth());
    EXPECT_GT(f.minimumHeight(), f.minimumWidth()) << "a narrow, tall window";
}

TEST(MainformLoad, FirstRunAndRememberedPasswordFillTheBoxes) {
    {
        FormRig rig("127.0.2.1");
        app::LoginFrame& l = rig.load().loginFrame();
        EXPECT_EQ(l.txtName->text(), "");
        EXPECT_EQ(l.txtPassword->text(), "");
        EXPECT_FALSE(l.cb_remPwd->isChecked());
        EXPECT_FALSE(l.cb_autoRun->isChecked());
        EXPECT_TRUE(l.txtName->isEnabled());
        EXPECT_TRUE(l.com_login->isEnabled());
    }
    {
        FormRig rig("127.0.2.1");
        rig.writeKey("User.ini", "Setting", "UserName", "alice");
        rig.writeKey("User.ini", "Setting", "isrempwd", "1");
        app::LoginFrame& l = rig.load().loginFrame();
        EXPECT_TRUE(l.cb_remPwd->isChecked());
        EXPECT_EQ(l.txtPassword->text(), "31415926");
        EXPECT_EQ(l.txtPassword->echoMode(), QLineEdit::Password);
        EXPECT_TRUE(l.com_login->isEnabled()) << "no OutoRun: no login by itself";
        EXPECT_EQ(rig.readKey("User.ini", "Setting", "OutoRun"), "")
            << "load ticks boxes without writing keys";
    }
}

TEST(MainformLoad, AutomaticAndHallLoginsStartFromTheLoad) {
    {
        FormRig rig("127.0.2.2");
        rig.writeKey("User.ini", "Setting", "UserName", "alice");
        rig.writeKey("User.ini", "Setting", "isrempwd", "1");
        rig.writeKey("User.ini", "Setting", "Password", "0123456789abcdef0123456789abcdef");
        rig.writeKey("User.ini", "Setting", "OutoRun", "1");
        Mainform& f = rig.load();
        EXPECT_TRUE(f.loginFrame().cb_autoRun->isChecked());
        EXPECT_FALSE(f.loginFrame().com_login->isEnabled());
        EXPECT_EQ(f.statusText(2), "状态：等待验证");
        rig.tick();
        const OwnedFrame login = rig.expect(rig.dispatcher());
        EXPECT_EQ(login.body, joinFields({"alice", "0123456789abcdef0123456789abcdef"}));
    }
    {
        FormRig rig("127.0.2.3");
        Mainform& f = rig.load("  bob$fedcba9876543210fedcba9876543210$2$ ");
        EXPECT_EQ(f.loginFrame().txtName->text(), "bob");
        EXPECT_FALSE(f.loginFrame().com_login->isEnabled());
        EXPECT_TRUE(f.loginFrame().com_cancle->isEnabled());
        EXPECT_TRUE(rig.timer.enabled());
        rig.tick();
        EXPECT_EQ(rig.expect(rig.dispatcher()).body, joinFields({"bob", "fedcba9876543210fedcba9876543210"}));
    }
}

void activate(Mainform& f) {
    QEvent e(QEvent::WindowActivate);
    QApplication::sendEvent(&f, &e);
}

TEST(MainformActivate, FocusGoesToTheEmptyNameElseToTheSelectedPassword) {
    {
        FormRig rig("127.0.2.1");
        Mainform& f = rig.load();
        f.loginFrame().com_login->setFocus();
        activate(f);
        EXPECT_EQ(f.focusWidget(), f.loginFrame().txtName);
    }
    {
        FormRig rig("127.0.2.1");
        rig.writeKey("User.ini", "Setting", "UserName", "alice");
        rig.writeKey("User.ini", "Setting", "isrempwd", "1");
        Mainform& f = rig.load();
        f.loginFrame().com_login->setFocus();
        f.loginFrame().txtPassword->deselect();
        activate(f);
        EXPECT_EQ(f.focusWidget(), f.loginFrame().txtPassword);
        EXPECT_EQ(f.loginFrame().txtPassword->selectedText(), "31415926");
    }
}

TEST(MainformActivate, LeavesTheFocusAloneWhileOnline) {
    FormRig rig("127.0.2.4");
    Mainform& f = rig.load();
    rig.login();
    f.loginFrame().txtName->clear();
    f.loginFrame().com_cancle->setFocus();
    activate(f);
    EXPECT_EQ(f.focusWidget(), f.loginFrame().com_cancle);
}

}  // namespace
}  // namespace nq::test
