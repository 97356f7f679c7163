#include <gtest/gtest.h>

#include <QSystemTrayIcon>
#include <QWidget>

#include <vector>

#include "desktop/tray.h"

namespace nq {
namespace {

bool isGrey(const QIcon& icon) {
    const QImage image = icon.pixmap(32, 32).toImage();
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QColor c = image.pixelColor(x, y);
            if (c.alpha() > 0 && (std::abs(c.red() - c.green()) > 2 || std::abs(c.green() - c.blue()) > 2))
                return false;
        }
    }
    return true;
}

class TrayTest : public ::testing::Test {
  protected:
    void SetUp() override { mainWindow_.setWindowIcon(appIcon()); }
    QWidget mainWindow_;
    Tray tray_;
};

TEST_F(TrayTest, AddShowsTheMainWindowsIconAndTipAndSignalsClicksUntilRemoved) {
    std::vector<TrayClick> clicks;
    QObject::connect(&tray_, &Tray::clicked, [&clicks](TrayClick c) { clicks.push_back(c); });
    tray_.TrayIconState = 2;
    tray_.TrayAdd(&mainWindow_, QStringLiteral("珀岚聊天"));
    EXPECT_TRUE(tray_.record().added);
    EXPECT_EQ(tray_.record().picture, TrayPicture::MainWindowIcon) << "whatever TrayIconState says";
    EXPECT_EQ(tray_.record().tipGbk.size(), 8);
    ASSERT_NE(tray_.icon(), nullptr);
    EXPECT_EQ(tray_.icon()->toolTip(), QStringLiteral("珀岚聊天"));
    EXPECT_FALSE(isGrey(tray_.icon()->icon()));
    // The middle button first, so that a middle click taken for the right one shows.
    for (auto why : {QSystemTrayIcon::MiddleClick, QSystemTrayIcon::Trigger, QSystemTrayIcon::DoubleClick,
                     QSystemTrayIcon::Context})
        emit tray_.icon()->activated(why);
    EXPECT_EQ(clicks, (std::vector<TrayClick>{TrayClick::Left, TrayClick::Left, TrayClick::Right}));

    tray_.TrayRemove();
    tray_.TraySetIcon(&mainWindow_);
    EXPECT_FALSE(tray_.record().added);
    EXPECT_EQ(tray_.icon(), nullptr);
}

TEST_F(TrayTest, SetIconFollowsTheStateAndAnUnknownStateKeepsTheLastPicture) {
    tray_.TrayAdd(&mainWindow_, QStringLiteral("珀岚聊天"));
    struct Case {
        std::int16_t state;
        TrayPicture picture;
        bool null, grey;
    };
    const Case cases[] = {{2, TrayPicture::NotLoggedIn, false, true},
                          {0, TrayPicture::None, true, true},
                          {1, TrayPicture::MainWindowIcon, false, false},
                          {3, TrayPicture::MainWindowIcon, false, false},
                          {-1, TrayPicture::MainWindowIcon, false, false}};
    for (const Case& c : cases) {
        tray_.TrayIconState = c.state;
        tray_.TraySetIcon(&mainWindow_);
        EXPECT_EQ(tray_.record().picture, c.picture) << c.state;
        EXPECT_EQ(tray_.icon()->icon().isNull(), c.null) << c.state;
        EXPECT_EQ(isGrey(tray_.icon()->icon()), c.grey) << c.state;
    }
}

TEST_F(TrayTest, TipIsCutTo127BytesOfGbkWithoutSplittingACharacter) {
    const QString chinese(100, QChar(0x804A));  // 聊, two bytes each
    EXPECT_EQ(trayTipBytes(QString(200, QLatin1Char('a'))).size(), 127);
    EXPECT_EQ(trayTipBytes(chinese).size(), 126);  // 63 characters; the 64th would split
    EXPECT_EQ(trayTipBytes(QLatin1Char('a') + chinese).size(), 127);
    EXPECT_EQ(trayTipBytes(QStringLiteral("A\U0001F600B")), QByteArray("A?B")) << "what GBK cannot hold";
    tray_.TrayAdd(&mainWindow_, chinese);
    EXPECT_EQ(tray_.record().tip, QString(63, QChar(0x804A)));
}

}  // namespace
}  // namespace nq
