#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QFile>
#include <QLabel>
#include <QMessageBox>
#include <QTimer>
#include <QtEndian>

#include <algorithm>
#include <cstdio>

#include "desktop/frm_msn_style.h"
#include "desktop/qt_platform_services.h"
#include "support/temp_dir.h"

namespace nq {
namespace {

struct SeenBox {
    QString title;
    QString text;
    QMessageBox::Icon icon = QMessageBox::NoIcon;
    QMessageBox::StandardButtons buttons;
};

// Answers the next box that comes up by pressing one of its buttons.
void answerNextBox(SeenBox& seen, QMessageBox::StandardButton press) {
    QTimer::singleShot(0, [&seen, press] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        ASSERT_NE(box, nullptr);
        seen = {box->windowTitle(), box->text(), box->icon(), box->standardButtons()};
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

    answerNextBox(seen, QMessageBox::Ok);
    EXPECT_EQ(services.messageBox("保存成功", "", BoxButtons::Ok, BoxIcon::Exclamation), BoxAnswer::Ok);
    EXPECT_EQ(seen.icon, QMessageBox::Warning);
    EXPECT_EQ(seen.buttons, QMessageBox::StandardButtons(QMessageBox::Ok));
}

// A tenth of a second of 8-bit mono silence at 8 kHz.
void writeWav(const std::string& path) {
    QByteArray data(
        "RIFF\0\0\0\0WAVEfmt \x10\0\0\0\x01\0\x01\0\x40\x1f\0\0\x40\x1f\0\0\x01\0\x08\0data\x20\x03\0\0", 44);
    data.append(800, '\x80');
    qToLittleEndian<quint32>(static_cast<quint32>(data.size() - 8), data.data() + 4);
    QFile f(QString::fromStdString(path));
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(data);
}

TEST(QtServices, SoundsStartWithoutWaitingAndThoseThatCannotPlayLeaveNothingBehind) {
    test::TempDir dir;
    writeWav(dir.file("online.wav"));
    QtPlatformServices services;
    services.setSoundModuleFolder(NQ_SOUND_MODULE_DIR);
    services.playSound("");
    services.playSound("/nonexistent/sound/SysMsg.wav");
    services.playSound("\\nonexistent\\sound\\online.wav");
    EXPECT_EQ(services.soundsPlaying(), 0);
    // Windows separators are read as folders; the sound is under way when the call returns.
    std::string windowsPath = dir.file("online.wav");
    std::replace(windowsPath.begin(), windowsPath.end(), '/', '\\');
    services.playSound(windowsPath);
    EXPECT_EQ(services.soundsPlaying(), 1);

    QtPlatformServices silent;
    silent.setSoundModuleFolder("/nonexistent");
    silent.playSound(dir.file("online.wav"));
    EXPECT_EQ(silent.soundsPlaying(), 0) << "without the module the program is silent, not broken";
}

TEST(QtServices, DetachedProcessesReportWhetherTheyStarted) {
    QtPlatformServices services;
    EXPECT_TRUE(services.startDetached("/bin/sh", {"-c", "exit 0"}));
    EXPECT_FALSE(services.startDetached("/nonexistent/update", {"a$b$"}));
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

TEST(QtServices, ToastsOpenOnItsBoardWithTheMainWindowAsTheirCaller) {
    QtPlatformServices services;
    QWidget mainWindow;
    services.setMainWindow(&mainWindow);
    services.toasts().setTransValueReader([] { return std::string("1,128,"); });
    services.showToast("好友 小溪 已上线", 3000, "");

    frmMsnStyle* toast = nullptr;
    for (QWidget* w : QApplication::topLevelWidgets())
        if (auto* t = qobject_cast<frmMsnStyle*>(w)) toast = t;
    ASSERT_NE(toast, nullptr);
    EXPECT_EQ(toast->lblAlert->text(), QStringLiteral("好友 小溪 已上线"));
    EXPECT_EQ(services.toasts().lastSlot(), 1);
    EXPECT_NEAR(toast->windowOpacity(), 128.0 / 255, 1e-6);
    while (toast->phase() == frmMsnStyle::Phase::SlidingIn) toast->step();
    EXPECT_EQ(toast->caller(), &mainWindow);
    delete toast;
}

}  // namespace
}  // namespace nq
