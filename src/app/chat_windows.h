#pragma once
// The open conversation windows of a session and what they share: the faces (one tag list for
// all windows, as a face inserted in one box and sent from another shows), the table of links
// in the history panes, and the way to the session, the contact model and the message queue.
// It is the window directory the conversation logic raises, flashes and opens windows through,
// and the opener the contact area's double clicks call.

#include <QObject>
#include <QPointer>
#include <QString>
#include <array>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "conversation/chat_window_directory.h"
#include "conversation/faces.h"
#include "conversation/file_request.h"
#include "conversation/message_body.h"

namespace nq {
class ChatManager;
class Contacts;
class GroupActions;
class ImageList;
class PublicRoom;
class Session;
}  // namespace nq

namespace nq::app {

class frmChat;
class frmCheck;
struct ChatRequest;

// A link found in a history pane: characters [start, end) and the address they spell.
struct LinkRecord {
    int start = 0;
    int end = 0;
    QString text;
};

class ChatWindows : public QObject, public ChatWindowDirectory {
    Q_OBJECT
  public:
    // Where links start; the last two with backslashes, as users of the portal type them.
    static const std::array<const char*, 5> kLinkPatterns;

    ChatWindows(Session& session, Contacts& contacts, ChatManager& chat, QObject* parent = nullptr);
    ~ChatWindows() override;

    Session& session() { return session_; }
    Contacts& contacts() { return contacts_; }
    ChatManager& chat() { return chat_; }
    Faces& faces() { return faces_; }
    [[nodiscard]] std::string assetFile(const std::string& relative) const;

    // The heads the member lists draw with; the main window's image list.
    void setHeads(const ImageList* heads) { heads_ = heads; }
    [[nodiscard]] const ImageList* heads() const { return heads_; }
    // The main window, for showMainWindow.
    void setMainWindow(QWidget* window, std::function<void(bool fixZeroTop)> show);

    // A double click in the contact area or a menu's 发送消息.
    void open(const ChatRequest& request);
    // A member of a group, from IList1 or 发送私人消息.
    frmChat* openMemberChat(const Bytes& member, int head);
    [[nodiscard]] frmChat* find(const Bytes& caption) const;
    [[nodiscard]] const std::vector<frmChat*>& windows() const { return windows_; }
    // Every window closes (logout, exit).
    void closeAll();

    // The links of every pane; opening any window forgets them all.
    std::vector<LinkRecord> linkTable;
    // The files asked for from every window, for the run of the program.
    FileRequests& fileRequests() { return fileRequests_; }
    // The send boxes' last font, size and colour: a new window's box starts with them.
    LineLook& boxLook() { return boxLook_; }

    // ---- what a window asks of the rest of the program ----
    // 山庄子项 for a member of a window's list.
    void setMemberMenu(std::function<void(const Bytes&)> show) { memberMenu_ = std::move(show); }
    void showMemberMenu(const Bytes& member);
    // A person's profile: name and how it names him (account or nick, as the request's codes).
    void setProfileOpener(std::function<void(const Bytes&, int)> show) { profileOpener_ = std::move(show); }
    void showProfile(const Bytes& name, int mode) {
        if (profileOpener_) profileOpener_(name, mode);
    }
    // The public room: a double click on its item joins it, and its window's close leaves it.
    void setPublicRoom(PublicRoom* room) { room_ = room; }
    void roomClosed(bool talkWasEnabled);
    // The group logic: the consent windows answer through it, a group's name label shows its card.
    void setGroupActions(GroupActions* groups) { groups_ = groups; }
    [[nodiscard]] GroupActions* groupActions() const { return groups_; }
    // The consent window the tray opens, while it is open.
    [[nodiscard]] frmCheck* joinRequestWindow() const;
    // A right click in a send box with no text on the clipboard empties it, so that nothing
    // but text is ever pasted.
    static void clearClipboardWithoutText();
    // Whether an input method is composing (Ctrl+Enter then leaves the caret alone).
    static bool inputMethodActive();

    // ---- ChatWindowDirectory ----
    [[nodiscard]] std::vector<OpenChat> openChats() const override;
    void flash(const Bytes& caption) override;
    void restore(const Bytes& caption) override;
    void openChatWindow(const NewChatWindow& window) override;
    void showMainWindow(bool fixZeroTop) override;
    void showJoinRequests() override;
    void openJoinRequestWindow(const Bytes& caption) override;
    RoomView* roomView(const Bytes& caption) override;

  signals:
    // A window was made and shown (tests and the record window follow it).
    void windowOpened(nq::app::frmChat* window);

  private:
    frmChat* create(std::optional<ChatMode> mode, const Bytes& name);
    void forget(frmChat* window);
    // An open group window's member list follows the group's node in the tree: members who come,
    // go or change presence after the window opened (the member roster often arrives later).
    void followGroupMembers();

    Session& session_;
    Contacts& contacts_;
    ChatManager& chat_;
    Faces faces_;
    FileRequests fileRequests_{session_};
    const ImageList* heads_ = nullptr;
    QPointer<QWidget> mainWindow_;
    std::function<void(bool)> showMain_;
    // Each leaves the list as it is destroyed. Plain pointers: a QPointer to a window being
    // destroyed would cast a mere QWidget back to frmChat.
    std::vector<frmChat*> windows_;
    LineLook boxLook_;
    std::function<void(const Bytes&)> memberMenu_;
    std::function<void(const Bytes&, int)> profileOpener_;
    GroupActions* groups_ = nullptr;
    PublicRoom* room_ = nullptr;
    QPointer<frmCheck> check_;
};

}  // namespace nq::app
