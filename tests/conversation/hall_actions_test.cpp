#include <gtest/gtest.h>

#include <filesystem>

#include "chat_rig.h"
#include "conversation/file_request.h"
#include "conversation/hall_actions.h"
#include "store/store_keys.h"

namespace nq::test {
namespace {

namespace temp = store::temp;
using Lines = std::vector<std::string>;

struct HallRig : ChatRig {
    // nqtemp.nq as the hall writes it: the count under its own spelling, then names 1, 2, ...
    std::string writeList(std::string_view section, std::string_view countKey, const Lines& names) {
        CIniFile f(dir.file("nqtemp.nq"));
        (void)f.WriteIniKey(section, countKey, std::to_string(names.size()));
        for (size_t i = 0; i < names.size(); ++i)
            (void)f.WriteIniKey(section, std::to_string(i + 1), g(names[i]));
        return dir.file("nqtemp.nq");
    }
    void fill(int list, const Lines& captions) {
        for (const auto& cap : captions) c.MyList(list).AddItem(g(cap), "", 1);
    }
    Lines sent() {  // every frame of the next tick's datagram, as "type,sub,code:field|..."
        tick();
        Lines out;
        const Bytes datagram = chat.sent.empty() ? "" : chat.take().data;
        std::string_view d = datagram;
        while (auto f = decodeFrame(d)) {
            const FrameHeader& h = f->header;
            out.push_back(std::to_string(h.type) + "," + std::to_string(h.sub) + "," +
                          std::to_string(h.code) + ":");
            for (auto field : splitAll(f->body.substr(0, f->body.size() - 1)))
                out.back() += gbk::toUtf8(field) + "|";
            d.remove_prefix(f->len);
        }
        return out;
    }
    Lines boxTexts() {
        Lines out;
        for (const auto& b : services.boxes) out.push_back(b.text);
        return out;
    }
    HallActions hall{*session, c};
};

TEST(HallActions, AddFriendsAsksOncePerOtherFriendSkipsEmptyNamesAndDeletesTheList) {
    const struct {
        Lines friends, names, frames, boxes;
    } cases[] = {
        {{}, {"dave", "", "erin"}, {"5,1,0:alice|dave|", "5,1,0:alice|erin|"}, {}},
        {{"鲍勃", "carol"},
         {"dave", "鲍勃"},
         {"5,1,0:alice|dave|", "5,1,0:alice|dave|", "5,1,0:alice|鲍勃|"},
         {"好友已添加！！"}},
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
        const Lines frames{"6,1,0:alice|bob|", "6,1,0:alice|y|", "6,1,0:alice|y|"};
        EXPECT_EQ(r.sent(), ok ? frames : Lines{});
        Lines boxes{"您确定将好友中的：鲍勃设置为黑名单吗？", "黑名单已添加！"};
        EXPECT_EQ(r.boxTexts(), ok ? boxes : Lines{boxes[0]});
        EXPECT_EQ(std::filesystem::exists(file), !ok);
    }
}

TEST(HallActions, TheConversationComesFromTheAccountsFolderAndItsBareCaptionIsFoundAgain) {
    HallRig r;
    EXPECT_EQ(r.hall.conversationName(), "");
    (void)CIniFile(r.dir.file("nqtemp.nq")).WriteIniKey(temp::kHallChatSection, "1", "wrong");
    (void)CIniFile(r.session->userFile("nqtemp.nq")).WriteIniKey(temp::kHallChatSection, "1", g("鲍勃"));
    r.hall.openConversation(r.windows);
    ASSERT_EQ(r.windows.opened.size(), 1u);
    const NewChatWindow& w = r.windows.opened[0];
    EXPECT_EQ(std::tuple(w.mode, w.caption, w.lbFrd, w.captionAsGiven, w.focusSendBox),
              std::tuple(std::optional(ChatMode::PTP), g("鲍勃"), Bytes(), true, true));
    for (const char* open : {"与鲍勃聊天中", "鲍勃"}) {  // only the bare name is found again
        r.windows.open = {{g(open), ChatMode::PTP}};
        r.hall.openConversation(r.windows);
    }
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
    EXPECT_EQ(r.sent(), Lines{"10,1,0:alice|与鲍勃聊天中|"});
    while (f.fileSendCount < FileRequests::kSlots) ASSERT_TRUE(f.request("/x", 1, "c"));
    r.sent();
    EXPECT_FALSE(f.request("/y", 1, "c"));
    EXPECT_EQ(r.sent(), Lines{});
}

}  // namespace
}  // namespace nq::test
