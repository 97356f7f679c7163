#include <gtest/gtest.h>

#include <QMouseEvent>
#include <QTest>

#include "widgets/xp_container.h"

namespace nq {
namespace {

struct PressCounter : QWidget {
    void mousePressEvent(QMouseEvent*) override { ++presses; }
    int presses = 0;
};

TEST(XPContainer, APressReachesTheParentUnlessThePanelDragsTheWindow) {
    PressCounter window;
    window.setGeometry(100, 100, 200, 150);
    auto* panel = new XPContainer(&window);
    panel->setGeometry(0, 0, 200, 150);
    window.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
    QTest::mouseClick(panel, Qt::LeftButton, {}, QPoint(10, 10));
    EXPECT_EQ(window.presses, 1);

    // Offscreen there is no window manager's move: the panel moves the window by the cursor.
    panel->setDragsWindow(true);
    const QPoint before = window.pos();
    QTest::mousePress(panel, Qt::LeftButton, {}, QPoint(10, 10));
    QTest::mouseMove(panel, QPoint(30, 25));
    QTest::mouseRelease(panel, Qt::LeftButton, {}, QPoint(30, 25));
    EXPECT_EQ(window.pos() - before, QPoint(20, 15));
    EXPECT_EQ(window.presses, 1);
}

}  // namespace
}  // namespace nq
