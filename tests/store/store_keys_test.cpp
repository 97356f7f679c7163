#include <gtest/gtest.h>

#include <set>
#include <string>

#include "store/store_keys.h"
#include "wire/gbk.h"

namespace nq::store {
namespace {

// Every name as the files on users' disks spell it. The escapes in the header are checked
// against readable text, and the Latin names against the spellings existing files carry:
// "fixing" Bilder or OutoRun would lose what users have stored under them.
TEST(StoreKeys, EveryNameMatchesTheBytesOnDisk) {
    struct Case {
        std::string_view constant;
        const char* utf8;
    } cases[] = {
        {user::kFileName, "NQUser.nq"},
        {user::kFriendCountSection, "好友人数"},
        {user::kBlacklistCountSection, "黑名单人数"},
        {user::kVillageCountSection, "山庄数"},
        {user::kNum, "Num"},
        {user::kFriendsSection, "Friends"},
        {user::kUnfriendlySection, "Unfriendly"},
        {user::kHeadIdSuffix, "HeadId"},
        {user::kVillageSection, "Village"},
        {user::kVlgIdSuffix, "VlgID"},
        {user::kSendFlagSuffix, "Send_Flag"},
        {user::kItsName, "ItsName"},
        {user::kNickHeadId, "HeadID"},
        {user::kOnline, "Online"},
        {user::kDearName, "DearName"},
        {user::kGroupNum, "Num"},
        {user::kGroupHeadIdSuffix, "HeadId"},
        {user::kGroupSendFlag, "Send_Flag"},
        {user::kGroupBuilder, "Bilder"},
        {user::kOnlineSuffix, "Online"},
        {info::kFileName, "UserInfo.dat"},
        {temp::kFileName, "nqtemp.nq"},
        {temp::kHallChatSection, "大厅聊天"},
        {temp::kHallChatKey, "1"},
        {settings::kUserFileName, "User.ini"},
        {settings::kSysFileName, "Sys.ini"},
        {settings::kSettingSection, "Setting"},
        {settings::kUserName, "UserName"},
        {settings::kPassword, "Password"},
        {settings::kRememberPassword, "isrempwd"},
        {settings::kAutoRun, "OutoRun"},
        {settings::kAlwaysOnTop, "AlWaysOnTop"},
        {settings::kAutoHide, "AutoHide"},
        {settings::kTransparency, "TransValue"},
        {settings::kHotkey, "Hotkey"},
        {settings::kCloseMode, "CloseMode"},
        {settings::kIsEnd, "IsEnd"},
        {settings::kVersion, "Ver"},
        {settings::kServer, "Server"},
        {settings::kServer1, "Server1"},
        {settings::kServer2, "Server2"},
        {settings::kPositionSection, "Position"},
        {settings::kMainForm, "Mainform"},
        {settings::kChatForm, "ChatForm"},
    };
    for (const auto& c : cases) EXPECT_EQ(c.constant, gbk::fromUtf8(c.utf8)) << c.utf8;
}

TEST(StoreKeys, ProfileKeysKeepTheirOrderAndSpelling) {
    const char* person[] = {"UserName",  "UserLevel",  "LevelName",  "UserCoin",   "dearName",  "UImagID",
                            "Unotation", "Uage",       "Uprovince",  "Ucity",      "Uemail",    "Uaddress",
                            "Uposscode", "UserSex",    "Uphone",     "UcellPhone", "Urealname", "Uschool",
                            "Ujob",      "Ushengxiao", "Ubloodtype", "Uxingzuo",   "USetting1", "Uarea"};
    ASSERT_EQ(std::size(person), info::kPersonKeys.size());
    for (size_t i = 0; i < info::kPersonKeys.size(); ++i) EXPECT_EQ(info::kPersonKeys[i], person[i]) << i;

    const char* group[] = {"VID", "VInfo", "VHost", "VHostess", "Vsubhost", "Vbutler", "Vkind", "Vavailable"};
    ASSERT_EQ(std::size(group), info::kGroupKeys.size());
    for (size_t i = 0; i < info::kGroupKeys.size(); ++i) EXPECT_EQ(info::kGroupKeys[i], group[i]) << i;

    // Within one section, keys compare without case: two of them colliding would share a line.
    std::set<std::string> folded;
    for (auto k : info::kPersonKeys) {
        std::string f(k);
        for (auto& c : f) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        EXPECT_TRUE(folded.insert(f).second) << k;
    }
}

TEST(StoreKeys, NumberedKeysPutTheIndexFirst) {
    struct Case {
        int index;
        std::string_view suffix;
        const char* expected;
    } cases[] = {
        {0, "", "0"},
        {3, user::kHeadIdSuffix, "3HeadId"},
        {12, user::kVlgIdSuffix, "12VlgID"},
        {7, user::kSendFlagSuffix, "7Send_Flag"},
        {105, user::kOnlineSuffix, "105Online"},
        {-1, "", "-1"},
    };
    for (const auto& c : cases) EXPECT_EQ(numberedKey(c.index, c.suffix), c.expected);
}

}  // namespace
}  // namespace nq::store
