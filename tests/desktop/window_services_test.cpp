#include <gtest/gtest.h>

#include <QWidget>

#include "desktop/window_services.h"

namespace nq {
namespace {

TEST(TransValueText, FlagMustBeNumericallyOneAndTheAlphaMustFitAByte) {
    struct Case {
        const char* text;
        bool enabled;
        int alpha;  // -1: none
    };
    const Case cases[] = {
        {"1,205,", true, 205},   {"0,100,", false, 100}, {"1,255,", true, 255},    {"1,79,", true, 79},
        {" 1.0,80,", true, 80},  {"10,80,", false, 80},  {"1", true, -1},          {"", false, -1},
        {"abc", false, -1},      {"1,300,", true, -1},   {"1,-3,", true, -1},      {"1,204.5,", true, 204},
        {"1,205.5,", true, 206}, {"1,x,", true, -1},     {"yes,200,", false, 200},
    };
    for (const Case& c : cases) {
        const TransValue v = parseTransValue(c.text);
        EXPECT_EQ(v.enabled, c.enabled) << c.text;
        EXPECT_EQ(v.alpha ? int{*v.alpha} : -1, c.alpha) << c.text;
    }
}

TEST(TransValueText, OnlyAnEnabledUsableValueTouchesTheWindowAndFrom252ItIsOpaque) {
    struct Case {
        const char* text;
        bool applied;
        double opacity;
    };
    const Case cases[] = {{"1,205,", true, 205.0 / 255}, {"1,251,", true, 251.0 / 255},
                          {"1,252,", true, 1.0},         {"1,253,", true, 1.0},
                          {"0,100,", false, 1.0},        {"garbage", false, 1.0},
                          {"1,999,", false, 1.0},        {"1", false, 1.0}};
    for (const Case& c : cases) {
        QWidget w;
        EXPECT_EQ(applyStoredTransparency(&w, c.text), c.applied) << c.text;
        EXPECT_NEAR(w.windowOpacity(), c.opacity, 1e-6) << c.text;
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
