#pragma once
// What the public room's logic asks of the room's conversation window: its member rows (a plain
// item collection that the logic fills and the window's list paints), the lines of the system
// in its history pane, the talking controls that stay locked until the join is answered, the
// people one may address, and its close. The application's chat window implements it; tests
// record the calls. Names are GBK bytes.

#include <cstdint>

#include "contacts/item_list.h"
#include "wire/gbk.h"

namespace nq {

class RoomView {
  public:
    // Colours of the system's lines, red in the low byte: red, and the active caption colour
    // of the desktop, which the window looks up when it paints.
    static constexpr uint32_t kRed = 0x0000FF;
    static constexpr uint32_t kActiveTitle = 0x80000002;

    virtual ~RoomView() = default;

    // IList1's rows: the key is the name, the second line "客服" for the room's staff.
    virtual ItemList& members() = 0;
    // Before a batch of rows: the list takes the main window's heads, its row height and the
    // places of icon and caption again.
    virtual void prepareMemberRows() = 0;
    // One line at the end of the history pane in 宋体 10, no indent, then a line break.
    virtual void writeSystemLine(const Bytes& text, uint32_t color) = 0;
    // sndRtf unlocked, the toolbar lvButtons_H2(0..7) and comSend enabled, or all locked.
    virtual void setTalkEnabled(bool enabled) = 0;
    [[nodiscard]] virtual bool talkEnabled() const = 0;
    // A name (or "所有人") added to cbHallMem, once.
    virtual void addAddressee(const Bytes& name) = 0;
    virtual void closeView() = 0;
};

}  // namespace nq
