#pragma once
// What the user does in the contact area: the right-click rules that pick a popup, the double
// clicks that open a conversation, the popups' items, quick find and its search mode, and the
// group tree's opening and closing. The frame (main_frame.h) paints; the model (Contacts)
// holds the people and the rules that move them; this joins the two.
//
// Conversation windows come with their own subsystem: until one is attached, a double click
// does everything up to the new window (icons, the search for an open one) and stops there.

#include <QObject>
#include <QPoint>
#include <QString>
#include <functional>
#include <string>

#include "app/main_menus.h"
#include "wire/gbk.h"

class QMenu;

namespace nq {
class Contacts;
class Session;
}  // namespace nq

namespace nq::app {

class MainFrame;

// A conversation to open: what a new chat window needs to know.
struct ChatRequest {
    std::string chatMode;  // "PTP" one to one, "OTM" a group, "TUN" a group's member, "MM" a room
    Bytes name;            // the person, group or room
    QString caption;       // "与" or "在" + name + "聊天中"
    int head = 0;          // head picture index (1..20) for the window
    int list = -1;         // MyList the request came from, -1 for none
    int node = 0;          // MyTree node it came from, 0 for none
};

class ContactArea : public QObject {
    Q_OBJECT
  public:
    // A click counts as on a list's item only left of this x (the head's column).
    static constexpr int kItemColumnWidth = 50;
    static constexpr int kStrangerIcon = 2;
    static constexpr int kRoomIcon = 13;

    ContactArea(Session& session, Contacts& contacts, MainFrame& frame, const ContactMenus& menus,
                QObject* parent = nullptr);

    void setChatOpener(std::function<void(const ChatRequest&)> open) { openChat_ = std::move(open); }

    // The popup a release of button at `at` on MyList(list) opens, or null for none.
    [[nodiscard]] QMenu* listMenu(int list, QPoint at, Qt::MouseButton button) const;
    // The popup for a right click on a tree node (0: none under the mouse), or null.
    [[nodiscard]] QMenu* treeMenu(int node);
    // 山庄子项 for a member right-clicked in a conversation window's member list: its items then
    // act on that member (his node in the tree, when he has one).
    [[nodiscard]] QMenu* memberMenu(const Bytes& member);

    void listDoubleClicked(int list);
    void treeDoubleClicked(int node);
    // 发送私人消息: a member's conversation, not through the tree.
    void privateMessage(const Bytes& member);
    // The member of the last right click in the tree or a member list, by name.
    [[nodiscard]] const Bytes& rightClickedMemberName() const { return memberText_; }

    // The caption of a conversation with name: "与"/"在" + name + "聊天中".
    static QString chatCaption(const char* prefix, const Bytes& name);
    // Shows and raises an open window captioned for name either way; false when none is open.
    static bool raiseChatWindow(const Bytes& name);

  private:
    void connectLists();
    void connectTree();
    void connectMenus();
    void connectFind();
    void scheduleMarks();
    void markCreators();
    void openChat(const ChatRequest& request);
    int rightClickedMember() const;

    Session& session_;
    Contacts& contacts_;
    MainFrame& frame_;
    ContactMenus menus_;
    std::function<void(const ChatRequest&)> openChat_;
    int groupNode_ = 0;  // the group node of the last right click
    int memberNode_ = 0;
    Bytes memberText_;  // the member of the last right click, by name
    bool marksDue_ = false;
};

}  // namespace nq::app
