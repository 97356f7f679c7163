#include <gtest/gtest.h>

#include <QSystemTrayIcon>
#include <QWidget>

#include <vector>

#include "desktop/tray.h"

namespace nq {
namespace {

class TrayTest : public ::testing::Test {
  protected:
    void SetUp() override {
        mainWindow_.setWindowIcon(appIcon());
        TrayIconState = 2;
    }
    void TearDown() override {
        TrayRemove();
        setTrayClickHandler({});
        TrayIconState = 2;
    }
    QWidget mainWindow_;
};

bool isGrey(const QImage& image) {
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QColor c = image.pixelColor(x, y);
            if (c.alpha() > 0 && (std::abs(c.red() - c.green()) > 2 || std::abs(c.green() - c.blue()) > 2)) {
                return false;
            }
        }
    }
    return true;
}

TEST_F(TrayTest, PicturesComeFromTheCompiledResourcesAtBothSizes) {
    for (const QIcon& icon : {appIcon(), notLoggedInIcon()}) {
        ASSERT_FALSE(icon.isNull());
        EXPECT_EQ(icon.pixmap(16, 16).size(), QSize(16, 16));
        EXPECT_EQ(icon.pixmap(32, 32).size(), QSize(32, 32));
    }
    EXPECT_FALSE(isGrey(appIcon().pixmap(32, 32).toImage()));
    EXPECT_TRUE(isGrey(notLoggedInIcon().pixmap(32, 32).toImage()));
}

TEST_F(TrayTest, AddUsesTheMainWindowsOwnIconAndTheTip) {
    TrayAdd(&mainWindow_, QStringLiteral("珀岚聊天"));
    const TrayRecord& r = trayRecord();
    EXPECT_TRUE(r.added);
    EXPECT_EQ(r.window, &mainWindow_);
    EXPECT_EQ(r.picture, TrayPicture::MainWindowIcon);  // whatever TrayIconState says
    EXPECT_EQ(r.tip, QStringLiteral("珀岚聊天"));
    EXPECT_EQ(r.tipGbk.size(), 8);
    ASSERT_NE(trayIcon(), nullptr);
    EXPECT_EQ(trayIcon()->toolTip(), QStringLiteral("珀岚聊天"));
    EXPECT_EQ(trayIcon()->icon().pixmap(32, 32).toImage(), mainWindow_.windowIcon().pixmap(32, 32).toImage());

    TrayRemove();
    EXPECT_FALSE(trayRecord().added);
    EXPECT_EQ(trayIcon(), nullptr);
}

TEST_F(TrayTest, SetIconFollowsTheStateAndAnUnknownStateKeepsTheLastPicture) {
    TrayAdd(&mainWindow_, QStringLiteral("珀岚聊天"));

    TrayIconState = 2;
    TraySetIcon(&mainWindow_);
    EXPECT_EQ(trayRecord().picture, TrayPicture::NotLoggedIn);
    EXPECT_TRUE(isGrey(trayIcon()->icon().pixmap(32, 32).toImage()));

    TrayIconState = 0;
    TraySetIcon(&mainWindow_);
    EXPECT_EQ(trayRecord().picture, TrayPicture::None);
    EXPECT_TRUE(trayIcon()->icon().isNull());

    TrayIconState = 1;
    TraySetIcon(&mainWindow_);
    EXPECT_EQ(trayRecord().picture, TrayPicture::MainWindowIcon);
    EXPECT_FALSE(isGrey(trayIcon()->icon().pixmap(32, 32).toImage()));

    for (std::int16_t other : {std::int16_t{3}, std::int16_t{-1}, std::int16_t{100}}) {
        TrayIconState = other;
        TraySetIcon(&mainWindow_);
        EXPECT_EQ(trayRecord().picture, TrayPicture::MainWindowIcon) << other;
        EXPECT_FALSE(trayIcon()->icon().isNull()) << other;
    }
}

TEST_F(TrayTest, TipIsCutTo127BytesOfGbkWithoutSplittingACharacter) {
    EXPECT_EQ(trayTipBytes(QString(200, QLatin1Char('a'))).size(), 127);
    EXPECT_EQ(trayTipBytes(QString(127, QLatin1Char('a'))).size(), 127);

    QString chinese;
    for (int i = 0; i < 100; ++i) chinese += QChar(0x804A);  // 聊, two bytes each
    EXPECT_EQ(trayTipBytes(chinese).size(), 126);            // 63 characters; the 64th would split
    EXPECT_EQ(trayTipBytes(QLatin1Char('a') + chinese).size(), 127);

    TrayAdd(&mainWindow_, chinese);
    EXPECT_EQ(trayRecord().tip, QString(63, QChar(0x804A)));

    // A character that GBK cannot hold becomes "?", as the code-page conversion made it.
    EXPECT_EQ(trayTipBytes(QStringLiteral("A\U0001F600B")), QByteArray("A?B"));
}

TEST_F(TrayTest, ClicksReachTheHandlerAsLeftAndRight) {
    std::vector<TrayClick> clicks;
    setTrayClickHandler([&clicks](TrayClick c) { clicks.push_back(c); });
    TrayAdd(&mainWindow_, QStringLiteral("珀岚聊天"));
    emit trayIcon()->activated(QSystemTrayIcon::Trigger);
    emit trayIcon()->activated(QSystemTrayIcon::Context);
    emit trayIcon()->activated(QSystemTrayIcon::MiddleClick);
    ASSERT_EQ(clicks.size(), 2u);
    EXPECT_EQ(clicks[0], TrayClick::Left);
    EXPECT_EQ(clicks[1], TrayClick::Right);
}

TEST_F(TrayTest, ChangingThePictureAfterRemovalShowsNothing) {
    TrayAdd(&mainWindow_, QStringLiteral("珀岚聊天"));
    TrayRemove();
    TrayIconState = 2;
    TraySetIcon(&mainWindow_);
    EXPECT_FALSE(trayRecord().added);
    EXPECT_EQ(trayIcon(), nullptr);
}

}  // namespace
}  // namespace nq
