#include <gtest/gtest.h>

#include <QImage>
#include <QPainter>
#include <QScrollBar>
#include <QTest>
#include <QTimer>

#include "widgets/i_list.h"
#include "widgets/image_list.h"

namespace nq {
namespace {

// Ten rows of 20 px on an 80 px surface: four fit, the scroll bar runs 0..6.
struct TenRows {
    TenRows() {
        list.resize(120, 80);
        list.setItemHeight(20);
        for (int i = 1; i <= 10; ++i) list.model().AddItem("row" + std::to_string(i), "", 1);
        list.Redraw();
    }
    void scrollTo(int value) { list.findChild<QScrollBar*>("Scroll")->setValue(value); }
    IList list;
};

TEST(IList, HitTestVisibilityAndScrollTo) {
    TenRows t;
    EXPECT_TRUE(t.list.scrollBarOn());
    t.scrollTo(2);
    const std::pair<int, int> hits[] = {{0, 3}, {19, 3}, {20, 4}, {79, 6}, {140, 10}, {160, 0}, {-1, 0}};
    for (auto [y, row] : hits) EXPECT_EQ(t.list.hitTest(y), row) << y;
    for (int p = 1; p <= 10; ++p) EXPECT_EQ(t.list.isVisible(p), p >= 3 && p <= 6) << p;

    // Position to the top while at least four rows start there, else the last four rows.
    const std::pair<int, int> scrolls[] = {{1, 0}, {6, 5}, {7, 6}, {10, 6}};
    for (auto [position, value] : scrolls) {
        t.list.ScrollTo(position);
        EXPECT_EQ(t.list.scrollValue(), value) << position;
    }
    t.list.model().setSelect(2);  // from the top, then only as far as needed
    EXPECT_EQ(t.list.scrollValue(), 0);
    t.list.resize(120, 200);
    t.list.Redraw();
    EXPECT_FALSE(t.list.scrollBarOn()) << "all ten fit";
    EXPECT_EQ(t.list.scrollValue(), 0);
}

TEST(IList, ArrowKeysMoveTheSelectionAndScrollAtTheEdges) {
    struct Case {
        int selected, value;
        Qt::Key key;
        int wantSelected, wantValue;
    };
    const Case cases[] = {
        {4, 2, Qt::Key_Up, 3, 2},    {3, 2, Qt::Key_Up, 2, 1},   {1, 0, Qt::Key_Up, 1, 0},
        {5, 2, Qt::Key_Down, 6, 2},  {6, 2, Qt::Key_Down, 7, 3}, {10, 6, Qt::Key_Down, 10, 6},
        {-1, 0, Qt::Key_Down, 1, 0}, {-1, 0, Qt::Key_Up, -1, 0},
    };
    for (const Case& c : cases) {
        TenRows t;
        t.list.setSelected(c.selected);
        t.scrollTo(c.value);
        int raised = 0;
        QObject::connect(&t.list, &IList::keyDown, [&] { ++raised; });
        QTest::keyClick(&t.list, c.key);
        EXPECT_EQ(t.list.Selected(), c.wantSelected) << c.selected << " key " << c.key;
        EXPECT_EQ(t.list.scrollValue(), c.wantValue) << c.selected << " key " << c.key;
        EXPECT_EQ(raised, 1);
    }
}

TEST(IList, PressSelectsAndADragPastTheEdgeScrollsRowByRowUntilTheEnd) {
    TenRows t;
    t.scrollTo(1);
    QTest::mousePress(&t.list, Qt::LeftButton, {}, QPoint(10, 25));
    EXPECT_EQ(t.list.Selected(), 3);
    QTest::mouseMove(&t.list, QPoint(10, 45));
    EXPECT_EQ(t.list.Selected(), 4);
    EXPECT_FALSE(t.list.dragScrolling());

    // Above the surface: each tick one row up, selection and scroll bar together, and the
    // timer stops by itself when nothing is left to move.
    QTest::mouseMove(&t.list, QPoint(10, -5));
    ASSERT_TRUE(t.list.dragScrolling());
    auto* timer = t.list.findChild<QTimer*>("Timer1");
    EXPECT_EQ(timer->interval(), IList::kDragScrollMs);
    const std::pair<int, int> ticks[] = {{3, 0}, {2, 0}, {1, 0}};
    for (auto [selected, value] : ticks) {
        QMetaObject::invokeMethod(timer, "timeout");
        EXPECT_EQ(t.list.Selected(), selected);
        EXPECT_EQ(t.list.scrollValue(), value);
    }
    EXPECT_TRUE(t.list.dragScrolling());
    QMetaObject::invokeMethod(timer, "timeout");
    EXPECT_FALSE(t.list.dragScrolling()) << "idle at the top";

    QTest::mouseMove(&t.list, QPoint(10, 100));
    EXPECT_TRUE(t.list.dragScrolling());
    QTest::mouseRelease(&t.list, Qt::LeftButton, {}, QPoint(10, 100));
    EXPECT_FALSE(t.list.dragScrolling());

    t.list.model().Clear();
    t.list.model().AddItem("only", "", 1);
    t.list.Redraw();
    QTest::mouseClick(&t.list, Qt::RightButton, {}, QPoint(10, 30));
    EXPECT_EQ(t.list.Selected(), ItemList::kSelectionCleared) << "a press below the last row";
}

// Highlight, then icon, then the marked icon at its own y, which reading Icon1PosY hides.
TEST(IList, PaintsTheHighlightUnderBothIconsAtTheirPositions) {
    QImage strip(16, 8, QImage::Format_ARGB32);
    strip.fill(Qt::red);
    QPainter(&strip).fillRect(8, 0, 8, 8, Qt::green);
    const ImageList icons{QPixmap::fromImage(strip)};
    IList list;
    list.resize(100, 40);
    list.setImageList(&icons);
    list.model().AddItem("", "", 1);
    list.model().SetIcon1(1, 2);
    list.SetPos(0, 0, 0, 0, 10, 20, 40, 4);
    EXPECT_EQ(list.Icon1PosY(), 4);
    EXPECT_EQ(list.Icon1PosX(), 40);
    list.setSelected(1);

    QImage out(list.size(), QImage::Format_RGB32);
    QPainter p(&out);
    list.paintRows(p);
    EXPECT_EQ(out.pixelColor(12, 6), QColor(Qt::red));
    EXPECT_EQ(out.pixelColor(42, 22), QColor(Qt::green));
    EXPECT_EQ(out.pixelColor(70, 15), QColor(167, 197, 237));
    EXPECT_EQ(out.pixelColor(70, 38), list.palette().color(QPalette::Base)) << "below the highlight";
}

}  // namespace
}  // namespace nq
