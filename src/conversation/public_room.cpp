#include "conversation/public_room.h"

#include <algorithm>

#include "contacts/contacts.h"
#include "conversation/chat_manager.h"
#include "conversation/room_view.h"
#include "session/session.h"
#include "wire/fields.h"

namespace nq {
namespace {

Bytes g(const char* utf8) {
    return gbk::fromUtf8(utf8);
}

// The body split at every NUL, less the empty element behind the closing one.
std::vector<Bytes> names(const Bytes& body) {
    std::vector<Bytes> out;
    for (std::string_view f : splitAll(body)) out.emplace_back(f);
    if (!out.empty() && out.back().empty()) out.pop_back();
    return out;
}

}  // namespace

PublicRoom::PublicRoom(Session& session, Contacts& contacts, ChatManager& chat, QObject* parent)
    : QObject(parent), session_(session), contacts_(contacts), chat_(chat) {
    session_.handlers.on(kind::kRoomList, [this](Session&) { onRoomList(); });
    // Replaces the chat manager's leaf of the family, whose lines it hands back.
    session_.handlers.on(kind::kRoom, [this](Session&) { onRoomFrame(); });
    connect(&session_, &Session::publicRoomQuery, this, [this](YesNoQuery* query) {
        if (joined_) query->answerYes();
    });
}

const Bytes& PublicRoom::roomName() const {
    return chat_.roomName;
}

bool PublicRoom::isStaff(const Bytes& name) const {
    return std::find(roomStaff_.begin(), roomStaff_.end(), name) != roomStaff_.end();
}

// A second list replaces the first: one room at a time.
void PublicRoom::onRoomList() {
    if (session_.wire.head.Code != code::kRoomListed) return;
    std::vector<Bytes> fields = names(session_.wire.msgBody);
    staffCount_ = static_cast<int>(fields.size()) - 1;
    chat_.roomName = fields.empty() ? Bytes() : fields.front();
    roomStaff_.assign(fields.size() > 1 ? fields.begin() + 1 : fields.end(), fields.end());
    ItemList& rooms = contacts_.MyList(Contacts::kRooms);
    rooms.Clear();
    rooms.AddItem(chat_.roomName, {}, kRoomIcon);
    rooms.Redraw();
}

void PublicRoom::join(const Bytes& name) {
    ChatWindowDirectory& windows = chat_.windowDirectory();
    const Bytes caption = groupCaption(name);
    if (windows.roomView(caption)) {
        windows.restore(caption);
        return;
    }
    windows.openChatWindow({ChatMode::MM, caption, name, true, {}});
    session_.queueFrame(kind::kRoom, code::kRoomEnter, session_.ownNameBody());
    if (RoomView* view = windows.roomView(caption)) {
        view->writeSystemLine(g("正在连接服务器，请稍侯。。。"), RoomView::kRed);
        view->setTalkEnabled(false);
    }
}

// A window that never got its entry sends nothing: its send button was never enabled.
void PublicRoom::windowClosed(bool talkWasEnabled) {
    if (talkWasEnabled) session_.queueFrame(kind::kRoom, code::kRoomLeave, session_.ownNameBody());
    joined_ = false;
}

// Frames for a room whose window is not open are dropped, lines included.
void PublicRoom::onRoomFrame() {
    const auto frameCode = static_cast<uint16_t>(session_.wire.head.Code);
    if (frameCode == code::kRoomLine) return chat_.onRoomLine();
    RoomView* view = chat_.windowDirectory().roomView(groupCaption(chat_.roomName));
    if (!view) return;
    if (frameCode == code::kRoomMembers) return memberList(*view);
    const Bytes name = cutField(session_.wire.msgBody).value_or(Bytes());
    if (frameCode == code::kRoomEntered) return entered(*view, name);
    if (frameCode == code::kRoomLeave) return left(*view, name);
    if (frameCode != code::kRoomEntryFailed) return;
    session_.services().messageBox("连接" + gbk::toUtf8(chat_.roomName) + "失败！", "珀岚聊天工具提示",
                                   BoxButtons::Ok, BoxIcon::Information);
    view->closeView();
}

void PublicRoom::entered(RoomView& view, const Bytes& name) {
    ItemList& rows = view.members();
    if (name != session_.myName) {
        view.writeSystemLine(g("【系统消息】：") + name + g("进来了！"), RoomView::kActiveTitle);
        if (isStaff(name))
            rows.SetIcon(rows.find(name), kStaffHere);
        else if (!rows.find(name))
            rows.AddItem(name, {}, kPersonHead);
        rows.Redraw();
        return;
    }
    // The user's own entry: the staff first, then the user unless he is one of them.
    view.prepareMemberRows();
    rows.Clear();
    for (const Bytes& staff : roomStaff_) rows.AddItem(staff, g("客服"), staff == name ? kStaffHere : 0);
    if (!isStaff(name)) rows.AddItem(name, {}, kPersonHead);
    rows.Redraw();
    view.writeSystemLine(g("连接服务器成功！欢迎进入") + chat_.roomName + g("！"), RoomView::kRed);
    joined_ = true;
    view.setTalkEnabled(true);
    view.addAddressee(g("所有人"));
}

// A leaver stays in cbHallMem; staff keep their row, greyed.
void PublicRoom::left(RoomView& view, const Bytes& name) {
    view.writeSystemLine(g("【系统消息】：") + name + g("离开了！"), RoomView::kActiveTitle);
    ItemList& rows = view.members();
    const int at = rows.find(name);
    if (at == 0) return;
    if (isStaff(name))
        rows.SetIcon(at, kStaffGone);
    else
        rows.Remove(at);
    rows.Redraw();
}

void PublicRoom::memberList(RoomView& view) {
    view.prepareMemberRows();
    ItemList& rows = view.members();
    for (const Bytes& name : names(session_.wire.msgBody)) {
        if (isStaff(name)) {
            rows.SetIcon(rows.find(name), kStaffHere);
        } else if (name != session_.myName && !name.empty()) {
            if (!rows.find(name)) rows.AddItem(name, {}, kPersonHead);
            view.addAddressee(name);
        }
    }
    rows.Redraw();
}

}  // namespace nq
