#pragma once
// What the conversation logic asks of the windows on the screen: which chat windows are open
// (they are told apart by caption alone), raising or flashing one, opening a new one, and the
// main window and the join-request window. The application implements it over its frmChat
// windows; tests record the calls. Captions and names are GBK bytes.

#include <optional>
#include <vector>

#include "conversation/chat_mode.h"
#include "wire/gbk.h"

namespace nq {

class RoomView;

struct OpenChat {
    Bytes caption;                 // "与x聊天中" or "在x聊天中"
    std::optional<ChatMode> mode;  // none for a window whose mode was never set
};

struct GroupMember {
    Bytes name;
    int icon = 0;  // the member's node image in the group tree
};

// A chat window to create and show.
struct NewChatWindow {
    std::optional<ChatMode> mode;  // none: the new window's mode stays unset
    Bytes caption;
    Bytes lbFrd;                       // the conversation's name label
    bool groupPanel = false;           // vlgFrame shown and on top
    std::vector<GroupMember> members;  // IList1's rows, for a group
    bool captionAsGiven = false;       // the title is `caption` itself, not made from mode and lbFrd
    bool focusSendBox = false;
};

class ChatWindowDirectory {
  public:
    virtual ~ChatWindowDirectory() = default;

    // Every open chat window, in the order the windows were opened.
    [[nodiscard]] virtual std::vector<OpenChat> openChats() const = 0;
    // FlashWindow(window, 1): the caption bar and task bar entry change colour once.
    virtual void flash(const Bytes& caption) = 0;
    // The window of that caption to the normal state and to the front.
    virtual void restore(const Bytes& caption) = 0;
    virtual void openChatWindow(const NewChatWindow& window) = 0;
    // The main window in the normal state, shown, with loginFrame behind; with
    // fixZeroTop a window whose top edge is 0 moves down to 10 twips first.
    virtual void showMainWindow(bool fixZeroTop) = 0;
    // frmCheck, which takes the next join request from the queue itself.
    virtual void showJoinRequests() = 0;
    // A further frmCheck with the given caption, shown.
    virtual void openJoinRequestWindow(const Bytes& caption) = 0;
    // The first open window of that caption in mode "MM", or null.
    [[nodiscard]] virtual RoomView* roomView(const Bytes& caption) = 0;
};

}  // namespace nq
