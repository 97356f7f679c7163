// The group leaves against a scripted chat server: what each step leaves in the tree, in
// NQUser.nq and UserInfo.dat (whole files, one section a line), what it sends and shows.

#include <gtest/gtest.h>

#include <sstream>

#include "contacts/contacts.h"
#include "contacts/group_actions.h"
#include "support/session_harness.h"

namespace nq::test {
namespace {

struct Rig : SessionHarness {
    Contacts c{*session};
    GroupActions groups{*session, c};
    // "[section] key=value key=value" per section, in file order.
    std::string file(std::string_view name) {
        std::istringstream lines(gbk::toUtf8(readFile(session->userFile(name))));
        std::string out, line;
        while (std::getline(lines, line)) {
            if (!line.empty() && line.back() == '\r') line.pop_back();
            if (line.empty()) continue;
            out += line[0] == '[' ? (out.empty() ? "" : "\n") + line : " " + line;
        }
        return out;
    }
    std::string tree() {
        const NodeTree& t = c.MyTree();
        std::string out;
        const auto node = [&t](int n) { return gbk::toUtf8(t.text(n)) + ":" + std::to_string(t.image(n)); };
        for (int g = 1; g <= t.count(); ++g) {
            if (t.parent(g)) continue;
            out += (out.empty() ? "" : "|") + node(g);
            for (int m : t.children(g)) out += " " + node(m);
        }
        return out;
    }
};

TEST(GroupActions, EachStepLeavesTreeFilesFramesAndToastAsTheServerSaid) {
    struct Row {
        const char* what;
        FrameKind kind;
        uint16_t code;
        std::vector<std::string_view> fields;
        const char *tree, *userFile, *infoFile, *toast;  // userFile: NQUser.nq, null when unchanged
        std::vector<FrameKind> sent;
    };
    // clang-format off
    const Row rows[] = {
        {"create", kind::kCreateGroup, 1, {"alice", "新村"}, "棋友:1 bob:42|新村:1 alice:42",
         "[山庄数] Num=1\n[Village] 1VlgID=棋友 1=棋友 2VlgID=新村 2=新村\n[棋友] Send_Flag=0 Bilder=bob 1=bob "
         "1HeadId=42 Num=1\n[新村] 1=alice 1HeadId=42 Num=1",
         "", "您创建： 新村 成功！", {}},
        {"create refused", kind::kCreateGroup, 2, {"alice", "旧村"}, "棋友:1 bob:42|新村:1 alice:42", nullptr, "",
         "您创建： 旧村 失败！", {}},
        {"own join", kind::kJoinGroup, 1, {"alice", "茶馆", "205"}, "棋友:1 bob:42|新村:1 alice:42|茶馆:1 alice:2",
         "[山庄数] Num=1\n[Village] 1VlgID=棋友 1=棋友 2VlgID=新村 2=新村 3VlgID=茶馆 3=茶馆\n[棋友] Send_Flag=0 "
         "Bilder=bob 1=bob 1HeadId=42 Num=1\n[新村] 1=alice 1HeadId=42 Num=1\n[茶馆] 1=alice 1HeadId=22 Num=1",
         "[茶馆] VID=205", "您加入群： 茶馆 成功！", {kind::kMemberRoster}},
        {"another joins", kind::kJoinGroup, 1, {"bob", "新村", "300"},
         "棋友:1 bob:42|新村:1 alice:42 bob:2|茶馆:1 alice:2",
         "[山庄数] Num=1\n[Village] 1VlgID=棋友 1=棋友 2VlgID=新村 2=新村 3VlgID=茶馆 3=茶馆\n[棋友] Send_Flag=0 "
         "Bilder=bob 1=bob 1HeadId=42 Num=1\n[新村] 1=alice 1HeadId=42 Num=2 2=bob 2HeadId=22\n[茶馆] 1=alice "
         "1HeadId=22 Num=1",
         "[茶馆] VID=205", "bob加入： 新村", {}},
        {"join failed", kind::kJoinGroup, 2, {"alice", "书院", "0"}, "棋友:1 bob:42|新村:1 alice:42 bob:2|茶馆:1 alice:2",
         nullptr, "[茶馆] VID=205", "您加入群： 书院 失败！", {}},
        {"another leaves", kind::kLeaveGroup, 1, {"bob", "新村"}, "棋友:1 bob:42|新村:1 alice:42|茶馆:1 alice:2",
         "[山庄数] Num=1\n[Village] 1VlgID=棋友 1=棋友 2VlgID=新村 2=新村 3VlgID=茶馆 3=茶馆\n[棋友] Send_Flag=0 "
         "Bilder=bob 1=bob 1HeadId=42 Num=1\n[新村] 1=alice 1HeadId=42 Num=1 2=bob 2HeadId=22\n[茶馆] 1=alice "
         "1HeadId=22 Num=1",
         "[茶馆] VID=205", "bob退出了 新村", {}},
        {"own leave", kind::kLeaveGroup, 1, {"alice", "茶馆"}, "棋友:1 bob:42|新村:1 alice:42", nullptr, "[茶馆] VID=205",
         "退出 茶馆 成功！", {}},
        {"dissolved", kind::kGroupDissolved, 1, {"新村"}, "棋友:1 bob:42", nullptr, "[茶馆] VID=205",
         "您解散： 新村 成功！", {}},
        {"card", kind::kGroupRecord, 0, {"101", "棋友", "下棋", "bob", "amy", "cid", "dan", "1", "2"}, "棋友:1 bob:42",
         nullptr, "[茶馆] VID=205\n[棋友] VID=101 VInfo=下棋 VHost=bob VHostess=amy Vsubhost=cid Vbutler=dan Vkind=1 Vavailable=2",
         nullptr, {}},
    };
    // clang-format on
    Rig r;
    r.login();
    r.serve(kind::kGroupRoster, 1, {"101", "棋友", "bob"});
    r.tick();
    while (!r.chat.sent.empty()) r.sentOn(r.chat);
    std::string userFile = r.file("NQUser.nq");
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        r.services.toasts.clear();
        r.serve(row.kind, row.code, row.fields);
        EXPECT_EQ(r.tree(), row.tree);
        if (row.userFile) userFile = row.userFile;
        EXPECT_EQ(r.file("NQUser.nq"), userFile);
        EXPECT_EQ(r.file("UserInfo.dat"), row.infoFile);
        if (row.toast) {
            ASSERT_EQ(r.services.toasts.size(), 1u);
            EXPECT_EQ(r.services.toasts[0].text, row.toast);
            EXPECT_EQ(r.services.toasts[0].milliseconds, 3000);
        } else {
            EXPECT_TRUE(r.services.toasts.empty());
        }
        r.tick();
        std::vector<FrameKind> sent;
        while (!r.chat.sent.empty())
            if (FrameKind k = kindOf(r.sentOn(r.chat)); k != kind::kKeepAlive) sent.push_back(k);
        EXPECT_EQ(sent, row.sent);
    }
}

}  // namespace
}  // namespace nq::test
