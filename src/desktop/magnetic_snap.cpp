#include "desktop/magnetic_snap.h"

#include <algorithm>
#include <cstdlib>

namespace nq {

bool snapConnected(const SnapRect& a, const SnapRect& b) {
    const int unionWidth = std::max(a.right, b.right) - std::min(a.left, b.left);
    const int unionHeight = std::max(a.bottom, b.bottom) - std::min(a.top, b.top);
    if (unionWidth > a.width() + b.width() || unionHeight > a.height() + b.height()) return false;
    return a.left == b.left || a.left == b.right || a.right == b.left || a.right == b.right ||
           a.top == b.top || a.top == b.bottom || a.bottom == b.top || a.bottom == b.bottom;
}

bool MagneticSnap::add(Id id, Id parent) {
    if (id == 0 || indexOf(id) != 0) return false;
    entries_.push_back({id, parent, false});
    rects_.push_back({});
    return true;
}

bool MagneticSnap::remove(Id id) {
    const int at = indexOf(id);
    if (at == 0) return false;
    entries_.erase(entries_.begin() + at);
    rects_.erase(rects_.begin() + at);
    for (Entry& e : entries_)
        if (e.parent == id) e.parent = 0;
    return true;
}

int MagneticSnap::indexOf(Id id) const {
    for (int i = 1; i <= count(); ++i)
        if (entries_[i].id == id) return i;
    return 0;
}

bool MagneticSnap::glued(Id id) const {
    const int at = indexOf(id);
    return at != 0 && entries_[at].glued;
}

void MagneticSnap::checkGlueing(const std::vector<SnapRect>& rects) {
    for (int i = 1; i <= count(); ++i) {
        if (i < static_cast<int>(rects.size())) rects_[i] = rects[i];
        entries_[i].glued = false;
    }
    for (int i = 1; i <= count(); ++i) {
        Entry& e = entries_[i];
        // A parent outside the table stands at index 0: the window is tested against the work area.
        if (e.parent != 0) e.glued = snapConnected(rects_[i], rects_[indexOf(e.parent)]);
    }
    // Each round spreads the flag one link further along a chain of touching siblings.
    for (int round = 0; round < count(); ++round)
        for (int i = 1; i <= count(); ++i) {
            if (!entries_[i].glued) continue;
            for (int j = 1; j <= count(); ++j)
                if (j != i && !entries_[j].glued && entries_[j].parent == entries_[i].parent)
                    entries_[j].glued = snapConnected(rects_[i], rects_[j]);
        }
}

void MagneticSnap::enterSizeMove(Id moving, const SnapRect& workArea, const std::vector<SnapRect>& rects,
                                 QPoint cursor) {
    rects_[0] = workArea;
    for (int i = 1; i <= count() && i < static_cast<int>(rects.size()); ++i) rects_[i] = rects[i];
    const int at = indexOf(moving);
    dragStart_ = previous_ = cursor;
    if (at != 0) grabOffset_ = QPoint(rects_[at].left - cursor.x(), rects_[at].top - cursor.y());
}

bool MagneticSnap::touchesInHeight(const SnapRect& r, const SnapRect& e) const {
    return !(r.top >= e.bottom + snapWidth || r.bottom <= e.top - snapWidth);
}

bool MagneticSnap::touchesInWidth(const SnapRect& r, const SnapRect& e) const {
    return !(r.left >= e.right + snapWidth || r.right <= e.left - snapWidth);
}

SnapRect MagneticSnap::sizing(Id id, const SnapRect& proposed, SizingEdge edge) const {
    const int self = indexOf(id);
    const bool leftEdge =
        edge == SizingEdge::Left || edge == SizingEdge::TopLeft || edge == SizingEdge::BottomLeft;
    const bool rightEdge =
        edge == SizingEdge::Right || edge == SizingEdge::TopRight || edge == SizingEdge::BottomRight;
    const bool topEdge =
        edge == SizingEdge::Top || edge == SizingEdge::TopLeft || edge == SizingEdge::TopRight;
    const bool bottomEdge =
        edge == SizingEdge::Bottom || edge == SizingEdge::BottomLeft || edge == SizingEdge::BottomRight;
    const auto near = [this](int a, int b) { return std::abs(a - b) < snapWidth; };
    // Distances are measured from the first proposal; the gates see the rectangle as changed.
    SnapRect r = proposed;
    for (int i = 0; i <= count(); ++i) {
        if (i == self) continue;
        const SnapRect& e = rects_[i];
        if (touchesInHeight(r, e)) {
            if (leftEdge) {
                if (near(proposed.left, e.left))
                    r.left = e.left;
                else if (near(proposed.left, e.right))
                    r.left = e.right;
            }
            if (rightEdge) {
                if (near(proposed.right, e.left))
                    r.right = e.left;
                else if (near(proposed.right, e.right))
                    r.right = e.right;
            }
        }
        if (touchesInWidth(r, e)) {
            if (topEdge) {
                if (near(proposed.top, e.top))
                    r.top = e.top;
                else if (near(proposed.top, e.bottom))
                    r.top = e.bottom;
            }
            if (bottomEdge) {
                if (near(proposed.bottom, e.top))
                    r.bottom = e.top;
                else if (near(proposed.bottom, e.bottom))
                    r.bottom = e.bottom;
            }
        }
    }
    return r;
}

void MagneticSnap::snapAgainst(const SnapRect& r, const SnapRect& e, int& dx, int& dy) const {
    const auto first = [this](std::initializer_list<std::pair<int, int>> pairs, int& out) {
        for (const auto& [edge, line] : pairs)
            if (std::abs(edge - line) < snapWidth) {
                out = line - edge;
                return;
            }
    };
    if (touchesInHeight(r, e))
        first({{r.left, e.left}, {r.left, e.right}, {r.right, e.left}, {r.right, e.right}}, dx);
    if (touchesInWidth(r, e))
        first({{r.top, e.top}, {r.top, e.bottom}, {r.bottom, e.top}, {r.bottom, e.bottom}}, dy);
}

MagneticSnap::Moved MagneticSnap::moving(Id id, const SnapRect& proposed, QPoint cursor) {
    const int self = indexOf(id);
    // Where the cursor puts the window, so that a snapped window leaves as soon as the cursor
    // has gone far enough, not from where the last snap left it.
    const int left = cursor.x() + grabOffset_.x(), top = cursor.y() + grabOffset_.y();
    SnapRect r = {left, top, left + proposed.width(), top + proposed.height()};
    const auto gluedChild = [&](int i) { return entries_[i].glued && entries_[i].parent == id; };

    int dx = 0, dy = 0;
    for (int i = 0; i <= count(); ++i) {
        if (i == self || (i != 0 && gluedChild(i))) continue;
        snapAgainst(r, rects_[i], dx, dy);
    }
    // The glued children move too, so each of them may snap the group as a whole.
    const QPoint travel = cursor - dragStart_;
    for (int c = 1; c <= count(); ++c) {
        if (!gluedChild(c)) continue;
        const SnapRect copy = rects_[c].shifted(travel.x(), travel.y());
        for (int i = 0; i <= count(); ++i) {
            if (i == c || i == self || (i != 0 && entries_[i].glued)) continue;
            snapAgainst(copy, rects_[i], dx, dy);
        }
    }
    Moved out{r.shifted(dx, dy), {}};
    if (self != 0) {
        const int mx = out.window.left - rects_[self].left, my = out.window.top - rects_[self].top;
        for (int c = 1; c <= count(); ++c)
            if (gluedChild(c)) out.children.emplace_back(entries_[c].id, rects_[c].shifted(mx, my));
    }
    previous_ = cursor;
    return out;
}

}  // namespace nq
