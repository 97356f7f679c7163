#include <gtest/gtest.h>

#include <QWidget>

#include "desktop/auto_hide_model.h"
#include "desktop/magnetic_snap.h"
#include "desktop/mod_autosize.h"

namespace nq {
namespace {

// A 400x300 design window with one control at (10,20) 100x50, resized through a table of sizes.
TEST(Autosize, EachTagKeepsItsDistancesToTheRightAndBottomEdges) {
    struct Case {
        const char* tag;
        QSize present;
        AutosizeAxis axis;
        QRect want;
    };
    const Case cases[] = {
        {"STRETCHH", {500, 300}, AutosizeAxis::Both, {10, 20, 200, 50}},
        {"STRETCHV", {400, 350}, AutosizeAxis::Both, {10, 20, 100, 100}},
        {"STRETCHALL", {450, 280}, AutosizeAxis::Both, {10, 20, 150, 30}},
        {"MOVEH", {500, 300}, AutosizeAxis::Both, {110, 20, 100, 50}},
        {"MOVEV", {400, 400}, AutosizeAxis::Both, {10, 120, 100, 50}},
        {"MOVEALL", {500, 400}, AutosizeAxis::Horizontal, {110, 20, 100, 50}},
        {"MOVEALL", {500, 400}, AutosizeAxis::Vertical, {10, 120, 100, 50}},
        {"STRETCHVMOVEH", {420, 310}, AutosizeAxis::Both, {30, 20, 100, 60}},
        {"STRETCHHMOVEV", {420, 310}, AutosizeAxis::Both, {10, 30, 120, 50}},
        {"STRETCHH", {250, 300}, AutosizeAxis::Both, {10, 20, -50, 50}},
        {"stretchall", {500, 400}, AutosizeAxis::Both, {10, 20, 100, 50}},
        {"STRETCHALL", {400, 300}, AutosizeAxis::Both, {10, 20, 100, 50}},
    };
    for (const Case& c : cases)
        EXPECT_EQ(autosizeRect({10, 20, 100, 50}, autosizeRule(c.tag), {400, 300}, c.present, c.axis), c.want)
            << c.tag << " " << c.present.width() << "x" << c.present.height();
}

TEST(Autosize, RecordsTaggedControlsAtTheFirstCallAndSkipsARefusedWidth) {
    QWidget window;
    window.resize(400, 300);
    auto* pane = new QWidget(&window);
    pane->setGeometry(10, 20, 100, 50);
    pane->setProperty("Tag", "STRETCHALL");
    auto* plain = new QWidget(&window);
    plain->setGeometry(5, 5, 10, 10);
    AutosizeRecords table;
    AutosizeControls(table, &window);
    ASSERT_EQ(table.records.size(), 1u);
    window.resize(500, 330);
    AutosizeControls(table, &window);
    EXPECT_EQ(pane->geometry(), QRect(10, 20, 200, 80));
    EXPECT_EQ(plain->geometry(), QRect(5, 5, 10, 10));
    window.resize(250, 340);
    AutosizeControls(table, &window);
    EXPECT_EQ(pane->geometry(), QRect(10, 20, 200, 90));  // width -50 refused, height taken
}

// DeskToolbar1's values: 2 pixels seen, 5500 pixels a second, a step every 10 ms (55 pixels).
AutoHideModel deskToolbar() {
    AutoHideModel m({2, 5500, 10, true, 1, true});
    m.setScreen({0, 0, 1280, 800});
    return m;
}

TEST(AutoHide, FinalPlacesByEdge) {
    struct Case {
        int where;
        bool open;
        QPoint want;
    };
    const Case cases[] = {{1, true, {100, -1}},  {1, false, {100, -498}}, {3, true, {-1, -50}},
                          {3, false, {-298, -50}}, {2, true, {100, 301}},  {2, false, {100, 798}},
                          {4, true, {981, -50}},  {4, false, {1278, -50}}};
    for (const Case& c : cases) {
        AutoHideModel m({2, 5500, 10, true, c.where, false});
        m.setScreen({0, 0, 1280, 800});
        const QRect frame(100, -50, 300, 500);
        EXPECT_EQ(m.setOpen(c.open, frame).value_or(m.finalPosition(frame)), c.want) << c.where << c.open;
    }
}

// Runs animation ticks on a window of 300x500 until the slide ends; the tops it passes through.
std::vector<int> slide(AutoHideModel& m, QRect frame, bool maximized = false) {
    std::vector<int> tops;
    for (int i = 0; i < 30 && m.animationRunning(); ++i) {
        if (auto at = m.animationTick({frame, false, maximized})) frame.moveTopLeft(*at);
        tops.push_back(frame.top());
    }
    return tops;
}

TEST(AutoHide, HidesAboveTheTopEdgeOnlyAndComesOutInOneJumpUnderTheMouse) {
    AutoHideModel m = deskToolbar();
    QRect frame(100, -1, 300, 500);
    m.hoverCheck({frame}, {150, 100});  // in: opened
    slide(m, frame);
    m.hoverCheck({frame}, {150, 600});  // out: the hiding slide
    const std::vector<int> hiding = slide(m, frame);
    const std::vector<int> wantHiding = {-56, -111, -166, -221, -276, -331, -386, -441, -496, -498};
    EXPECT_EQ(hiding, wantHiding);
    EXPECT_TRUE(m.hoverRunning());

    // Under the mouse the window waits for the final jump, unless it hangs further up than
    // 4000 twips (266 pixels): that forgets the mouse and the window slides out.
    frame.moveTop(-498);
    m.hoverCheck({frame}, {150, 1});  // the two pixels left on screen
    const std::vector<int> tallOut = {-498, -443, -388, -333, -278, -223, -168, -113, -58, -1};
    EXPECT_EQ(slide(m, frame), tallOut);
    AutoHideModel s = deskToolbar();
    const QRect shortFrame(100, -198, 300, 200);
    s.hoverCheck({shortFrame}, {150, 1});
    EXPECT_EQ(slide(s, shortFrame), (std::vector<int>{-198, -198, -198, -1}));

    // Dragged down to the screen, or maximised: the slide never moves it.
    for (const auto& [top, maximized] : {std::pair{0, false}, std::pair{-1, true}}) {
        AutoHideModel k = deskToolbar();
        const QRect at(100, top, 300, 500);
        k.hoverCheck({at}, {150, 100});
        k.hoverCheck({at}, {150, 700});
        EXPECT_EQ(slide(k, at, maximized).back(), top);
        EXPECT_TRUE(k.animationRunning());
    }
}

TEST(AutoHide, WithoutAnimationJumpsAndRunsNoTimer) {
    AutoHideModel m({2, 5500, 10, true, 1, false});
    EXPECT_EQ(m.hoverCheck({{100, -498, 300, 500}}, {150, 1}), QPoint(100, -1));
    EXPECT_EQ(m.hoverCheck({{100, -1, 300, 500}}, {0, 700}), QPoint(100, -498));
    EXPECT_FALSE(m.animationRunning());
    EXPECT_EQ(m.hoverCheck({{100, -498, 300, 500}, true}, {150, 1}), std::nullopt);  // minimised
}

TEST(MagneticSnap, ConnectedOnlyWhenTouchingAndSharingALine) {
    const SnapRect a{100, 100, 300, 200};
    const std::pair<SnapRect, bool> cases[] = {
        {{100, 200, 300, 300}, true},  {{300, 150, 400, 250}, true}, {{301, 100, 400, 200}, false},
        {{101, 201, 299, 300}, false}, {{500, 100, 600, 200}, false}, {{150, 120, 250, 180}, false},
    };
    for (const auto& [b, want] : cases) EXPECT_EQ(snapConnected(a, b), want) << b.left << "," << b.top;
}

TEST(MagneticSnap, MovingSnapsStrictlyWithinTheWidthAndCarriesTheGluedChild) {
    const SnapRect work{0, 0, 1280, 770};
    struct Case {
        int left, top;
        QPoint want;
    };
    const Case cases[] = {{9, 300, {0, 300}},     {10, 300, {10, 300}},   {-9, 300, {0, 300}},
                          {1089, 300, {1080, 300}}, {300, 8, {300, 0}},     {300, 679, {300, 670}}};
    for (const Case& c : cases) {
        MagneticSnap s;
        ASSERT_TRUE(s.add(1, 0));
        EXPECT_FALSE(s.add(1, 0));
        s.enterSizeMove(1, work, {{}, {500, 500, 700, 600}}, {510, 510});
        const SnapRect r = s.moving(1, {500, 500, 700, 600}, {c.left + 10, c.top + 10}).window;
        EXPECT_EQ(QPoint(r.left, r.top), c.want) << c.left << "," << c.top;
        EXPECT_EQ(r.width(), 200);
    }

    MagneticSnap s;
    s.add(1, 0);
    s.add(2, 1);
    const std::vector<SnapRect> rects = {{}, {100, 100, 500, 400}, {100, 400, 500, 600}};
    s.checkGlueing(rects);
    ASSERT_TRUE(s.glued(2));
    s.enterSizeMove(1, work, rects, {200, 110});
    EXPECT_EQ(s.moving(1, rects[1], {203, 112}).window.left, 103);  // its own child is no magnet
    const MagneticSnap::Moved m = s.moving(1, rects[1], {250, 140});
    ASSERT_EQ(m.children.size(), 1u);
    EXPECT_EQ(m.children[0].second, (SnapRect{150, 430, 550, 630}));
    // The child dragged alone carries nothing, and one pixel off its parent it comes unglued.
    s.enterSizeMove(2, work, rects, {200, 410});
    EXPECT_TRUE(s.moving(2, rects[2], {203, 415}).children.empty());
    s.checkGlueing({{}, rects[1], {103, 405, 503, 605}});
    EXPECT_FALSE(s.glued(2));
    EXPECT_TRUE(s.remove(1));
    EXPECT_EQ(s.entry(1).parent, 0u);
}

TEST(MagneticSnap, SizingFromACornerSnapsBothEdges) {
    MagneticSnap s;
    s.add(1, 0);
    s.enterSizeMove(1, {0, 0, 1280, 770}, {{}, {100, 100, 300, 300}}, {});
    EXPECT_EQ(s.sizing(1, {5, 4, 300, 300}, SizingEdge::TopLeft), (SnapRect{0, 0, 300, 300}));
    EXPECT_EQ(s.sizing(1, {5, 4, 300, 300}, SizingEdge::Left), (SnapRect{0, 4, 300, 300}));
    EXPECT_EQ(s.sizing(1, {100, 100, 1270, 761}, SizingEdge::BottomRight), (SnapRect{100, 100, 1270, 770}));
}

}  // namespace
}  // namespace nq
