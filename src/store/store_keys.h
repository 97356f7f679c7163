#pragma once
// Names of the per-user files, their sections and keys, as GBK bytes. Files written by the
// Windows client depend on every spelling here, the odd ones included ("Bilder", "OutoRun",
// "HeadID" next to "HeadId", "dearName" next to "DearName"): correcting one would orphan
// what existing users have on disk. Chinese names are byte escapes because sources are
// UTF-8 while the files hold GBK.

#include <array>
#include <string_view>

#include "wire/gbk.h"

namespace nq::store {

// "3" + "HeadId" -> "3HeadId": the numbered keys of roster sections.
[[nodiscard]] Bytes numberedKey(int index, std::string_view suffix = {});

// ---- NQUser.nq: the contact lists of one account.
namespace user {
inline constexpr std::string_view kFileName = "NQUser.nq";

inline constexpr std::string_view kFriendCountSection = "\xBA\xC3\xD3\xD1\xC8\xCB\xCA\xFD";  // 好友人数
inline constexpr std::string_view kBlacklistCountSection =
    "\xBA\xDA\xC3\xFB\xB5\xA5\xC8\xCB\xCA\xFD";                                       // 黑名单人数
inline constexpr std::string_view kVillageCountSection = "\xC9\xBD\xD7\xAF\xCA\xFD";  // 山庄数
inline constexpr std::string_view kNum = "Num";  // the count in each of the three sections above

// Friends / Unfriendly: <i> holds the nick, <i>HeadId the face number.
inline constexpr std::string_view kFriendsSection = "Friends";
inline constexpr std::string_view kUnfriendlySection = "Unfriendly";
inline constexpr std::string_view kHeadIdSuffix = "HeadId";

// Village: <i> the name, <i>VlgID the id, <i>Send_Flag whether messages go out to it.
inline constexpr std::string_view kVillageSection = "Village";
inline constexpr std::string_view kVlgIdSuffix = "VlgID";
inline constexpr std::string_view kSendFlagSuffix = "Send_Flag";

// A section named by a contact's nick.
inline constexpr std::string_view kItsName = "ItsName";
inline constexpr std::string_view kNickHeadId = "HeadID";
inline constexpr std::string_view kOnline = "Online";

// A section named by an account: the name the user gave the contact.
inline constexpr std::string_view kDearName = "DearName";

// A section named by a group: Num members, <j> and <j>HeadId for each, <n>Online.
inline constexpr std::string_view kGroupNum = "Num";
inline constexpr std::string_view kGroupHeadIdSuffix = "HeadId";
inline constexpr std::string_view kGroupSendFlag = "Send_Flag";
inline constexpr std::string_view kGroupBuilder = "Bilder";
inline constexpr std::string_view kOnlineSuffix = "Online";
}  // namespace user

// ---- UserInfo.dat: the profiles of persons and groups, one section each.
namespace info {
inline constexpr std::string_view kFileName = "UserInfo.dat";

inline constexpr std::string_view kUserName = "UserName";
inline constexpr std::string_view kUserLevel = "UserLevel";
inline constexpr std::string_view kLevelName = "LevelName";
inline constexpr std::string_view kUserCoin = "UserCoin";
inline constexpr std::string_view kDearName = "dearName";
inline constexpr std::string_view kImageId = "UImagID";
inline constexpr std::string_view kNotation = "Unotation";
inline constexpr std::string_view kAge = "Uage";
inline constexpr std::string_view kProvince = "Uprovince";
inline constexpr std::string_view kCity = "Ucity";
inline constexpr std::string_view kEmail = "Uemail";
inline constexpr std::string_view kAddress = "Uaddress";
inline constexpr std::string_view kPostCode = "Uposscode";
inline constexpr std::string_view kSex = "UserSex";
inline constexpr std::string_view kPhone = "Uphone";
inline constexpr std::string_view kCellPhone = "UcellPhone";
inline constexpr std::string_view kRealName = "Urealname";
inline constexpr std::string_view kSchool = "Uschool";
inline constexpr std::string_view kJob = "Ujob";
inline constexpr std::string_view kZodiacAnimal = "Ushengxiao";
inline constexpr std::string_view kBloodType = "Ubloodtype";
inline constexpr std::string_view kStarSign = "Uxingzuo";
inline constexpr std::string_view kSetting1 = "USetting1";
inline constexpr std::string_view kArea = "Uarea";

// In the order the profile reply carries the fields and the file lists them.
inline constexpr std::array<std::string_view, 24> kPersonKeys = {
    kUserName, kUserLevel, kLevelName, kUserCoin,     kDearName,  kImageId,  kNotation, kAge,
    kProvince, kCity,      kEmail,     kAddress,      kPostCode,  kSex,      kPhone,    kCellPhone,
    kRealName, kSchool,    kJob,       kZodiacAnimal, kBloodType, kStarSign, kSetting1, kArea};

inline constexpr std::string_view kGroupId = "VID";
inline constexpr std::string_view kGroupInfo = "VInfo";
inline constexpr std::string_view kGroupHost = "VHost";
inline constexpr std::string_view kGroupHostess = "VHostess";
inline constexpr std::string_view kGroupSubhost = "Vsubhost";
inline constexpr std::string_view kGroupButler = "Vbutler";
inline constexpr std::string_view kGroupKind = "Vkind";
inline constexpr std::string_view kGroupAvailable = "Vavailable";

inline constexpr std::array<std::string_view, 8> kGroupKeys = {kGroupId,      kGroupInfo,     kGroupHost,
                                                               kGroupHostess, kGroupSubhost,  kGroupButler,
                                                               kGroupKind,    kGroupAvailable};
}  // namespace info

// ---- nqtemp.nq: scratch state kept between windows.
namespace temp {
inline constexpr std::string_view kFileName = "nqtemp.nq";
inline constexpr std::string_view kHallChatSection = "\xB4\xF3\xCC\xFC\xC1\xC4\xCC\xEC";  // 大厅聊天
inline constexpr std::string_view kHallChatKey = "1";
// The hall's lists, in the program folder's copy: names under "1", "2", ... and their count,
// spelled "num" for friends and "Num" for the blacklist (the reader is case-blind; the hall is not).
inline constexpr std::string_view kAddFriendsSection = "\xBC\xD3\xCE\xAA\xBA\xC3\xD3\xD1";      // 加为好友
inline constexpr std::string_view kAddBlacklistSection = "\xBC\xD3\xCE\xAA\xBA\xDA\xC3\xFB\xB5\xA5";  // 加为黑名单
inline constexpr std::string_view kAddFriendsCount = "num";
inline constexpr std::string_view kAddBlacklistCount = "Num";
}  // namespace temp

// ---- User.ini (per user) and Sys.ini (per installation): section Setting and Position.
namespace settings {
inline constexpr std::string_view kUserFileName = "User.ini";
inline constexpr std::string_view kSysFileName = "Sys.ini";

inline constexpr std::string_view kSettingSection = "Setting";
// User.ini
inline constexpr std::string_view kUserName = "UserName";
inline constexpr std::string_view kPassword = "Password";
inline constexpr std::string_view kRememberPassword = "isrempwd";
inline constexpr std::string_view kAutoRun = "OutoRun";
inline constexpr std::string_view kAlwaysOnTop = "AlWaysOnTop";
inline constexpr std::string_view kAutoHide = "AutoHide";
inline constexpr std::string_view kTransparency = "TransValue";
inline constexpr std::string_view kHotkey = "Hotkey";
inline constexpr std::string_view kCloseMode = "CloseMode";
inline constexpr std::string_view kIsEnd = "IsEnd";
// Sys.ini
inline constexpr std::string_view kVersion = "Ver";
inline constexpr std::string_view kServer = "Server";
inline constexpr std::string_view kServer1 = "Server1";
inline constexpr std::string_view kServer2 = "Server2";

// Sys.ini, our own section: the portal's web pages that the contact area opens.
inline constexpr std::string_view kPortalSection = "Portal";
inline constexpr std::string_view kPortalTopGroups = "TopGroups";  // 查看十大群排名
inline constexpr std::string_view kPortalPartner = "Partner";      // the partner page's banner
inline constexpr std::string_view kPortalHall = "Hall";            // 游戏大厅 on the rooms page
inline constexpr std::string_view kPortalCommunity = "Community";  // 玩家社区 on the rooms page

inline constexpr std::string_view kPositionSection = "Position";
inline constexpr std::string_view kMainForm = "Mainform";
inline constexpr std::string_view kChatForm = "ChatForm";
}  // namespace settings

}  // namespace nq::store
