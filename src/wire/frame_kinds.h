#pragma once
// Every frame kind of the protocol, named once: (type, sub) and the codes each kind carries.
// Client, server, tracer and tests use these names; a bare (3,4) anywhere else is a slip
// waiting to happen, since the same small numbers mean different things in each family.

#include <cstdint>
#include <optional>
#include <string_view>

namespace nq {

struct FrameKind {
    uint16_t type = 0;
    uint16_t sub = 0;
    friend constexpr bool operator==(FrameKind, FrameKind) = default;
};

// Families that are told apart by type alone: their sub carries nothing the receiver reads.
namespace family {
inline constexpr uint16_t kDispatcher = 1;  // every dispatcher answer, whatever its sub
inline constexpr uint16_t kTalk = 2;        // every sub shares a prelude before its own leaf
inline constexpr uint16_t kKeepAlive = 9;
inline constexpr uint16_t kDirectLink = 10;
}  // namespace family

namespace kind {
// Session
inline constexpr FrameKind kLogin{1, 1};
inline constexpr FrameKind kSessionAside2{1, 2};  // (1,2) and (1,3): recognised, nothing done
inline constexpr FrameKind kSessionAside3{1, 3};
inline constexpr FrameKind kPresence{1, 4};
inline constexpr FrameKind kLogout{1, 5};
// Talk
inline constexpr FrameKind kChat{2, 1};
inline constexpr FrameKind kGroupChat{2, 2};
inline constexpr FrameKind kMemberChat{2, 3};
inline constexpr FrameKind kAfterRosters{2, 6};
inline constexpr FrameKind kRoom{2, 7};
// Records and rosters
inline constexpr FrameKind kProfile{3, 1};
inline constexpr FrameKind kGroupRecord{3, 2};
inline constexpr FrameKind kProfileRecord{3, 3};
inline constexpr FrameKind kFriendRoster{3, 4};
inline constexpr FrameKind kGroupRoster{3, 5};
inline constexpr FrameKind kBlacklistRoster{3, 6};
inline constexpr FrameKind kMemberRoster{3, 7};
inline constexpr FrameKind kOnlinePage{3, 8};
inline constexpr FrameKind kGroupPage{3, 9};
inline constexpr FrameKind kGroupSearch{3, 10};
inline constexpr FrameKind kRoomList{3, 11};
inline constexpr FrameKind kSaveProfile{4, 1};
// Friends and blacklist
inline constexpr FrameKind kAddFriend{5, 1};
inline constexpr FrameKind kDeleteFriend{5, 2};
inline constexpr FrameKind kFindPerson{5, 3};
inline constexpr FrameKind kAddToBlacklist{6, 1};
inline constexpr FrameKind kRemoveFromBlacklist{6, 2};
inline constexpr FrameKind kFindForBlacklist{6, 3};
// Groups
inline constexpr FrameKind kCreateGroup{7, 1};
inline constexpr FrameKind kGroupDissolved{7, 2};
inline constexpr FrameKind kJoinGroup{7, 3};
inline constexpr FrameKind kLeaveGroup{7, 4};
inline constexpr FrameKind kJoinRequest{7, 5};
inline constexpr FrameKind kJoinAnswer{7, 6};
inline constexpr FrameKind kGroupAside7{7, 7};  // (7,7) to (7,9): four fields, read and dropped
inline constexpr FrameKind kGroupAside8{7, 8};
inline constexpr FrameKind kGroupAside9{7, 9};
inline constexpr FrameKind kMayCreateGroup{7, 10};
// Notices and upkeep
inline constexpr FrameKind kNoticeBox{8, 1};
inline constexpr FrameKind kNoticeToast{8, 2};
inline constexpr FrameKind kKeepAlive{9, 0};
// Direct links: the client's one request; the answers are read by family alone
inline constexpr FrameKind kFileRequest{10, 1};
}  // namespace kind

// Codes, by the kinds that carry them. A request's code says what is asked; a reply's code
// says how it went.
namespace code {
inline constexpr uint16_t kNone = 0;
// Dispatcher answers and (1,1) from the chat server
inline constexpr uint16_t kGoToChatServer = 1;  // dispatcher: host, port follow
inline constexpr uint16_t kLoginAccepted = 1;   // chat server: nick, head code; Session = number
inline constexpr uint16_t kWrongPassword = 2;
inline constexpr uint16_t kLoggedInElsewhere = 3;
inline constexpr uint16_t kUpdateOrdered = 4;  // dispatcher only: the updater's eight fields
// (1,4)
inline constexpr uint16_t kOnline = 1;
inline constexpr uint16_t kOffline = 2;
// (2,7)
inline constexpr uint16_t kRoomEnter = 0;  // client: entering
inline constexpr uint16_t kRoomEntered = 1;
inline constexpr uint16_t kRoomEntryFailed = 2;
inline constexpr uint16_t kRoomLine = 3;
inline constexpr uint16_t kRoomLeave = 4;  // client: leaving; server: somebody left
inline constexpr uint16_t kRoomMembers = 5;
// (3,11)
inline constexpr uint16_t kRoomListed = 1;
// (3,1) requests
inline constexpr uint16_t kProfileShow = 1;
inline constexpr uint16_t kProfileAfterAdd = 3;  // completes a friend just added
inline constexpr uint16_t kProfileRefreshOwn = 4;
// Rosters (3,4), (3,5), (3,7)
inline constexpr uint16_t kRosterList = 1;
inline constexpr uint16_t kRosterEmpty = 2;   // (3,4): no friends
inline constexpr uint16_t kRosterOnline = 3;  // (3,4) and (3,7): who is online now
// Searches (5,3), (6,3), (3,10) requests
inline constexpr uint16_t kSearchByName = 3;
inline constexpr uint16_t kSearchByNick = 4;
inline constexpr uint16_t kGroupSearchByName = 1;    // the wizard's first option
inline constexpr uint16_t kGroupSearchByNumber = 3;  // its third
// Replies that succeed or fail: friends, blacklist, groups, searches
inline constexpr uint16_t kDone = 1;
inline constexpr uint16_t kFailed = 2;
// (7,6)
inline constexpr uint16_t kAgree = 1;
inline constexpr uint16_t kRefuse = 2;
// Direct-link set-up (family 10)
inline constexpr uint16_t kPeerAddress = 1;  // four fields
inline constexpr uint16_t kPeerAbsent = 2;
inline constexpr uint16_t kPeerDetails = 3;  // five fields
}  // namespace code

// The kind's name for traces and logs ("FriendRoster"), or nothing for a kind not listed.
[[nodiscard]] std::optional<std::string_view> frameKindName(FrameKind kind);

}  // namespace nq
