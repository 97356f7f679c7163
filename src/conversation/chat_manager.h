#pragma once
// The conversation state of a session that is not a window's: the incoming queue with the
// handler leaves that fill it, the unread scan that blinks contacts and the tray while lines
// wait, the fetch of the next waiting line from the tray or the hotkey, and the halves of
// sending and receiving that need no widget (the checks, the body, the frame, the record).
// It lives beside the contact model, whose lists and tree it reads and blinks.
//
// The windows do the rest: a chat window's Timer1 calls takeFor and renders what it gets; its
// send button calls SndMsg with the plain text of its box and a callback that writes the line
// into its own pane. What only windows can do is asked of a ChatWindowDirectory.

#include <QObject>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "conversation/chat_mode.h"
#include "conversation/chat_window_directory.h"
#include "conversation/incoming_queue.h"
#include "conversation/message_body.h"
#include "wire/gbk.h"

namespace nq {

class Contacts;
class Session;

// A received line as the history pane shows it: the header is sender and time, the text takes
// the sender's look.
struct IncomingLine {
    Bytes sender;
    Bytes time;
    LineLook look;
    Bytes text;
};

// A line to send, as the window holds it after turning its box into plain text (faces as
// their tags) with the space it inserts at the caret.
struct OutgoingLine {
    std::optional<ChatMode> mode;  // none: shown and recorded, never sent
    Bytes lbFrd;                   // the conversation's name label
    LineLook look;
    Bytes text;
};

class ChatManager : public QObject {
    Q_OBJECT
  public:
    // A line of this many characters or more is refused.
    static constexpr int kMaxLineChars = 1000;
    // Tray pictures: TrayIconState of the tray.
    static constexpr int16_t kTrayDark = 0;
    static constexpr int16_t kTrayLoggedIn = 1;
    static constexpr int16_t kTrayNotice = 2;  // also the logged-out picture

    ChatManager(Session& session, Contacts& contacts, QObject* parent = nullptr);
    ~ChatManager() override;

    // The windows the logic may raise, flash and open; until one is set, none are open and
    // opening one does nothing.
    void setWindowDirectory(ChatWindowDirectory* directory);

    IncomingQueue incomingQueue;
    // The public room's name as the room list gave it; its lines are queued only while its
    // window is open.
    Bytes roomName;
    // The tray picture the scan last gave (TrayIconState).
    int16_t trayState = kTrayNotice;

    // ---- delivery ----
    // One event of Timer1 of the window whose name label reads lbFrd: the oldest line meant
    // for it, recorded and taken off the queue; nothing until the session's first line came.
    std::optional<IncomingLine> takeFor(const Bytes& lbFrd);
    // Whether takeFor would give the window whose name label reads lbFrd a line: the windows
    // that a newly queued line is not for stay asleep.
    [[nodiscard]] bool hasLineFor(const Bytes& lbFrd) const;
    // Appends the slot's record line to the chat record and returns the line to render.
    IncomingLine Revmsg(int slot);

    // ---- sending ----
    // Refuses a line of 1000 characters or more with a box (false; the box keeps its text).
    // Otherwise addTorevRtf writes the line into the window's pane, the body goes out when the
    // send gate is open, and the line goes to the record whether it went out or not.
    bool SndMsg(const OutgoingLine& line, const std::function<void()>& addTorevRtf);

    // ---- waiting lines ----
    // One pass of the unread scan; the session's tick runs it.
    void unreadScan();
    // The tray's left click: opens (or raises) the conversation of the next waiting line.
    // True when it raised a window that was already open.
    bool OpenNextPending();
    // The hotkey's copy: with nothing queued it leaves a main window at the top edge alone,
    // and a join request gets a window of its own captioned for the requester.
    bool openNextPendingByHotkey();

    // A friend whose row blinks for a waiting line; opening his conversation stops it.
    [[nodiscard]] bool blinking(const Bytes& friendName) const {
        return blinkingFriends_.count(friendName) > 0;
    }

    // revMsg.nq of the logged-in user.
    [[nodiscard]] std::string recordFile() const;

    // The leaf of a room's line (2,7) code 3; the room's other codes are the public room's.
    void onRoomLine();
    // The windows set, or a directory in which nothing is open and nothing opens.
    [[nodiscard]] ChatWindowDirectory& windowDirectory() { return windows(); }

  signals:
    // The tray icon is to show TrayIconState `state` (0, 1 or 2) now, even when unchanged.
    void trayIconRefresh(int state);
    // A line was queued: windows asleep may have something to take.
    void messageQueued();

  private:
    // ---- leaves (chat_leaves.cpp) ----
    void registerLeaves();
    void onChat();
    void onGroupChat();
    void onMemberChat();
    void onJoinRequest();
    [[nodiscard]] float kindOfSender(const Bytes& sender);
    void playMessageSound();

    // ---- scan and fetch (chat_pending.cpp) ----
    // The blink of one slot; false when the scan ends there.
    bool blinkSlot(const IncomingQueue::Slot& slot);
    bool flashOpenWindow();
    void setTray(int16_t state);
    void restoreSettledNodes();
    bool openNext(bool byHotkey);
    void settleFriendIcon(const Bytes& name);
    [[nodiscard]] std::vector<GroupMember> membersOf(const Bytes& group) const;

    [[nodiscard]] ChatWindowDirectory& windows();
    [[nodiscard]] Bytes userIniKey(std::string_view section, std::string_view key);

    Session& session_;
    Contacts& contacts_;
    ChatWindowDirectory* windows_ = nullptr;
    std::set<Bytes> blinkingFriends_;
    // Tree nodes blanked by the blink, by text, with the image each showed before.
    std::map<Bytes, int> blankedNodes_;
};

}  // namespace nq
