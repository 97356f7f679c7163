#include <gtest/gtest.h>

#include <QWidget>

#include "desktop/window_services.h"

namespace nq {
namespace {

double alphaOf(const QWidget& w) {
    return w.windowOpacity() * 255.0;
}

TEST(Transparency, AlphasFrom252UpAreFullyOpaque) {
    EXPECT_EQ(effectiveAlpha(0), 0);
    EXPECT_EQ(effectiveAlpha(205), 205);
    EXPECT_EQ(effectiveAlpha(251), 251);
    EXPECT_EQ(effectiveAlpha(252), 255);
    EXPECT_EQ(effectiveAlpha(253), 255);
    EXPECT_EQ(effectiveAlpha(254), 255);
    EXPECT_EQ(effectiveAlpha(255), 255);

    QWidget w;
    SetTransparency(&w, 253);  // a percentage of 1
    EXPECT_DOUBLE_EQ(w.windowOpacity(), 1.0);
    SetTransparency(&w, 79);  // the far end of the slider
    EXPECT_NEAR(alphaOf(w), 79.0, 1e-6);
    SetTransparency(&w, 251);
    EXPECT_NEAR(alphaOf(w), 251.0, 1e-6);
}

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
        if (c.alpha < 0) {
            EXPECT_FALSE(v.alpha.has_value()) << c.text;
        } else {
            ASSERT_TRUE(v.alpha.has_value()) << c.text;
            EXPECT_EQ(*v.alpha, c.alpha) << c.text;
        }
    }
}

TEST(TransValueText, OnlyAnEnabledUsableValueTouchesTheWindow) {
    QWidget w;
    EXPECT_TRUE(applyStoredTransparency(&w, "1,205,"));
    EXPECT_NEAR(alphaOf(w), 205.0, 1e-6);

    QWidget off;
    EXPECT_FALSE(applyStoredTransparency(&off, "0,100,"));
    EXPECT_DOUBLE_EQ(off.windowOpacity(), 1.0);
    EXPECT_FALSE(applyStoredTransparency(&off, "garbage"));
    EXPECT_FALSE(applyStoredTransparency(&off, "1,999,"));
    EXPECT_FALSE(applyStoredTransparency(&off, "1"));
    EXPECT_DOUBLE_EQ(off.windowOpacity(), 1.0);

    QWidget nearlyOpaque;
    EXPECT_TRUE(applyStoredTransparency(&nearlyOpaque, "1,253,"));
    EXPECT_DOUBLE_EQ(nearlyOpaque.windowOpacity(), 1.0);
}

TEST(TransValueText, WindowsReadTheStoredValueThroughTheInstalledReader) {
    QWidget w;
    setTransValueReader({});
    EXPECT_FALSE(applyStoredTransparency(&w));
    EXPECT_DOUBLE_EQ(w.windowOpacity(), 1.0);

    int reads = 0;
    setTransValueReader([&reads] {
        ++reads;
        return std::string("1,150,");
    });
    EXPECT_TRUE(applyStoredTransparency(&w));
    EXPECT_EQ(reads, 1);
    EXPECT_NEAR(alphaOf(w), 150.0, 1e-6);
    setTransValueReader({});
}

TEST(TopMost, TheHintFollowsTheFlagAndAVisibleWindowStaysWhereItWas) {
    QWidget w;
    w.setGeometry(100, 120, 200, 150);
    w.show();
    const QRect before = w.geometry();

    SetTopMost(&w, true);
    EXPECT_TRUE(w.windowFlags().testFlag(Qt::WindowStaysOnTopHint));
    EXPECT_TRUE(w.isVisible());
    EXPECT_EQ(w.geometry(), before);

    SetTopMost(&w, false);
    EXPECT_FALSE(w.windowFlags().testFlag(Qt::WindowStaysOnTopHint));
    EXPECT_TRUE(w.isVisible());
    EXPECT_EQ(w.geometry(), before);

    QWidget hidden;
    SetTopMost(&hidden, true);
    EXPECT_TRUE(hidden.windowFlags().testFlag(Qt::WindowStaysOnTopHint));
    EXPECT_FALSE(hidden.isVisible());
    SetTopMost(nullptr, true);  // no window, nothing to do
}

}  // namespace
}  // namespace nq
