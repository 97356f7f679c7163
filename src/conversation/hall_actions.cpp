#include "conversation/hall_actions.h"

#include <filesystem>
#include <string>

#include "contacts/contacts.h"
#include "conversation/chat_window_directory.h"
#include "session/session.h"
#include "store/ini_file.h"
#include "store/store_keys.h"
#include "wire/fields.h"
#include "wire/frame_kinds.h"

namespace nq {
namespace {

namespace temp = store::temp;

// Names 1..count of a section, empty ones skipped.
std::vector<Bytes> namesOf(const CIniFile& file, std::string_view section, std::string_view countKey) {
    std::vector<Bytes> names;
    const int count = static_cast<int>(toNumber(file.GetIniKey(section, countKey)));
    for (int i = 1; i <= count; ++i)
        if (Bytes name = file.GetIniKey(section, std::to_string(i)); !name.empty()) names.push_back(name);
    return names;
}

}  // namespace

std::string HallActions::programTempFile() const {
    return session_.programFolder() + "/" + std::string(temp::kFileName);
}

// An empty list asks once; otherwise each friend whose caption differs asks again, and one
// equal to the name shows the box: the hall's lists were built against this, and the server
// answers a repeated request like the first.
void HallActions::addFriends() {
    const std::string path = programTempFile();
    const CIniFile file(path);
    ItemList& friends = contacts_.MyList(Contacts::kFriends);
    for (const Bytes& name : namesOf(file, temp::kAddFriendsSection, temp::kAddFriendsCount)) {
        const Bytes body = joinFields({session_.myName, name});
        if (friends.count() == 0) session_.queueFrame(kind::kAddFriend, code::kNone, body);
        for (int i = 1; i <= friends.count(); ++i) {
            if (friends.Item(i).Caption != name)
                session_.queueFrame(kind::kAddFriend, code::kNone, body);
            else
                session_.services().messageBox("好友已添加！！", Session::kAppTitle, BoxButtons::Ok,
                                               BoxIcon::Information);
        }
    }
    std::error_code ec;
    std::filesystem::remove(path, ec);
}

void HallActions::addToBlacklist() {
    const std::string path = programTempFile();
    const CIniFile file(path);
    const CIniFile users(session_.userFile("NQUser.nq"));
    ItemList& friends = contacts_.MyList(Contacts::kFriends);
    ItemList& blacklist = contacts_.MyList(Contacts::kBlacklist);
    for (const Bytes& name : namesOf(file, temp::kAddBlacklistSection, temp::kAddBlacklistCount)) {
        for (int i = 1; i <= friends.count(); ++i) {
            const Bytes& caption = friends.Item(i).Caption;
            if (users.GetIniKey(caption, store::user::kItsName) != name) continue;
            if (session_.services().messageBox(
                    "您确定将好友中的：" + gbk::toUtf8(caption) + "设置为黑名单吗？", Session::kAppTitle,
                    BoxButtons::OkCancel, BoxIcon::Question) == BoxAnswer::Cancel)
                return;
        }
        const Bytes body = joinFields({session_.myName, name});
        if (blacklist.count() == 0) session_.queueFrame(kind::kAddToBlacklist, code::kNone, body);
        for (int i = 1; i <= blacklist.count(); ++i) {
            if (blacklist.Item(i).Caption != name)
                session_.queueFrame(kind::kAddToBlacklist, code::kNone, body);
            else
                session_.services().messageBox("黑名单已添加！", Session::kAppTitle, BoxButtons::Ok,
                                               BoxIcon::Information);
        }
    }
    std::error_code ec;
    std::filesystem::remove(path, ec);
}

Bytes HallActions::conversationName() const {
    return CIniFile(session_.userFile(temp::kFileName)).GetIniKey(temp::kHallChatSection, temp::kHallChatKey);
}

void HallActions::openConversation(ChatWindowDirectory& windows) {
    const Bytes name = conversationName();
    // The bare name never equals a caption the program makes ("与x聊天中"): only a window that
    // this path opened comes forward, any other conversation with the person stays as it is.
    for (const OpenChat& open : windows.openChats()) {
        if (open.caption == name) {
            windows.restore(name);
            return;
        }
    }
    NewChatWindow window;
    window.mode = ChatMode::PTP;
    window.caption = name;
    window.captionAsGiven = true;
    window.focusSendBox = true;
    windows.openChatWindow(window);
}

}  // namespace nq
