#include <gtest/gtest.h>

#include <QTest>

#include "widgets/contact_tree_view.h"

namespace nq {
namespace {

TEST(ContactTreeView, ArrowsAndDoubleClicksOpenGroupsAndClicksNameTheirNode) {
    NodeTree tree;
    const int g1 = tree.addRoot("G1", NodeTree::kGroupImage);
    const int a = tree.addChild(g1, "a", 3);
    const int b = tree.addChild(g1, "b", 25);
    const int g2 = tree.addRoot("G2", NodeTree::kGroupImage);
    tree.addChild(g2, "c", 4);
    ContactTreeView view;
    view.resize(200, 300);
    view.setModel(&tree);
    EXPECT_EQ(view.rows(), (std::vector<int>{g1, g2}));

    std::vector<std::pair<int, bool>> toggles;
    std::vector<int> rightClicks, doubleClicks;
    QObject::connect(&view, &ContactTreeView::expandToggled,
                     [&](int n, bool on) { toggles.emplace_back(n, on); });
    QObject::connect(&view, &ContactTreeView::nodeRightClicked,
                     [&](int n, QPoint) { rightClicks.push_back(n); });
    QObject::connect(&view, &ContactTreeView::nodeDoubleClicked, [&](int n) { doubleClicks.push_back(n); });

    const int row = ContactTreeView::kRowHeight;
    QTest::mouseClick(&view, Qt::LeftButton, {}, QPoint(60, row / 2));  // on the name: no toggle
    QTest::mouseClick(&view, Qt::LeftButton, {}, QPoint(8, row / 2));   // on the arrow
    EXPECT_TRUE(tree.expanded(g1));
    EXPECT_EQ(view.rows(), (std::vector<int>{g1, a, b, g2}));
    EXPECT_EQ(view.nodeAt(QPoint(100, row + 1)), a);
    EXPECT_EQ(view.nodeAt(QPoint(100, 4 * row + 1)), 0);

    QTest::mouseClick(&view, Qt::RightButton, {}, QPoint(100, 2 * row + 5));
    QTest::mouseClick(&view, Qt::RightButton, {}, QPoint(100, 5 * row));
    EXPECT_EQ(rightClicks, (std::vector<int>{b, 0}));
    EXPECT_EQ(view.selectedNode(), b);
    QTest::mouseDClick(&view, Qt::LeftButton, {}, QPoint(100, 3 * row + 5));
    EXPECT_EQ(doubleClicks, (std::vector<int>{g2}));
    EXPECT_EQ(toggles, (std::vector<std::pair<int, bool>>{{g1, true}, {g2, true}}));

    // A node removed before b renumbers it; the selection stays on b.
    tree.remove(a);
    tree.refresh();
    EXPECT_EQ(tree.text(view.selectedNode()), "b");
}

}  // namespace
}  // namespace nq
