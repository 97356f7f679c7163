#include <gtest/gtest.h>

#include <QApplication>
#include <QDeadlineTimer>
#include <QLabel>
#include <QMouseEvent>
#include <QPointer>
#include <QPushButton>
#include <QScreen>
#include <QTimer>

#include <vector>

#include "desktop/frm_msn_style.h"
#include "desktop/show_popup.h"
#include "desktop/toast_board.h"
#include "support/recording_services.h"

namespace nq {
namespace {

using Phase = frmMsnStyle::Phase;

// A window that offers MsgBack, as the main window does.
class Caller : public QWidget {
    Q_OBJECT

  public:
    std::vector<QString> messages;

  public slots:
    void MsgBack(const QString& text) { messages.push_back(text); }
};

class ToastTest : public ::testing::Test {
  protected:
    void TearDown() override {
        for (const QPointer<frmMsnStyle>& t : toasts_) delete t.data();
    }

    frmMsnStyle* alert(int time = 3000, const QString& text = QStringLiteral("好友已添加")) {
        auto* toast = new frmMsnStyle(board_);
        toasts_.emplace_back(toast);
        toast->Alert(text, time, QStringLiteral("/opt/nq/sound/SysMsg.wav"));
        return toast;
    }
    frmMsnStyle* popup(QWidget* caller) {
        frmMsnStyle* toast = ShowPopup(board_, caller, QStringLiteral("请确认"), 0, QString());
        toasts_.emplace_back(toast);
        return toast;
    }
    static void slideIn(frmMsnStyle* t) {
        while (t->phase() == Phase::SlidingIn) t->step();
    }
    static void click(QWidget* w, QEvent::Type type, Qt::MouseButtons buttons) {
        QMouseEvent e(type, QPointF(3, 3), w->mapToGlobal(QPointF(3, 3)), Qt::LeftButton, buttons,
                      Qt::NoModifier);
        QCoreApplication::sendEvent(w, &e);
    }
    static void move(QWidget* w, QPointF at) {
        QMouseEvent e(QEvent::MouseMove, at, at, Qt::NoButton, Qt::NoButton, Qt::NoModifier);
        QCoreApplication::sendEvent(w, &e);
    }

    test::RecordingServices services_;
    ToastBoard board_{services_};
    std::vector<QPointer<frmMsnStyle>> toasts_;
};

TEST_F(ToastTest, SlotsStackToFourAndOnlyTheNewestGivesTheCounterBack) {
    // Each script opens toasts ('A'), or makes toast i end by its timer ('e'), by its close
    // mark ('x') or by Ok ('o'); every 'A' takes the next listed slot.
    struct Case {
        const char* script;
        std::vector<int> expected;
        int counterAtEnd;
    };
    const Case cases[] = {
        {"AAAAA", {1, 2, 3, 4, 1}, 1},  // the fifth lies over the first without looking
        {"AA e0 A", {1, 2, 3}, 3},      // an older toast going leaves the counter
        {"AA e1 A", {1, 2, 1}, 1},      // the newest going resets it, lower slots taken or not
        {"AA x0", {1, 2}, 2},          {"AA x1 A", {1, 2, 1}, 1}, {"A o0", {1}, 0},
    };
    for (const Case& c : cases) {
        ToastBoard board(services_);
        std::vector<frmMsnStyle*> shown;
        std::vector<int> taken;
        for (const char* p = c.script; *p; ++p) {
            if (*p == 'A') {
                auto* t = new frmMsnStyle(board);
                toasts_.emplace_back(t);
                t->Alert(QStringLiteral("x"), 0, QString());  // waits for Ok, so 'o' can end it
                slideIn(t);
                shown.push_back(t);
                taken.push_back(t->slot());
            } else if (*p != ' ') {
                frmMsnStyle* t = shown[static_cast<size_t>(p[1] - '0')];
                if (*p == 'e') {
                    t->onAlertTimer();
                    while (t->step()) {
                    }
                } else if (*p == 'x') {
                    t->onCloseMarkClicked();
                } else {
                    t->cmdOk->click();
                }
                ++p;
            }
        }
        EXPECT_EQ(taken, c.expected) << c.script;
        EXPECT_EQ(board.lastSlot(), c.counterAtEnd) << c.script;
    }
}

TEST_F(ToastTest, EachSlotStartsOneToastHigherAndTheFifthLiesOverTheFirst) {
    std::vector<frmMsnStyle*> shown;
    for (int i = 0; i < 5; ++i) shown.push_back(alert());
    for (size_t i = 1; i < 4; ++i)
        EXPECT_EQ(shown[i - 1]->topTwips() - shown[i]->topTwips(), shown[i]->fullHeightTwips());
    EXPECT_EQ(shown[4]->geometry(), shown[0]->geometry());
    EXPECT_EQ(services_.sounds, std::vector<std::string>(5, "/opt/nq/sound/SysMsg.wav"));
}

TEST_F(ToastTest, SlideInRisesTenTwipsAStepWithTheBottomFixedAndEndsInsideTheWorkArea) {
    frmMsnStyle* t = alert();
    const QRect avail = QGuiApplication::primaryScreen()->availableGeometry();
    EXPECT_GT(t->geometry().top(), avail.bottom() - 24) << "starts as a thin strip at the bottom";
    EXPECT_EQ(t->heightTwips(), 90);
    const int bottom = t->topTwips() + t->heightTwips();
    const int bottomPixels = t->geometry().bottom();
    int steps = 0;
    while (t->phase() == Phase::SlidingIn) {
        ASSERT_FALSE(t->tmrAlert->isActive());
        ASSERT_TRUE(t->step());
        ++steps;
        ASSERT_EQ(t->heightTwips(), std::min(90 + 10 * steps, t->fullHeightTwips()));
        ASSERT_EQ(t->topTwips() + t->heightTwips(), bottom);
        ASSERT_EQ(t->geometry().bottom(), bottomPixels) << "step " << steps;
    }
    EXPECT_EQ(steps, 165);
    EXPECT_EQ(t->size(), QSize(frmMsnStyle::kBackgroundWidthPx, frmMsnStyle::kBackgroundHeightPx));
    EXPECT_LE(t->geometry().bottom(), avail.bottom());
    EXPECT_GE(t->geometry().bottom(), avail.bottom() - 24);
    EXPECT_LE(t->geometry().right(), avail.right());
    EXPECT_TRUE(t->tmrAlert->isActive());
    EXPECT_FALSE(t->step()) << "nothing slides while the toast is displayed";
}

TEST_F(ToastTest, SlideOutSinksFiveTwipsAStepTo120ThenUnloads) {
    frmMsnStyle* t = alert();
    slideIn(t);
    // The close mark only hides: the toast stays loaded until its timer ends.
    t->onCloseMarkClicked();
    EXPECT_FALSE(t->isVisible());
    EXPECT_TRUE(t->tmrAlert->isActive());
    QPointer<frmMsnStyle> watch = t;
    t->onAlertTimer();
    int height = t->heightTwips();
    int top = t->topTwips();
    while (t->phase() == Phase::SlidingOut) {
        ASSERT_TRUE(t->step());
        ASSERT_EQ(t->heightTwips(), height -= 5);
        ASSERT_EQ(t->topTwips(), top += 5);
    }
    EXPECT_EQ(height, 120);
    EXPECT_EQ(t->phase(), Phase::Unloaded);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(watch.isNull());
}

TEST_F(ToastTest, TheTimeDecidesBetweenOkAndTheDisplayTimer) {
    struct Case {
        int time;
        bool ok;
        bool timerRuns;
        int interval;
    };
    const Case cases[] = {{0, true, false, 0},
                          {8000, false, true, 8000},
                          {-1, false, true, frmMsnStyle::kDesignAlertMs}};  // refused: the design time stays
    for (const Case& c : cases) {
        frmMsnStyle* t = alert(c.time);
        EXPECT_EQ(t->cmdOk->isEnabled(), c.ok) << c.time;
        EXPECT_EQ(t->cmdOk->isVisible(), c.ok) << c.time;
        slideIn(t);
        EXPECT_EQ(t->tmrAlert->isActive(), c.timerRuns) << c.time;
        EXPECT_EQ(t->tmrAlert->interval(), c.interval) << c.time;
    }
}

TEST_F(ToastTest, TheCloseMarkAndTheTextAnswerTheMouse) {
    frmMsnStyle* t = alert();
    slideIn(t);
    move(t->lblAlert, QPointF(5, 5));
    EXPECT_TRUE(t->lblAlert->font().underline());
    EXPECT_EQ(t->lblAlert->palette().color(QPalette::WindowText), QColor(0, 0, 255));
    click(t->Image1, QEvent::MouseButtonPress, Qt::LeftButton);
    EXPECT_EQ(t->Image1->pixmap().cacheKey(), t->Image2.cacheKey());
    EXPECT_TRUE(t->isVisible());
    click(t->Image1, QEvent::MouseButtonRelease, Qt::NoButton);
    EXPECT_FALSE(t->isVisible());
    EXPECT_EQ(board_.lastSlot(), 0);
    move(t->picBackground, QPointF(2, 110));
    EXPECT_EQ(t->Image1->pixmap().cacheKey(), t->Image3.cacheKey());
    EXPECT_FALSE(t->lblAlert->font().underline());
    EXPECT_EQ(t->lblAlert->palette().color(QPalette::WindowText), QColor(0, 0, 0));
}

TEST_F(ToastTest, ALongTextIsCutAndTheWindowKeepsItsSize) {
    frmMsnStyle* t = alert(3000, QStringLiteral("很长的通知文字").repeated(40));
    const QRect label = t->lblAlert->geometry();
    slideIn(t);
    EXPECT_EQ(t->lblAlert->geometry(), label);
    EXPECT_GT(t->lblAlert->heightForWidth(label.width()), label.height());
    EXPECT_EQ(t->size(), QSize(frmMsnStyle::kBackgroundWidthPx, frmMsnStyle::kBackgroundHeightPx));
}

TEST_F(ToastTest, LoadsWithTheBoardsStoredAlphaWithoutTakingTheFocus) {
    int reads = 0;
    board_.setTransValueReader(
        [&reads] { return ++reads == 1 ? std::string("1,205,") : std::string("0,90,"); });
    frmMsnStyle* t = alert();
    EXPECT_NEAR(t->windowOpacity(), 205.0 / 255.0, 1e-6);
    EXPECT_NE(QApplication::activeWindow(), t);
    EXPECT_DOUBLE_EQ(alert()->windowOpacity(), 1.0) << "each toast reads the value anew";
}

TEST_F(ToastTest, TheBackgroundCarriesTheGradientFromTopToBottom) {
    frmMsnStyle* t = alert();
    slideIn(t);
    const QImage shot = t->picBackground->grab().toImage();
    const QColor upper = shot.pixelColor(90, 30);
    const QColor lower = shot.pixelColor(90, 100);
    EXPECT_LT(upper.red(), lower.red());
    EXPECT_GT(upper.blue(), upper.red());
    EXPECT_GE(upper.red(), 167);
    EXPECT_LE(lower.red(), 239);
}

TEST_F(ToastTest, OkCallsTheCallersMsgBackOnlyAfterTheSlideIn) {
    Caller caller;
    frmMsnStyle* early = popup(&caller);
    early->cmdOk->click();
    EXPECT_TRUE(caller.messages.empty()) << "nobody to call back during the rise";
    EXPECT_FALSE(early->isVisible());

    frmMsnStyle* t = popup(&caller);
    EXPECT_EQ(t->lblAlert->text(), QStringLiteral("请确认"));
    slideIn(t);
    t->cmdOk->click();
    EXPECT_EQ(caller.messages, std::vector<QString>{QStringLiteral("User Clicked Ok On MSN Style Popup")});
    EXPECT_FALSE(t->isVisible());

    QWidget plain;  // no MsgBack: the click only hides
    frmMsnStyle* quiet = popup(&plain);
    slideIn(quiet);
    quiet->cmdOk->click();
    EXPECT_FALSE(quiet->isVisible());
}

TEST_F(ToastTest, TheSlideTimerDrivesTheRiseOnItsOwn) {
    frmMsnStyle* t = alert();
    // No step() by hand: only the event loop runs. The deadline is a bound, not a timing goal.
    const QDeadlineTimer deadline(5000);
    while (!deadline.hasExpired() && t->heightTwips() == 90)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    EXPECT_GT(t->heightTwips(), 90);
}

}  // namespace
}  // namespace nq

#include "toast_test.moc"
