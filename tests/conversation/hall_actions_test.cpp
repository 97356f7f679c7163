#include <gtest/gtest.h>

#include <filesystem>

#include "chat_rig.h"
#include "conversation/file_request.h"
#include "conversation/hall_actions.h"
#include "store/store_keys.h"

namespace nq::test {
namespace {

namespace temp = store::temp;

class HallRig : public ChatRig {
  public:
    // nqtemp.nq as the hall writes it: the count under its own spelling, then names 1, 2, ...
    std::string writeList(std::string_view section, std::string_view countKey, std::vector<std::string> names) {
        CIniFile f(dir.file("nqtemp.nq"));
        (void)f.WriteIniKey(section, countKey, std::to_string(names.size()));
        for (size_t i = 0; i < names.size(); ++i) (void)f.WriteIniKey(section, std::to_string(i + 1), g(names[i]));
        return dir.file("nqtemp.nq");
    }
    void fill(int list, std::vector<std::string> captions) {
        for (const auto& cap : captions) c.MyList(list).AddItem(g(cap), "", 1);
    }
    // Every frame the next tick sends, as "type,sub,code:field|...".
    std::vector<std::string> sent() {
        tick();
        std::vector<std::string> out;
        for (; !chat.sent.empty(); chat.sent.pop_front()) {
            std::string_view d = chat.sent.front().data;
            while (auto f = decodeFrame(d)) {
                std::string t = std::to_string(f->header.type) + "," + std::to_string(f->header.sub) + "," +
                                std::to_string(f->header.code) + ":";
                for (auto field : splitAll(f->body)) t += gbk::toUtf8(field) + "|";
                out.push_back(t);
                d.remove_prefix(f->len);
            }
        }
        return out;
    }
    std::vector<std::string> boxTexts() {
        std::vector<std::string> out;
        for (const auto& b : services.boxes) out.push_back(b.text);
        return out;
    }
    HallActions hall{*session, c};
};

TEST(HallActions, AddFriendsAsksOncePerOtherFriendSkipsEmptyNamesAndDeletesTheList) {
    const struct {
        std::vector<std::string> friends, names, frames, boxes;
    } cases[] = {
        {{}, {"dave", "", "erin"}, {"5,1,0:alice|dave|", "5,1,0:alice|erin|"}, {}},
        {{"鲍勃", "carol"}, {"dave", "鲍勃"},
         {"5,1,0:alice|dave|", "5,1,0:alice|dave|", "5,1,0:alice|鲍勃|"}, {"好友已添加！！"}},
    };
    for (const auto& t : cases) {
        HallRig r;
        r.fill(Contacts::kFriends, t.friends);
        const std::string file = r.writeList(temp::kAddFriendsSection, "num", t.names);
        r.hall.addFriends();
        EXPECT_EQ(r.sent(), t.frames);
        EXPECT_EQ(r.boxTexts(), t.boxes);
        EXPECT_FALSE(std::filesystem::exists(file));
    }
}

TEST(HallActions, AddToBlacklistConfirmsAFriendAndACancelLeavesTheListBehind) {
    for (BoxAnswer answer : {BoxAnswer::Cancel, BoxAnswer::Ok}) {
        HallRig r;
        r.setKey("鲍勃", "ItsName", "bob");
        r.fill(Contacts::kFriends, {"鲍勃"});
        r.fill(Contacts::kBlacklist, {"x", "bob"});
        const std::string file = r.writeList(temp::kAddBlacklistSection, "Num", {"bob", "y"});
        r.services.answers = {answer};
        r.hall.addToBlacklist();
        const bool ok = answer == BoxAnswer::Ok;
        EXPECT_EQ(r.sent(), ok ? std::vector<std::string>{"6,1,0:alice|bob|", "6,1,0:alice|y|", "6,1,0:alice|y|"}
                               : std::vector<std::string>{});
        std::vector<std::string> boxes{"您确定将好友中的：鲍勃设置为黑名单吗？"};
        if (ok) boxes.push_back("黑名单已添加！");
        EXPECT_EQ(r.boxTexts(), boxes);
        EXPECT_EQ(std::filesystem::exists(file), !ok);
    }
}

TEST(HallActions, TheConversationComesFromTheAccountsFolderAndItsBareCaptionIsFoundAgain) {
    HallRig r;
    EXPECT_EQ(r.hall.conversationName(), "");
    (void)CIniFile(r.dir.file("nqtemp.nq")).WriteIniKey(temp::kHallChatSection, temp::kHallChatKey, "wrong");
    (void)CIniFile(r.session->userFile("nqtemp.nq")).WriteIniKey(temp::kHallChatSection, temp::kHallChatKey, g("鲍勃"));
    r.hall.openConversation(r.windows);
    ASSERT_EQ(r.windows.opened.size(), 1u);
    const NewChatWindow& w = r.windows.opened[0];
    EXPECT_EQ(std::tuple(w.mode, w.caption, w.lbFrd, w.captionAsGiven, w.focusSendBox, w.groupPanel),
              std::tuple(std::optional(ChatMode::PTP), g("鲍勃"), Bytes(), true, true, false));
    r.windows.open = {{g("与鲍勃聊天中"), ChatMode::PTP}};
    r.hall.openConversation(r.windows);
    EXPECT_EQ(r.windows.opened.size(), 2u);
    r.windows.open = {{g("鲍勃"), ChatMode::PTP}};
    r.hall.openConversation(r.windows);
    EXPECT_EQ(r.windows.opened.size(), 2u);
}

TEST(FileRequests, ARowAndARequestPerChoiceUntilTheTableIsFull) {
    HallRig r;
    FileRequests f{*r.session};
    EXPECT_FALSE(f.request("", 5, g("与鲍勃聊天中")));
    ASSERT_TRUE(f.request(g("/home/a/文档/b c.txt"), 12, g("与鲍勃聊天中")));
    const FileSendSlot& s = f.fileSendTable[0];
    EXPECT_EQ(std::tuple(f.fileSendCount, s.peer, s.size, s.path, s.outgoing, s.shortName),
              std::tuple(1, g("与鲍勃聊天中"), 12.0, g("/home/a/文档/b c.txt"), true, Bytes("b c.txt")));
    EXPECT_EQ(r.sent(), std::vector<std::string>{"10,1,0:alice|与鲍勃聊天中|"});
    while (f.fileSendCount < FileRequests::kSlots) ASSERT_TRUE(f.request("/x", 1, "c"));
    r.sent();
    EXPECT_FALSE(f.request("/y", 1, "c"));
    EXPECT_EQ(r.sent(), std::vector<std::string>{});
}

}  // namespace
}  // namespace nq::test
