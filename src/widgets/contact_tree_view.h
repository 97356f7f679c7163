#pragma once
// The group tree on screen: a painted view of a NodeTree, which it reads live at each paint and
// lays out again on changed(). Group nodes carry an arrow that opens and closes them; every
// node shows its image from the image list and its text; members that a window marks (a
// group's creator) carry the mark at the right of their row.
//
// The view keeps no copy of the tree: only the order of the rows that show, rebuilt from the
// model, and the selected node, held by its text and its parent's text because presence moves
// renumber nodes.

#include <QColor>
#include <QPoint>
#include <QWidget>
#include <unordered_set>
#include <vector>

#include "contacts/node_tree.h"

class QScrollBar;

namespace nq {

class ImageList;

class ContactTreeView : public QWidget {
    Q_OBJECT
  public:
    static constexpr int kRowHeight = 36;
    static constexpr int kIndent = 20;  // per level, in pixels
    static constexpr int kArrowWidth = 14;
    static constexpr int kMarkSide = 20;
    static constexpr int kWheelRows = 3;

    explicit ContactTreeView(QWidget* parent = nullptr);
    ~ContactTreeView() override;

    void setModel(NodeTree* tree);
    [[nodiscard]] NodeTree* model() const { return tree_; }
    void setImageList(const ImageList* images);
    // Nodes painted with the mark image at the right of their row.
    void setMarkedNodes(std::unordered_set<int> nodes, int markImage);
    [[nodiscard]] const std::unordered_set<int>& markedNodes() const { return marked_; }

    // The node of each row shown, top to bottom.
    [[nodiscard]] const std::vector<int>& rows() const { return rows_; }
    // The node under a point of the view, 0 for none.
    [[nodiscard]] int nodeAt(QPoint at) const;
    // Where the row of a node shows, in view pixels; empty when it does not show.
    [[nodiscard]] QRect rowRect(int node) const;
    [[nodiscard]] int selectedNode() const;
    void setSelectedNode(int node);
    // Opens or closes a node with children as a click on its arrow does.
    void toggle(int node);
    [[nodiscard]] int scrollValue() const;

    void paintRows(QPainter& painter) const;

  signals:
    // A node was opened or closed; the model holds the new state already.
    void expandToggled(int node, bool expanded);
    // Released over a node (0: over no node).
    void nodeRightClicked(int node, QPoint at);
    void nodeDoubleClicked(int node);

  protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

  private:
    void relayout();
    void fitScrollBar();
    void addRows(int node, int depth);
    int depthOf(int node) const;
    int rowOf(int node) const;
    int surfaceWidth() const;
    bool onArrow(int node, QPoint at) const;
    void drawRow(QPainter& painter, int row, int width, int selected) const;

    NodeTree own_;
    NodeTree* tree_ = &own_;
    const ImageList* images_ = nullptr;
    QScrollBar* scroll_;
    std::vector<int> rows_;
    std::vector<int> depths_;
    std::unordered_set<int> marked_;
    int markImage_ = 0;
    Bytes selectedText_, selectedParentText_;
    bool hasSelection_ = false;
};

}  // namespace nq
