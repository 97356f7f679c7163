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

    frmMsnStyle* alert(int time = 3000, ToastBoard* board = nullptr) {
        frmMsnStyle* toast = toasts_.emplace_back(new frmMsnStyle(board ? *board : board_));
        toast->Alert(QStringLiteral("好友已添加"), time, QStringLiteral("/opt/nq/sound/SysMsg.wav"));
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
    static void mouse(QWidget* w, QEvent::Type type, QPointF at = {3, 3}) {
        const Qt::MouseButton button = type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton;
        QMouseEvent e(type, at, w->mapToGlobal(at), button,
                      type == QEvent::MouseButtonPress ? button : Qt::NoButton, Qt::NoModifier);
        QCoreApplication::sendEvent(w, &e);
    }

    test::RecordingServices services_;
    ToastBoard board_{services_};
    std::vector<QPointer<frmMsnStyle>> toasts_;
};

TEST_F(ToastTest, SlotsStackToFourAndOnlyTheNewestGivesTheCounterBack) {
    // 'A' opens a toast; "eN", "xN", "oN", "cN" end toast N by its timer, its close mark, Ok, or a
    // close from outside.
    const std::tuple<const char*, std::vector<int>, int> cases[] = {
        {"AAAAA", {1, 2, 3, 4, 1}, 1},  // the fifth lies over the first without looking
        {"AAe0A", {1, 2, 3}, 3},        // an older toast going leaves the counter
        {"AAe1A", {1, 2, 1}, 1},        // the newest going resets it, lower slots taken or not
        {"AAx0", {1, 2}, 2},           {"AAx1A", {1, 2, 1}, 1}, {"Ao0", {1}, 0},
        {"AAc1A", {1, 2, 3}, 3},  // a logout's unload takes no slot back
    };
    for (const auto& [script, expected, counterAtEnd] : cases) {
        ToastBoard board(services_);
        std::vector<frmMsnStyle*> shown;
        std::vector<int> taken;
        for (const char* p = script; *p; ++p) {
            if (*p == 'A') {
                taken.push_back(shown.emplace_back(alert(0, &board))->slot());  // waits for Ok
                continue;
            }
            frmMsnStyle* t = shown[static_cast<size_t>(*++p - '0')];
            if (p[-1] == 'e') t->onAlertTimer();
            while (t->step()) {
            }
            if (p[-1] == 'x') t->onCloseMarkClicked();
            if (p[-1] == 'o') t->cmdOk->click();
            if (p[-1] == 'c') t->close();
        }
        EXPECT_EQ(taken, expected) << script;
        EXPECT_EQ(board.lastSlot(), counterAtEnd) << script;
    }
}

TEST_F(ToastTest, SlidesInTenTwipsAStepInsideTheWorkAreaAndOutFiveTwipsAStepTo120) {
    frmMsnStyle* t = alert();
    const QRect avail = QGuiApplication::primaryScreen()->availableGeometry();
    EXPECT_GT(t->geometry().top(), avail.bottom() - 24) << "starts as a thin strip at the bottom";
    EXPECT_EQ(t->heightTwips(), 90);
    EXPECT_EQ(services_.sounds, std::vector<std::string>{"/opt/nq/sound/SysMsg.wav"});
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

    // Slide-out: five twips a step down to 120, then the unload. The close mark only hides: the toast stays
    // loaded until its timer ends.
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
        EXPECT_TRUE(t->cmdOk->isVisible()) << c.time;
        slideIn(t);
        EXPECT_EQ(t->tmrAlert->isActive(), c.timerRuns) << c.time;
        EXPECT_EQ(t->tmrAlert->interval(), c.interval) << c.time;
    }
}

TEST_F(ToastTest, TheCloseMarkAndTheTextAnswerTheMouse) {
    frmMsnStyle* t = alert();
    slideIn(t);
    mouse(t->lblAlert, QEvent::MouseMove);
    EXPECT_TRUE(t->lblAlert->font().underline());
    EXPECT_EQ(t->lblAlert->palette().color(QPalette::WindowText), QColor(0, 0, 255));
    mouse(t->Image1, QEvent::MouseButtonPress);
    EXPECT_EQ(t->Image1->pixmap().cacheKey(), t->Image2.cacheKey());
    EXPECT_TRUE(t->isVisible());
    mouse(t->Image1, QEvent::MouseButtonRelease);
    EXPECT_FALSE(t->isVisible());
    EXPECT_EQ(board_.lastSlot(), 0);
    mouse(t->picBackground, QEvent::MouseMove, {2, 110});
    EXPECT_EQ(t->Image1->pixmap().cacheKey(), t->Image3.cacheKey());
    EXPECT_FALSE(t->lblAlert->font().underline());
    EXPECT_EQ(t->lblAlert->palette().color(QPalette::WindowText), QColor(0, 0, 0));
}

TEST_F(ToastTest, LoadsWithTheStoredAlphaWithoutTheFocusAndRisesOnItsTimer) {
    int reads = 0;
    board_.setTransValueReader(
        [&reads] { return ++reads == 1 ? std::string("1,205,") : std::string("0,90,"); });
    frmMsnStyle* t = alert();
    EXPECT_NEAR(t->windowOpacity(), 205.0 / 255.0, 1e-6);
    EXPECT_NE(QApplication::activeWindow(), t);
    EXPECT_DOUBLE_EQ(alert()->windowOpacity(), 1.0) << "each toast reads the value anew";
    // No step() by hand: only the event loop runs. The deadline is a bound, not a timing goal.
    const QDeadlineTimer deadline(5000);
    while (!deadline.hasExpired() && t->heightTwips() == 90)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    EXPECT_GT(t->heightTwips(), 90) << "the slide timer drives the rise on its own";
}

TEST_F(ToastTest, TheBackgroundCarriesTheGradientFromTopToBottom) {
    frmMsnStyle* t = alert();
    slideIn(t);
    const QImage shot = t->picBackground->grab().toImage();
    // Below the header: light blue rising towards the lighter bottom, inside the two colours.
    const QColor upper = shot.pixelColor(90, 30), lower = shot.pixelColor(90, 100);
    EXPECT_LT(upper.red(), lower.red());
    EXPECT_GT(upper.blue(), upper.red());
    EXPECT_TRUE(upper.red() >= 167 && lower.red() <= 239);
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

}  // namespace
}  // namespace nq

#include "toast_test.moc"
