#include "widgets/contact_tree_view.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QScrollBar>
#include <algorithm>

#include "widgets/i_list.h"
#include "widgets/image_list.h"
#include "wire/gbk.h"

namespace nq {
namespace {

constexpr int kLeft = 4;
constexpr int kIconGap = 6;  // between icon and text
constexpr int kRightGap = 6;
constexpr qreal kHighlightRadius = 5;
const QColor kArrow(0x6b, 0x72, 0x80);

QString toText(const Bytes& gbkText) {
    const std::string utf8 = gbk::toUtf8(gbkText);
    return QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size()));
}

}  // namespace

ContactTreeView::ContactTreeView(QWidget* parent)
    : QWidget(parent), scroll_(new QScrollBar(Qt::Vertical, this)) {
    scroll_->setVisible(false);
    scroll_->setFocusPolicy(Qt::NoFocus);
    connect(scroll_, &QScrollBar::valueChanged, this, [this] { update(); });
    setAttribute(Qt::WA_OpaquePaintEvent);
    setFocusPolicy(Qt::StrongFocus);
    connect(tree_, &NodeTree::changed, this, &ContactTreeView::relayout);
}

ContactTreeView::~ContactTreeView() = default;

void ContactTreeView::setModel(NodeTree* tree) {
    if (!tree) tree = &own_;
    if (tree == tree_) return;
    disconnect(tree_, nullptr, this, nullptr);
    tree_ = tree;
    hasSelection_ = false;
    connect(tree_, &NodeTree::changed, this, &ContactTreeView::relayout);
    relayout();
}

void ContactTreeView::setImageList(const ImageList* images) {
    images_ = images;
    update();
}

void ContactTreeView::setMarkedNodes(std::unordered_set<int> nodes, int markImage) {
    marked_ = std::move(nodes);
    markImage_ = markImage;
    update();
}

// Roots in index order, which is their order of creation; under an open node its children in
// display order.
void ContactTreeView::relayout() {
    rows_.clear();
    depths_.clear();
    for (int i = 1; i <= tree_->count(); ++i) {
        if (tree_->parent(i) == 0) addRows(i, 0);
    }
    fitScrollBar();
    update();
}

void ContactTreeView::addRows(int node, int depth) {
    rows_.push_back(node);
    depths_.push_back(depth);
    if (!tree_->expanded(node)) return;
    for (int child : tree_->children(node)) addRows(child, depth + 1);
}

int ContactTreeView::rowOf(int node) const {
    const auto it = std::find(rows_.begin(), rows_.end(), node);
    return it == rows_.end() ? -1 : static_cast<int>(it - rows_.begin());
}

int ContactTreeView::depthOf(int node) const {
    const int row = rowOf(node);
    return row < 0 ? 0 : depths_[static_cast<size_t>(row)];
}

int ContactTreeView::scrollValue() const {
    return scroll_->value();
}

int ContactTreeView::surfaceWidth() const {
    return scroll_->isVisibleTo(this) ? width() - scroll_->width() : width();
}

void ContactTreeView::fitScrollBar() {
    const int fit = height() / kRowHeight;
    const int max = static_cast<int>(rows_.size()) - fit;
    scroll_->setRange(0, std::max(0, max));
    scroll_->setPageStep(std::max(1, fit));
    scroll_->setVisible(max > 0);
}

int ContactTreeView::nodeAt(QPoint at) const {
    if (at.y() < 0 || at.x() < 0 || at.x() >= surfaceWidth()) return 0;
    const size_t row = static_cast<size_t>(at.y() / kRowHeight + scrollValue());
    return row < rows_.size() ? rows_[row] : 0;
}

QRect ContactTreeView::rowRect(int node) const {
    const int row = rowOf(node);
    if (row < 0) return {};
    return {0, (row - scrollValue()) * kRowHeight, surfaceWidth(), kRowHeight};
}

int ContactTreeView::selectedNode() const {
    if (!hasSelection_) return 0;
    for (int node : rows_) {
        if (tree_->text(node) == selectedText_ && tree_->text(tree_->parent(node)) == selectedParentText_)
            return node;
    }
    return 0;
}

void ContactTreeView::setSelectedNode(int node) {
    hasSelection_ = node >= 1 && node <= tree_->count();
    if (hasSelection_) {
        selectedText_ = tree_->text(node);
        selectedParentText_ = tree_->text(tree_->parent(node));
    }
    update();
}

void ContactTreeView::toggle(int node) {
    if (!tree_->hasChildren(node)) return;
    const bool open = !tree_->expanded(node);
    tree_->setExpanded(node, open);
    relayout();
    emit expandToggled(node, open);
}

bool ContactTreeView::onArrow(int node, QPoint at) const {
    const int x = kLeft + depthOf(node) * kIndent;
    return tree_->hasChildren(node) && at.x() >= x - 2 && at.x() < x + kArrowWidth + 2;
}

// ---- painting ----

void ContactTreeView::paintEvent(QPaintEvent*) {
    QPainter p(this);
    paintRows(p);
}

void ContactTreeView::paintRows(QPainter& painter) const {
    const int w = surfaceWidth();
    painter.fillRect(0, 0, w, height(), palette().color(QPalette::Base));
    painter.setRenderHint(QPainter::Antialiasing);
    const int first = scrollValue();
    const int last = std::min(static_cast<int>(rows_.size()), first + height() / kRowHeight + 1);
    const int selected = selectedNode();
    for (int row = first; row < last; ++row) drawRow(painter, row, w, selected);
}

// Highlight, arrow, image, text, mark.
void ContactTreeView::drawRow(QPainter& painter, int row, int width, int selected) const {
    const int node = rows_[static_cast<size_t>(row)];
    const int y = (row - scrollValue()) * kRowHeight;
    const int x = kLeft + depths_[static_cast<size_t>(row)] * kIndent;
    if (node == selected) {
        QPainterPath path;
        path.addRoundedRect(QRectF(2, y + 2, width - 7, kRowHeight - 3), kHighlightRadius, kHighlightRadius);
        painter.fillPath(path, QColor(IList::kHighlight));
    }
    if (tree_->hasChildren(node)) {
        const QPointF c(x + kArrowWidth / 2.0, y + kRowHeight / 2.0);
        QPolygonF arrow;
        if (tree_->expanded(node)) {
            arrow << QPointF(c.x() - 4.5, c.y() - 2.5) << QPointF(c.x() + 4.5, c.y() - 2.5)
                  << QPointF(c.x(), c.y() + 3);
        } else {
            arrow << QPointF(c.x() - 2.5, c.y() - 4.5) << QPointF(c.x() - 2.5, c.y() + 4.5)
                  << QPointF(c.x() + 3, c.y());
        }
        painter.setPen(Qt::NoPen);
        painter.setBrush(kArrow);
        painter.drawPolygon(arrow);
    }
    const int image = tree_->image(node);
    const int side = images_ ? images_->side() : 0;
    const int iconX = x + kArrowWidth;
    if (images_) images_->draw(painter, iconX, y + (kRowHeight - side) / 2, image);

    const bool marked = marked_.count(node) && image != markImage_ && images_;
    const int textX = iconX + side + kIconGap;
    const int textRight = width - kRightGap - (marked ? kMarkSide + kIconGap : 0);
    QFont f = font();
    f.setBold(tree_->hasChildren(node) || tree_->parent(node) == 0);
    painter.setFont(f);
    // One text colour for everybody, as in the lists: the picture tells who is online.
    painter.setPen(palette().color(QPalette::Text));
    const QFontMetrics fm(f);
    if (textRight > textX)
        painter.drawText(QRect(textX, y, textRight - textX, kRowHeight), Qt::AlignLeft | Qt::AlignVCenter,
                         fm.elidedText(toText(tree_->text(node)), Qt::ElideRight, textRight - textX));
    if (marked)
        images_->draw(painter, width - kRightGap - kMarkSide, y + (kRowHeight - kMarkSide) / 2, markImage_,
                      kMarkSide);
}

void ContactTreeView::resizeEvent(QResizeEvent*) {
    const int side = scroll_->sizeHint().width();
    scroll_->setGeometry(width() - side, 0, side, height());
    fitScrollBar();
}

// ---- mouse and keys ----

void ContactTreeView::mousePressEvent(QMouseEvent* event) {
    const QPoint at = event->position().toPoint();
    const int node = nodeAt(at);
    if (!node) return;
    setSelectedNode(node);
    if (event->button() == Qt::LeftButton && onArrow(node, at)) toggle(node);
}

void ContactTreeView::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::RightButton) return;
    const QPoint at = event->position().toPoint();
    emit nodeRightClicked(nodeAt(at), at);
}

// As in the tree controls users know, a double click opens or closes a group besides being
// reported.
void ContactTreeView::mouseDoubleClickEvent(QMouseEvent* event) {
    const QPoint at = event->position().toPoint();
    const int node = nodeAt(at);
    if (!node || event->button() != Qt::LeftButton) return;
    if (!onArrow(node, at)) toggle(node);
    emit nodeDoubleClicked(node);
}

void ContactTreeView::keyPressEvent(QKeyEvent* event) {
    const int node = selectedNode();
    const int row = rowOf(node);
    switch (event->key()) {
        case Qt::Key_Up:
        case Qt::Key_Down: {
            const int next = event->key() == Qt::Key_Up ? row - 1 : row + 1;
            if (row < 0 || next < 0 || next >= static_cast<int>(rows_.size())) break;
            setSelectedNode(rows_[static_cast<size_t>(next)]);
            const int fit = std::max(1, height() / kRowHeight);
            if (next < scrollValue()) scroll_->setValue(next);
            if (next >= scrollValue() + fit) scroll_->setValue(next - fit + 1);
            break;
        }
        case Qt::Key_Right:
            if (node && !tree_->expanded(node)) toggle(node);
            break;
        case Qt::Key_Left:
            if (node && tree_->expanded(node)) toggle(node);
            break;
        default:
            QWidget::keyPressEvent(event);
    }
}

void ContactTreeView::wheelEvent(QWheelEvent* event) {
    const int notches = event->angleDelta().y() / 120;
    if (notches == 0 || !scroll_->isVisibleTo(this)) {
        event->ignore();
        return;
    }
    scroll_->setValue(scrollValue() - notches * kWheelRows);
}

}  // namespace nq
