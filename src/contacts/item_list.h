#pragma once
// The rows behind one contact list (`MyList(i)`): caption, second line and icon per row,
// positions from 1, one marked position with a second icon, and the selection. A view paints
// this collection; the model only says when to repaint (Redraw) and what to bring into sight.
//
// Changes to rows show on the screen at the next Redraw, not before: callers that flash a row
// write its icon and then call Redraw, and some handlers deliberately leave a list unpainted.

#include <QObject>
#include <string_view>
#include <vector>

#include "wire/gbk.h"

namespace nq {

struct ListItem {
    Bytes Caption;  // the lookup key as well: lists keep the name the person is known by here
    Bytes Text;     // the second line
    int icon = 0;   // head picture index: 1..20 online, + 20 offline
};

class ItemList : public QObject {
    Q_OBJECT
  public:
    // Selected when nothing is: 0 before anything was ever selected, -1 once cleared.
    static constexpr int kNoneSelected = 0;
    static constexpr int kSelectionCleared = -1;

    explicit ItemList(QObject* parent = nullptr) : QObject(parent) {}

    [[nodiscard]] int count() const { return static_cast<int>(items_.size()); }
    // The row at a position; an empty row for a position that is not there.
    [[nodiscard]] const ListItem& Item(int position) const;
    // The first position holding caption, 0 when none does.
    [[nodiscard]] int find(std::string_view caption) const;

    void AddItem(Bytes caption, Bytes text, int icon);
    // Puts a row at position (1..count + 1) and moves the rest down. A list that had rows but
    // no selection selects row 1. False, and nothing changed, for a position outside.
    bool InSert(int position, Bytes caption, Bytes text, int icon);
    void Remove(int position);
    void Clear();

    void SetCaption(int position, Bytes caption);
    void SetText(int position, Bytes text);
    void SetIcon(int position, int icon);
    // Marks one position of the list with a second icon (0: no position marked).
    void SetIcon1(int position, int icon);
    [[nodiscard]] int icon1Position() const { return icon1Position_; }
    [[nodiscard]] int icon1() const { return icon1_; }

    [[nodiscard]] int Selected() const { return selected_; }
    void setSelected(int position) { selected_ = position; }
    // Selects a position, repaints, and asks the view to bring it into sight.
    void setSelect(int position);

    // Repaints: a list with rows and no selection ever made selects row 1 first.
    void Redraw();

  signals:
    void changed();
    // The view scrolls to row 1, then far enough that position is in sight.
    void scrollIntoView(int position);

  private:
    [[nodiscard]] bool has(int position) const { return position >= 1 && position <= count(); }

    std::vector<ListItem> items_;
    int selected_ = kNoneSelected;
    int icon1Position_ = 0;
    int icon1_ = 0;
};

}  // namespace nq
