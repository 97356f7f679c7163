#pragma once
// What the game hall asks of a logged-in client through nqtemp.nq: friends or blacklist entries
// to add (the list in the program folder, deleted once read) and the conversation to open (the
// name in the account's folder). Boxes go through the session's platform services; the window
// comes through the window directory, so tests record both.

#include "wire/gbk.h"

namespace nq {

class ChatWindowDirectory;
class Contacts;
class Session;

class HallActions {
  public:
    HallActions(Session& session, Contacts& contacts) : session_(session), contacts_(contacts) {}

    // The names of "加为好友" (count under "num"), each asked for once per other friend.
    void addFriends();
    // The names of "加为黑名单" (count under "Num"); a friend among them is confirmed first, and
    // a Cancel leaves at once with the file left behind.
    void addToBlacklist();
    // The person of "大厅聊天" in the account's nqtemp.nq ("" when the file or key is missing).
    [[nodiscard]] Bytes conversationName() const;
    // A window whose caption is that bare name comes forward, else one opens with that caption,
    // mode PTP, its name label left empty and the send box focused.
    void openConversation(ChatWindowDirectory& windows);

  private:
    [[nodiscard]] std::string programTempFile() const;

    Session& session_;
    Contacts& contacts_;
};

}  // namespace nq
