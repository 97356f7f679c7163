#include <gtest/gtest.h>

#include <QWidget>

#include "desktop/window_services.h"

namespace nq {
namespace {

// The flag must be numerically 1 and the alpha fit a byte; only such a value touches the window,
// and from 252 up the window is opaque.
TEST(TransValueText, OnlyAFlagOfOneWithAnAlphaThatFitsAByteTouchesTheWindow) {
    struct Case {
        const char* text;
        bool enabled;
        int alpha;  // -1: none
        int shown;  // the alpha the window has after applyStoredTransparency, 255 when left alone
    };
    const Case cases[] = {
        {"1,205,", true, 205, 205},   {"0,100,", false, 100, 255},  {"1,255,", true, 255, 255},
        {"1,251,", true, 251, 251},   {"1,252,", true, 252, 255},   {"1,79,", true, 79, 79},
        {" 1.0,80,", true, 80, 80},   {"10,80,", false, 80, 255},   {"1", true, -1, 255},
        {"", false, -1, 255},         {"abc", false, -1, 255},      {"1,300,", true, -1, 255},
        {"1,-3,", true, -1, 255},     {"1,x,", true, -1, 255},      {"yes,200,", false, 200, 255},
        {"1,204.5,", true, 204, 204}, {"1,205.5,", true, 206, 206},
    };
    for (const Case& c : cases) {
        const TransValue v = parseTransValue(c.text);
        EXPECT_EQ(v.enabled, c.enabled) << c.text;
        EXPECT_EQ(v.alpha ? int{*v.alpha} : -1, c.alpha) << c.text;
        QWidget w;
        EXPECT_EQ(applyStoredTransparency(&w, c.text), c.enabled && c.alpha >= 0) << c.text;
        EXPECT_NEAR(w.windowOpacity(), c.shown / 255.0, 1e-6) << c.text;
    }
}

TEST(TopMost, TheHintFollowsTheFlagAndAVisibleWindowStaysWhereItWas) {
    QWidget w;
    w.setGeometry(100, 120, 200, 150);
    w.show();
    const QRect before = w.geometry();
    for (bool on : {true, false}) {
        SetTopMost(&w, on);
        EXPECT_EQ(w.windowFlags().testFlag(Qt::WindowStaysOnTopHint), on);
        EXPECT_TRUE(w.isVisible());
        EXPECT_EQ(w.geometry(), before);
    }
    QWidget hidden;
    SetTopMost(&hidden, true);
    EXPECT_TRUE(hidden.windowFlags().testFlag(Qt::WindowStaysOnTopHint));
    EXPECT_FALSE(hidden.isVisible());
}

}  // namespace
}  // namespace nq
