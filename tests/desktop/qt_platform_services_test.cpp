#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QMessageBox>
#include <QTimer>

#include <algorithm>
#include <cstdio>

#include "desktop/qt_platform_services.h"
#include "support/temp_dir.h"

namespace nq {
namespace {

TEST(QtServices, MessageBoxesShowTitleTextIconAndButtonsAndReturnTheAnswer) {
    QtPlatformServices services;
    QStringList seen;
    // Answers the next box by pressing `press`, after noting what it showed.
    const auto answer = [&seen](QMessageBox::StandardButton press) {
        QTimer::singleShot(0, [&seen, press] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            ASSERT_NE(box, nullptr);
            seen = {box->windowTitle(), box->text(), QString::number(box->icon()),
                    QString::number(box->standardButtons())};
            box->button(press)->click();
        });
    };
    answer(QMessageBox::Cancel);
    EXPECT_EQ(services.messageBox("确定删除吗?", "珀岚聊天", BoxButtons::OkCancel, BoxIcon::Question),
              BoxAnswer::Cancel);
    EXPECT_EQ(seen, QStringList({"珀岚聊天", "确定删除吗?", QString::number(QMessageBox::Question),
                                 QString::number(QMessageBox::Ok | QMessageBox::Cancel)}));
    answer(QMessageBox::Ok);
    EXPECT_EQ(services.messageBox("保存成功", "", BoxButtons::Ok, BoxIcon::Exclamation), BoxAnswer::Ok);
    EXPECT_EQ(seen.mid(2),
              QStringList({QString::number(QMessageBox::Warning), QString::number(QMessageBox::Ok)}));
}

TEST(QtServices, SoundsStartWithoutWaitingAndThoseThatCannotPlayLeaveNothingBehind) {
    test::TempDir dir;
    std::fclose(std::fopen(dir.file("online.wav").c_str(), "w"));  // there, whatever it holds
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

}  // namespace
}  // namespace nq
