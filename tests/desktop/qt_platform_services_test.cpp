#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QDeadlineTimer>
#include <QLabel>
#include <QMessageBox>
#include <QTimer>

#include <cstdio>

#include "desktop/frm_msn_style.h"
#include "desktop/qt_platform_services.h"

namespace nq {
namespace {

// Waits for a condition while the event loop runs; a bound, not a timing goal.
template <typename F>
bool eventually(F condition) {
    const QDeadlineTimer deadline(10000);
    while (!condition()) {
        if (deadline.hasExpired()) return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    }
    return true;
}

struct SeenBox {
    QString title;
    QString text;
    QMessageBox::Icon icon = QMessageBox::NoIcon;
    QMessageBox::StandardButtons buttons;
    bool modal = false;
};

// Answers the next box that comes up by pressing one of its buttons.
void answerNextBox(SeenBox& seen, QMessageBox::StandardButton press) {
    QTimer::singleShot(0, [&seen, press] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        ASSERT_NE(box, nullptr);
        seen.title = box->windowTitle();
        seen.text = box->text();
        seen.icon = box->icon();
        seen.buttons = box->standardButtons();
        seen.modal = box->isModal();
        box->button(press)->click();
    });
}

TEST(QtServices, MessageBoxesShowTitleTextIconAndButtonsAndReturnTheAnswer) {
    QtPlatformServices services;
    SeenBox seen;
    answerNextBox(seen, QMessageBox::Cancel);
    EXPECT_EQ(services.messageBox("确定删除吗?", "珀岚聊天", BoxButtons::OkCancel, BoxIcon::Question),
              BoxAnswer::Cancel);
    EXPECT_EQ(seen.title, QStringLiteral("珀岚聊天"));
    EXPECT_EQ(seen.text, QStringLiteral("确定删除吗?"));
    EXPECT_EQ(seen.icon, QMessageBox::Question);
    EXPECT_EQ(seen.buttons, QMessageBox::Ok | QMessageBox::Cancel);
    EXPECT_TRUE(seen.modal);

    answerNextBox(seen, QMessageBox::Ok);
    EXPECT_EQ(services.messageBox("保存成功", "", BoxButtons::Ok, BoxIcon::Exclamation), BoxAnswer::Ok);
    EXPECT_EQ(seen.icon, QMessageBox::Warning);
    EXPECT_EQ(seen.buttons, QMessageBox::StandardButtons(QMessageBox::Ok));

    answerNextBox(seen, QMessageBox::Ok);
    services.messageBox("x", "y", BoxButtons::Ok, BoxIcon::Critical);
    EXPECT_EQ(seen.icon, QMessageBox::Critical);
}

TEST(QtServices, SoundsThatCannotPlayGoAwayQuietly) {
    QtPlatformServices services;
    services.setSoundModuleFolder(NQ_SOUND_MODULE_DIR);
    services.playSound("");
    EXPECT_EQ(services.soundsPlaying(), 0);
    services.playSound("/nonexistent/sound/SysMsg.wav");
    services.playSound("\\nonexistent\\sound\\online.wav");
    EXPECT_EQ(services.soundsPlaying(), 2);  // started without waiting for anything
    EXPECT_TRUE(eventually([&] { return services.soundsPlaying() == 0; }));
}

TEST(QtServices, WithoutTheSoundModuleTheProgramIsSilentNotBroken) {
    QtPlatformServices services;
    services.setSoundModuleFolder("/nonexistent");
    services.playSound("/nonexistent/sound/SysMsg.wav");
    services.playSound("/nonexistent/sound/online.wav");
    EXPECT_EQ(services.soundsPlaying(), 0);
}

TEST(QtServices, DetachedProcessesReportWhetherTheyStarted) {
    QtPlatformServices services;
    EXPECT_TRUE(services.startDetached("/bin/sh", {"-c", "exit 0"}));
    EXPECT_FALSE(services.startDetached("/nonexistent/update", {"a$b$"}));
}

TEST(QtServices, TheClockIsTheSystemClock) {
    QtPlatformServices services;
    const auto before = std::chrono::system_clock::now();
    const auto now = services.now();
    const auto after = std::chrono::system_clock::now();
    EXPECT_LE(before, now);
    EXPECT_LE(now, after);
}

TEST(QtServicesDeathTest, ExitEndsAtOnceWithTheCodeAndFlushedOutput) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    QtPlatformServices services;
    EXPECT_EXIT(
        {
            static char buffer[256];
            std::setvbuf(stderr, buffer, _IOFBF, sizeof buffer);
            std::fputs("last words", stderr);
            services.exitProcess(3);
        },
        ::testing::ExitedWithCode(3), "last words");
}

TEST(QtServices, ToastsOpenWithTheMainWindowAsTheirCaller) {
    ToastSlot = 0;
    QtPlatformServices services;
    QWidget mainWindow;
    services.setMainWindow(&mainWindow);
    services.showToast("好友 小溪 已上线", 3000, "");

    frmMsnStyle* toast = nullptr;
    for (QWidget* w : QApplication::topLevelWidgets()) {
        if (auto* t = qobject_cast<frmMsnStyle*>(w)) toast = t;
    }
    ASSERT_NE(toast, nullptr);
    EXPECT_EQ(toast->lblAlert->text(), QStringLiteral("好友 小溪 已上线"));
    EXPECT_EQ(toast->slot(), 1);
    while (toast->phase() == frmMsnStyle::Phase::SlidingIn) toast->step();
    EXPECT_EQ(toast->caller(), &mainWindow);
    delete toast;
    ToastSlot = 0;
}

}  // namespace
}  // namespace nq
