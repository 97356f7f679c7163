#pragma once
// The public room of a session: the room list (3,11) that names it and its customer-service
// staff and puts it into MyList(3), the join from a double click on that item, the room frames
// (2,7) that come back (somebody came in, the join failed, somebody left, the member list),
// and the leave when the room's window closes. Lines said in the room are the chat manager's
// (its incoming queue); the member rows and the history pane belong to the room's window,
// which the logic reaches through the window directory as a RoomView.

#include <QObject>
#include <vector>

#include "wire/gbk.h"

namespace nq {

class ChatManager;
class Contacts;
class RoomView;
class Session;

class PublicRoom : public QObject {
    Q_OBJECT
  public:
    // Pictures of the main window's image list: the room's item, staff present and gone.
    static constexpr int kRoomIcon = 13;
    static constexpr int kStaffHere = 4;
    static constexpr int kStaffGone = 5;
    // The room's frames name people by account only; the rows of people show this head.
    static constexpr int kPersonHead = 2;

    PublicRoom(Session& session, Contacts& contacts, ChatManager& chat, QObject* parent = nullptr);

    [[nodiscard]] const Bytes& roomName() const;
    [[nodiscard]] const std::vector<Bytes>& roomStaff() const { return roomStaff_; }
    // The fields of the room list less one: how many staff it named.
    [[nodiscard]] int staffCount() const { return staffCount_; }
    // Set by the user's own entry, cleared by the leave and by the window's close.
    [[nodiscard]] bool joined() const { return joined_; }

    // A double click on the room's item: the room's window opens locked, saying that it
    // connects, and the entry frame goes out. An open window is brought up instead.
    void join(const Bytes& name);
    // The room's window closes: a window whose talking controls were enabled leaves the room.
    void windowClosed(bool talkWasEnabled);

  private:
    void onRoomList();
    void onRoomFrame();
    void entered(RoomView& view, const Bytes& name);
    void left(RoomView& view, const Bytes& name);
    void memberList(RoomView& view);
    [[nodiscard]] bool isStaff(const Bytes& name) const;

    Session& session_;
    Contacts& contacts_;
    ChatManager& chat_;
    std::vector<Bytes> roomStaff_;
    int staffCount_ = 0;
    bool joined_ = false;
};

}  // namespace nq
