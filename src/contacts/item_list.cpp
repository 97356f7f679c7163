#include "contacts/item_list.h"

namespace nq {

const ListItem& ItemList::Item(int position) const {
    static const ListItem kNone;
    return has(position) ? items_[static_cast<size_t>(position - 1)] : kNone;
}

int ItemList::find(std::string_view caption) const {
    for (size_t i = 0; i < items_.size(); ++i) {
        if (items_[i].Caption == caption) return static_cast<int>(i + 1);
    }
    return 0;
}

void ItemList::AddItem(Bytes caption, Bytes text, int icon) {
    items_.push_back({std::move(caption), std::move(text), icon});
}

bool ItemList::InSert(int position, Bytes caption, Bytes text, int icon) {
    if (position < 1 || position > count() + 1) return false;
    if (selected_ == kNoneSelected && count() > 0) selected_ = 1;
    items_.insert(items_.begin() + (position - 1), ListItem{std::move(caption), std::move(text), icon});
    return true;
}

void ItemList::Remove(int position) {
    if (has(position)) items_.erase(items_.begin() + (position - 1));
}

void ItemList::Clear() {
    items_.clear();
    selected_ = kNoneSelected;
    icon1Position_ = icon1_ = 0;
}

void ItemList::SetCaption(int position, Bytes caption) {
    if (has(position)) items_[static_cast<size_t>(position - 1)].Caption = std::move(caption);
}
void ItemList::SetText(int position, Bytes text) {
    if (has(position)) items_[static_cast<size_t>(position - 1)].Text = std::move(text);
}
void ItemList::SetIcon(int position, int icon) {
    if (has(position)) items_[static_cast<size_t>(position - 1)].icon = icon;
}

void ItemList::SetIcon1(int position, int icon) {
    icon1Position_ = position;
    icon1_ = icon;
}

void ItemList::setSelect(int position) {
    selected_ = position;
    Redraw();
    emit scrollIntoView(position);
}

void ItemList::Redraw() {
    if (selected_ == kNoneSelected && count() > 0) selected_ = 1;
    emit changed();
}

}  // namespace nq
