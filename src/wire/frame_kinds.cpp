#include "wire/frame_kinds.h"

#include <array>
#include <utility>

namespace nq {

namespace {
using Entry = std::pair<FrameKind, std::string_view>;
constexpr std::array kNames{
    Entry{kind::kLogin, "Login"},
    Entry{kind::kSessionAside2, "SessionAside"},
    Entry{kind::kSessionAside3, "SessionAside"},
    Entry{kind::kPresence, "Presence"},
    Entry{kind::kLogout, "Logout"},
    Entry{kind::kChat, "Chat"},
    Entry{kind::kGroupChat, "GroupChat"},
    Entry{kind::kMemberChat, "MemberChat"},
    Entry{kind::kAfterRosters, "AfterRosters"},
    Entry{kind::kRoom, "Room"},
    Entry{kind::kProfile, "Profile"},
    Entry{kind::kGroupRecord, "GroupRecord"},
    Entry{kind::kProfileRecord, "ProfileRecord"},
    Entry{kind::kFriendRoster, "FriendRoster"},
    Entry{kind::kGroupRoster, "GroupRoster"},
    Entry{kind::kBlacklistRoster, "BlacklistRoster"},
    Entry{kind::kMemberRoster, "MemberRoster"},
    Entry{kind::kOnlinePage, "OnlinePage"},
    Entry{kind::kGroupPage, "GroupPage"},
    Entry{kind::kGroupSearch, "GroupSearch"},
    Entry{kind::kRoomList, "RoomList"},
    Entry{kind::kSaveProfile, "SaveProfile"},
    Entry{kind::kAddFriend, "AddFriend"},
    Entry{kind::kDeleteFriend, "DeleteFriend"},
    Entry{kind::kFindPerson, "FindPerson"},
    Entry{kind::kAddToBlacklist, "AddToBlacklist"},
    Entry{kind::kRemoveFromBlacklist, "RemoveFromBlacklist"},
    Entry{kind::kFindForBlacklist, "FindForBlacklist"},
    Entry{kind::kCreateGroup, "CreateGroup"},
    Entry{kind::kGroupDissolved, "GroupDissolved"},
    Entry{kind::kJoinGroup, "JoinGroup"},
    Entry{kind::kLeaveGroup, "LeaveGroup"},
    Entry{kind::kJoinRequest, "JoinRequest"},
    Entry{kind::kJoinAnswer, "JoinAnswer"},
    Entry{kind::kGroupAside7, "GroupAside"},
    Entry{kind::kGroupAside8, "GroupAside"},
    Entry{kind::kGroupAside9, "GroupAside"},
    Entry{kind::kMayCreateGroup, "MayCreateGroup"},
    Entry{kind::kNoticeBox, "NoticeBox"},
    Entry{kind::kNoticeToast, "NoticeToast"},
};
}  // namespace

std::optional<std::string_view> frameKindName(FrameKind kind) {
    if (kind.type == family::kKeepAlive) return "KeepAlive";
    if (kind.type == family::kDirectLink) return "DirectLink";
    for (const auto& [k, name] : kNames)
        if (k == kind) return name;
    return std::nullopt;
}

}  // namespace nq
