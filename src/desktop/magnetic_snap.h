#pragma once
// The geometry of snapping windows, without a window system: a table of windows (by an opaque
// id), their rectangles and the work area, and what a move or a resize turns into. Rectangles
// have exclusive right and bottom edges (right = left + width), in screen pixels, so that two
// windows side by side share one edge value.

#include <QPoint>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace nq {

struct SnapRect {
    int left = 0, top = 0, right = 0, bottom = 0;
    int width() const { return right - left; }
    int height() const { return bottom - top; }
    SnapRect shifted(int dx, int dy) const { return {left + dx, top + dy, right + dx, bottom + dy}; }
    friend bool operator==(const SnapRect&, const SnapRect&) = default;
};

// Two rectangles that do not stand apart and share one edge line exactly.
[[nodiscard]] bool snapConnected(const SnapRect& a, const SnapRect& b);

// The edge or corner being dragged in a resize, numbered as the window system numbers them.
enum class SizingEdge { Left = 1, Right, Top, TopLeft, TopRight, Bottom, BottomLeft, BottomRight };

class MagneticSnap {
  public:
    using Id = std::uintptr_t;  // 0 is no window
    static constexpr int kDefaultSnapWidth = 10;

    int snapWidth = kDefaultSnapWidth;

    struct Entry {
        Id id = 0;
        Id parent = 0;
        bool glued = false;
    };

    // Appends a window; false when it already stands in the table.
    bool add(Id id, Id parent);
    // Closes the gap, clears it as a parent; false when it was not in the table.
    bool remove(Id id);
    int count() const { return static_cast<int>(entries_.size()) - 1; }
    const Entry& entry(int index) const { return entries_[index]; }
    // The rectangle last taken for an entry (entry 0: the work area).
    const SnapRect& rect(int index) const { return rects_[index]; }
    int indexOf(Id id) const;  // 0 when not in the table
    bool glued(Id id) const;

    // Recomputes the glued flags from the windows' present rectangles.
    void checkGlueing(const std::vector<SnapRect>& rects);

    // At the start of a move or resize: the work area and every window's rectangle (a zoomed
    // window reports the work area), index for index with the table; entry 0 is ignored.
    void enterSizeMove(Id moving, const SnapRect& workArea, const std::vector<SnapRect>& rects,
                       QPoint cursor);

    // The rectangle a resize really takes.
    [[nodiscard]] SnapRect sizing(Id id, const SnapRect& proposed, SizingEdge edge) const;

    // A move: where the cursor puts the window, snapped, and where each glued child goes.
    struct Moved {
        SnapRect window;
        std::vector<std::pair<Id, SnapRect>> children;
    };
    [[nodiscard]] Moved moving(Id id, const SnapRect& proposed, QPoint cursor);

  private:
    bool touchesInHeight(const SnapRect& r, const SnapRect& e) const;
    bool touchesInWidth(const SnapRect& r, const SnapRect& e) const;
    std::optional<int> snapOffset(int a, int b, const SnapRect& e, bool horizontal) const;
    void snapAgainst(const SnapRect& r, const SnapRect& e, int& dx, int& dy) const;

    std::vector<Entry> entries_{Entry{}};
    std::vector<SnapRect> rects_{SnapRect{}};
    QPoint dragStart_;
    QPoint previous_;
    QPoint grabOffset_;
};

}  // namespace nq
