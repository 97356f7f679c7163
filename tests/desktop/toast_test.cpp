#include <gtest/gtest.h>

#include <QApplication>
#include <QCoreApplication>
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
#include "desktop/window_services.h"
#include "support/recording_services.h"

namespace nq {
namespace {

constexpr int kFull = frmMsnStyle::kBackgroundHeightPx * 15;  // 1740 twips: no frame, no extra
constexpr int kWidth = frmMsnStyle::kBackgroundWidthPx * 15;  // 2700 twips

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
    void SetUp() override { ToastSlot = 0; }
    void TearDown() override {
        for (const QPointer<frmMsnStyle>& t : toasts_) delete t.data();
        ToastSlot = 0;
        setTransValueReader({});
    }

    frmMsnStyle* alert(const QString& text = QStringLiteral("好友已添加"), int time = 3000,
                       const QString& sound = QStringLiteral("/opt/nq/sound/SysMsg.wav")) {
        auto* toast = new frmMsnStyle(services_);
        toasts_.emplace_back(toast);
        toast->Alert(text, time, sound);
        return toast;
    }

    static void slideIn(frmMsnStyle* t) {
        while (t->phase() == frmMsnStyle::Phase::SlidingIn) t->step();
    }

    // Runs the display timer's end and the whole slide-out.
    static void end(frmMsnStyle* t) {
        t->onAlertTimer();
        while (t->step()) {
        }
    }

    static void flushDeletes() { QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete); }

    // Expected first top of a slot, twips: 200 below the client area's bottom, a toast per slot.
    static int startTop(int slot) {
        const QRect area = frmMsnStyle::fullScreenClientArea();
        return 15 * (area.y() + area.height()) - kFull * (slot - 1) + 200;
    }

    test::RecordingServices services_;
    std::vector<QPointer<frmMsnStyle>> toasts_;
};

TEST_F(ToastTest, SlotsCountToFourAndTheFifthTakesTheFirstPlace) {
    std::vector<frmMsnStyle*> shown;
    for (int i = 0; i < 5; ++i) shown.push_back(alert());
    EXPECT_EQ(shown[0]->slot(), 1);
    EXPECT_EQ(shown[1]->slot(), 2);
    EXPECT_EQ(shown[2]->slot(), 3);
    EXPECT_EQ(shown[3]->slot(), 4);
    EXPECT_EQ(shown[4]->slot(), 1);
    EXPECT_EQ(ToastSlot, 1);
    // Each slot starts one full toast higher; the fifth lies exactly over the first.
    for (int i = 0; i < 4; ++i) EXPECT_EQ(shown[static_cast<size_t>(i)]->topTwips(), startTop(i + 1)) << i;
    EXPECT_EQ(shown[4]->topTwips(), shown[0]->topTwips());
    EXPECT_EQ(shown[4]->leftTwips(), shown[0]->leftTwips());
}

TEST_F(ToastTest, AnOlderToastThatEndsLeavesTheCounterForTheNextOneAbove) {
    frmMsnStyle* first = alert();
    frmMsnStyle* second = alert();
    slideIn(first);
    slideIn(second);
    QPointer<frmMsnStyle> gone = first;
    end(first);
    EXPECT_EQ(ToastSlot, 2);
    flushDeletes();
    EXPECT_TRUE(gone.isNull());

    frmMsnStyle* third = alert();
    EXPECT_EQ(third->slot(), 3);
    EXPECT_EQ(third->topTwips(), startTop(3));
}

TEST_F(ToastTest, TheNewestToastThatEndsResetsTheCounterEvenWithLowerSlotsTaken) {
    frmMsnStyle* first = alert();
    frmMsnStyle* second = alert();
    slideIn(first);
    slideIn(second);
    end(second);
    EXPECT_EQ(ToastSlot, 0);

    frmMsnStyle* next = alert();
    EXPECT_EQ(next->slot(), 1);
    EXPECT_EQ(next->topTwips(), startTop(1));
    EXPECT_EQ(first->phase(), frmMsnStyle::Phase::Displayed);  // nothing moved the older one
}

TEST_F(ToastTest, AlertPlacesAThinStripBelowTheBottomRightAndPlaysTheSound) {
    frmMsnStyle* t = alert(QStringLiteral("好友已添加"), 3000, QStringLiteral("/opt/nq/sound/SysMsg.wav"));
    const QRect area = frmMsnStyle::fullScreenClientArea();
    EXPECT_EQ(t->heightTwips(), 90);
    EXPECT_EQ(t->widthTwips(), kWidth);
    EXPECT_EQ(t->leftTwips(), 15 * (area.x() + area.width()) - kWidth - 200);
    EXPECT_EQ(t->topTwips(), startTop(1));
    EXPECT_TRUE(t->isVisible());
    EXPECT_EQ(t->lblAlert->text(), QStringLiteral("好友已添加"));
    ASSERT_EQ(services_.sounds.size(), 1u);
    EXPECT_EQ(services_.sounds[0], "/opt/nq/sound/SysMsg.wav");
    // Pixels follow the twips: 90 twips are 6 pixels, 200 twips right of the area's edge.
    EXPECT_EQ(t->height(), 6);
    EXPECT_EQ(t->width(), frmMsnStyle::kBackgroundWidthPx);
    EXPECT_EQ(t->x(), qRound((15.0 * (area.x() + area.width()) - kWidth - 200) / 15.0));
    EXPECT_TRUE(t->slideTimer()->isActive());
    EXPECT_EQ(t->slideTimer()->interval(), frmMsnStyle::kSlideStepMs);
}

TEST_F(ToastTest, SlideInRisesTenTwipsPerStepToFullHeightWithTheBottomFixed) {
    frmMsnStyle* t = alert();
    const int bottom = t->topTwips() + t->heightTwips();
    const int bottomPixels = t->geometry().bottom();
    int expected = 90;
    int steps = 0;
    while (t->phase() == frmMsnStyle::Phase::SlidingIn) {
        ASSERT_FALSE(t->tmrAlert->isActive());
        ASSERT_TRUE(t->step());
        expected = std::min(expected + 10, kFull);
        ++steps;
        ASSERT_EQ(t->heightTwips(), expected);
        ASSERT_EQ(t->topTwips() + t->heightTwips(), bottom);
        ASSERT_EQ(t->geometry().bottom(), bottomPixels) << "step " << steps;
    }
    EXPECT_EQ(steps, (kFull - 90) / 10);
    EXPECT_EQ(t->heightTwips(), kFull);
    EXPECT_EQ(t->height(), frmMsnStyle::kBackgroundHeightPx);
    EXPECT_EQ(t->phase(), frmMsnStyle::Phase::Displayed);
    EXPECT_FALSE(t->slideTimer()->isActive());
    EXPECT_TRUE(t->tmrAlert->isActive());
    EXPECT_EQ(t->tmrAlert->interval(), 3000);
    EXPECT_FALSE(t->step());  // nothing slides while the toast is displayed
}

TEST_F(ToastTest, SlideOutSinksFiveTwipsPerStepDownTo120ThenUnloads) {
    frmMsnStyle* t = alert();
    slideIn(t);
    const int risenTop = t->topTwips();
    QPointer<frmMsnStyle> watch = t;
    t->onAlertTimer();
    EXPECT_FALSE(t->tmrAlert->isActive());
    EXPECT_EQ(t->phase(), frmMsnStyle::Phase::SlidingOut);
    int height = kFull;
    int top = risenTop;
    while (t->phase() == frmMsnStyle::Phase::SlidingOut) {
        ASSERT_TRUE(t->step());
        height -= 5;
        top += 5;
        ASSERT_EQ(t->heightTwips(), height);
        ASSERT_EQ(t->topTwips(), top);
    }
    EXPECT_EQ(height, 120);
    EXPECT_EQ(t->phase(), frmMsnStyle::Phase::Unloaded);
    EXPECT_EQ(ToastSlot, 0);
    EXPECT_FALSE(t->isVisible());
    flushDeletes();
    EXPECT_TRUE(watch.isNull());
}

TEST_F(ToastTest, TheRisenToastStandsInsideTheScreenAboveTheWorkAreaBottom) {
    frmMsnStyle* t = alert();
    slideIn(t);
    const QRect avail = QGuiApplication::primaryScreen()->availableGeometry();
    EXPECT_LE(t->geometry().bottom(), avail.bottom());
    EXPECT_GE(t->geometry().bottom(), avail.bottom() - 24);
    EXPECT_LE(t->geometry().right(), avail.right());
    EXPECT_LT(frmMsnStyle::fullScreenClientArea().height(), avail.height());
}

TEST_F(ToastTest, TimeZeroEnablesOkAndNeverStartsTheDisplayTimer) {
    frmMsnStyle* waiting = alert(QStringLiteral("加入山庄的请求被拒绝"), 0);
    EXPECT_TRUE(waiting->cmdOk->isEnabled());
    EXPECT_TRUE(waiting->cmdOk->isVisible());
    EXPECT_EQ(waiting->cmdOk->text(), QStringLiteral("Ok"));
    slideIn(waiting);
    EXPECT_EQ(waiting->phase(), frmMsnStyle::Phase::Displayed);
    EXPECT_FALSE(waiting->tmrAlert->isActive());

    frmMsnStyle* timed = alert(QStringLiteral("x"), 8000);
    EXPECT_FALSE(timed->cmdOk->isEnabled());
    slideIn(timed);
    EXPECT_TRUE(timed->tmrAlert->isActive());
    EXPECT_EQ(timed->tmrAlert->interval(), 8000);

    // A negative time is refused and the design interval stays.
    frmMsnStyle* refused = alert(QStringLiteral("x"), -1);
    slideIn(refused);
    EXPECT_EQ(refused->tmrAlert->interval(), frmMsnStyle::kDesignAlertMs);
}

TEST_F(ToastTest, CloseMarkReleasesTheNewestSlotAndHidesUntilTheTimerEnds) {
    frmMsnStyle* older = alert();
    frmMsnStyle* newest = alert();
    slideIn(older);
    slideIn(newest);

    older->onCloseMarkClicked();
    EXPECT_EQ(ToastSlot, 2);  // not the newest: the counter stays
    EXPECT_FALSE(older->isVisible());

    newest->onCloseMarkClicked();
    EXPECT_EQ(ToastSlot, 0);
    EXPECT_FALSE(newest->isVisible());
    EXPECT_EQ(newest->phase(), frmMsnStyle::Phase::Displayed);  // still loaded
    EXPECT_TRUE(newest->tmrAlert->isActive());

    QPointer<frmMsnStyle> watch = newest;
    end(newest);
    flushDeletes();
    EXPECT_TRUE(watch.isNull());
}

TEST_F(ToastTest, ARealClickOnTheCloseMarkGoesThroughItsPressedPicture) {
    frmMsnStyle* t = alert();
    slideIn(t);
    const QPointF inside(3, 3);
    QMouseEvent press(QEvent::MouseButtonPress, inside, t->Image1->mapToGlobal(inside), Qt::LeftButton,
                      Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(t->Image1, &press);
    EXPECT_EQ(t->Image1->pixmap().cacheKey(), t->Image2.cacheKey());
    EXPECT_TRUE(t->isVisible());

    QMouseEvent release(QEvent::MouseButtonRelease, inside, t->Image1->mapToGlobal(inside), Qt::LeftButton,
                        Qt::NoButton, Qt::NoModifier);
    QCoreApplication::sendEvent(t->Image1, &release);
    EXPECT_FALSE(t->isVisible());
    EXPECT_EQ(ToastSlot, 0);

    QMouseEvent over(QEvent::MouseMove, QPointF(40, 100), QPointF(40, 100), Qt::NoButton, Qt::NoButton,
                     Qt::NoModifier);
    QCoreApplication::sendEvent(t->picBackground, &over);
    EXPECT_EQ(t->Image1->pixmap().cacheKey(), t->Image3.cacheKey());
}

TEST_F(ToastTest, HoverUnderlinesTheTextInBlueAndTheBackgroundRestoresIt) {
    frmMsnStyle* t = alert();
    const QColor black(0, 0, 0);
    EXPECT_FALSE(t->lblAlert->font().underline());
    EXPECT_EQ(t->lblAlert->palette().color(QPalette::WindowText), black);

    QMouseEvent overText(QEvent::MouseMove, QPointF(5, 5), QPointF(5, 5), Qt::NoButton, Qt::NoButton,
                         Qt::NoModifier);
    QCoreApplication::sendEvent(t->lblAlert, &overText);
    EXPECT_TRUE(t->lblAlert->font().underline());
    EXPECT_EQ(t->lblAlert->palette().color(QPalette::WindowText), QColor(0, 0, 255));

    QMouseEvent overBackground(QEvent::MouseMove, QPointF(2, 110), QPointF(2, 110), Qt::NoButton,
                               Qt::NoButton, Qt::NoModifier);
    QCoreApplication::sendEvent(t->picBackground, &overBackground);
    EXPECT_FALSE(t->lblAlert->font().underline());
    EXPECT_EQ(t->lblAlert->palette().color(QPalette::WindowText), black);
}

TEST_F(ToastTest, ALongTextIsCutByTheLabelAndTheWindowKeepsItsSize) {
    QString longText;
    for (int i = 0; i < 40; ++i) longText += QStringLiteral("很长的通知文字");
    frmMsnStyle* t = alert(longText);
    const QRect label = t->lblAlert->geometry();
    slideIn(t);
    EXPECT_EQ(t->lblAlert->text(), longText);
    EXPECT_EQ(t->lblAlert->geometry(), label);
    EXPECT_GT(t->lblAlert->heightForWidth(label.width()), label.height());
    EXPECT_EQ(t->widthTwips(), kWidth);
    EXPECT_EQ(t->heightTwips(), kFull);
    EXPECT_EQ(t->size(), QSize(frmMsnStyle::kBackgroundWidthPx, frmMsnStyle::kBackgroundHeightPx));
}

TEST_F(ToastTest, LoadMakesATopmostToolWindowThatTakesNoFocusAndFollowsTheStoredAlpha) {
    setTransValueReader([] { return std::string("1,205,"); });
    frmMsnStyle* t = alert();
    const Qt::WindowFlags flags = t->windowFlags();
    EXPECT_EQ(flags & Qt::WindowType_Mask, Qt::Tool);
    EXPECT_TRUE(flags.testFlag(Qt::FramelessWindowHint));
    EXPECT_TRUE(flags.testFlag(Qt::WindowStaysOnTopHint));
    EXPECT_TRUE(t->testAttribute(Qt::WA_ShowWithoutActivating));
    EXPECT_NEAR(t->windowOpacity(), 205.0 / 255.0, 1e-6);
    EXPECT_NE(QApplication::activeWindow(), t);
}

TEST_F(ToastTest, TheBackgroundCarriesTheGradientFromTopToBottom) {
    frmMsnStyle* t = alert();
    slideIn(t);
    const QImage shot = t->picBackground->grab().toImage();
    // Inside the frame line, below the header: blue rising towards the lighter bottom.
    const QColor upper = shot.pixelColor(90, 30);
    const QColor lower = shot.pixelColor(90, 100);
    EXPECT_LT(upper.red(), lower.red());
    EXPECT_LT(upper.green(), lower.green());
    EXPECT_GT(upper.blue(), upper.red());
    EXPECT_GE(upper.red(), 167);
    EXPECT_LE(lower.red(), 239);
}

TEST_F(ToastTest, ShowPopupHandsTheCallerOverAfterTheSlideInAndOkCallsMsgBack) {
    Caller caller;
    int error = 99;
    frmMsnStyle* t = ShowPopup(services_, &caller, QStringLiteral("请确认"), 0, QString(), &error);
    ASSERT_NE(t, nullptr);
    toasts_.emplace_back(t);
    EXPECT_EQ(error, 0);
    EXPECT_EQ(t->lblAlert->text(), QStringLiteral("请确认"));
    EXPECT_EQ(t->caller(), nullptr);  // still rising

    slideIn(t);
    EXPECT_EQ(t->caller(), &caller);
    t->cmdOk->click();
    ASSERT_EQ(caller.messages.size(), 1u);
    EXPECT_EQ(caller.messages[0], QStringLiteral("User Clicked Ok On MSN Style Popup"));
    EXPECT_EQ(ToastSlot, 0);
    EXPECT_FALSE(t->isVisible());
}

TEST_F(ToastTest, OkWithoutAMsgBackOrBeforeTheHandOverStillReleasesAndHides) {
    Caller caller;
    frmMsnStyle* early = ShowPopup(services_, &caller, QStringLiteral("a"), 0, QString());
    toasts_.emplace_back(early);
    early->cmdOk->click();  // during the slide-in: nobody to call yet
    EXPECT_TRUE(caller.messages.empty());
    EXPECT_FALSE(early->isVisible());
    EXPECT_EQ(ToastSlot, 0);

    QWidget plain;
    frmMsnStyle* t = ShowPopup(services_, &plain, QStringLiteral("b"), 0, QString());
    toasts_.emplace_back(t);
    slideIn(t);
    t->cmdOk->click();
    EXPECT_FALSE(t->isVisible());
    EXPECT_EQ(ToastSlot, 0);
}

TEST_F(ToastTest, TheSlideTimerDrivesTheStepsOnItsOwn) {
    frmMsnStyle* t = alert();
    // Only the event loop runs here, no step() by hand: the rise must move on by itself.
    bool moved = false;
    const QDeadlineTimer deadline(5000);
    while (!deadline.hasExpired() && !moved) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        moved = t->heightTwips() > 90;
    }
    EXPECT_TRUE(moved);
}

}  // namespace
}  // namespace nq

#include "toast_test.moc"
