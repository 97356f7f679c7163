#pragma once
// Bodies of the frames the server sends, each within the 999 bytes that one client frame can
// carry. Every field is closed by a NUL; all text is GBK.

#include <span>
#include <string_view>
#include <vector>

#include "server/store.h"
#include "wire/gbk.h"
#include "wire/packet.h"

namespace nq::server {

inline constexpr size_t kMaxBody = kMaxFrame - kHeaderSize;  // 999 bytes

// Bytes one friend takes in the (3,4) code 1 roster: account, head code, nick, three NULs.
size_t rosterEntrySize(const Contact& c);
// Bytes one person takes in the (3,6) blacklist roster: nick, head code, two NULs.
size_t blacklistEntrySize(const Contact& c);

// (3,4) code 1: bare triples account, head code, nick. Stops before the entry that would not fit.
Bytes friendRoster(std::span<const Contact> friends);
// (3,4) code 3: pairs account, head code of the friends online now.
Bytes onlineRoster(std::span<const Contact> online);
// (3,6) code 1: pairs nick, head code.
Bytes blacklistRoster(std::span<const Contact> entries);

// People in one group at most, its creator included. A member roster of that many takes 7
// frames at worst (the longest names), twice over with the members online: what one request
// may cost the client's ring and the server's pacing.
inline constexpr size_t kMaxGroupMembers = 200;

// Bytes one group takes in the (3,5) group roster: number, name, creator, three NULs.
size_t groupEntrySize(const Group& group);
// (3,5) code 1: bare triples group number, group name, creator. Stops before the entry that
// would not fit.
Bytes groupRoster(std::span<const Group> groups);
// (3,7) code 1 with all members, or code 3 with those online: each frame the group name, then
// pairs member account, head code; as many frames as the members take, none for nobody.
std::vector<Bytes> memberRosters(std::string_view group, std::span<const Contact> members);

// What a user may keep in each free text of his profile, in GBK bytes: together with the fields
// he cannot choose (account, nick and head at most 24 bytes each, numbers) they fill 584 of the
// 999 bytes of a profile record, so his record always goes out whole.
struct ProfileLimits {
    size_t signature = 100;
    // country, province, city, e-mail, address, postal code, home telephone, mobile, real name,
    // school, work unit, zodiac animal, blood type, star sign
    size_t text[14] = {20, 20, 30, 60, 100, 12, 24, 24, 24, 60, 60, 4, 8, 8};
};
inline constexpr ProfileLimits kProfileLimits;

// (3,1) code 1: the 25 fields of a person. Field 1 is exactly the account; the free texts are
// shortened, longest first, when the whole would not fit one frame.
Bytes profileRecord(const Account& a);

// (2,1): sender, receiver, text record. The text is cut at a character border so that the
// frame stays within 1021 bytes.
Bytes chatBody(std::string_view sender, std::string_view receiver, std::string_view text);

// (1,1) code 4 from the dispatcher: eight fields; the client hands field 8 to its updater.
Bytes updateOrder(std::string_view minimumVersion, int minimumCode, int clientCode,
                  std::string_view updateTarget);

// "1.0" -> 256, as the client puts its version in the login's Code; nothing for other forms.
std::optional<int> versionCodeOf(std::string_view version);
std::string versionTextOf(int code);

}  // namespace nq::server
