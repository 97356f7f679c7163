#include <gtest/gtest.h>

#include "app/add_wizards.h"
#include "app/chat_windows.h"
#include "app/frm_addnew.h"
#include "app/frm_chat.h"
#include "app/hall_link.h"
#include "form_rig.h"
#include "session/startup.h"

namespace nq::test {
namespace {

TEST(HallLink, StartLineTakesThreeClosedFieldsAndIgnoresTheRest) {
    const struct {
        const char* line;
        Bytes name, digest;
        int mode;
    } cases[] = {{"a$d$3$", "a", "d", 3}, {"a$d$3", "a", "d", 0}, {"a$d", "a", "", 0},
                 {"a$d$2$x$9$", "a", "d", 2}, {" a$$1$ ", "a", "", 1}};
    for (const auto& c : cases) {
        const auto h = parseHallLine(c.line);
        ASSERT_TRUE(h) << c.line;
        EXPECT_EQ(std::tuple(h->name, h->digest, h->command), std::tuple(c.name, c.digest, c.mode)) << c.line;
    }
    EXPECT_FALSE(parseHallLine("   "));
}

class HallRig : public FormRig {
  public:
    // Logged in by a start line of this mode, with the friend roster in; the room view records.
    explicit HallRig(int mode) {
        make().attachRoomView([this] { ++roomViews; });
        std::filesystem::create_directories(dir.file("alice"));
        (void)CIniFile(dir.file("alice/nqtemp.nq")).WriteIniKey(store::temp::kHallChatSection, "1", "bob");
        load("alice$d$" + std::to_string(mode) + "$");
        form->showMinimized();
        completeLogin(session(), [this] { tick(); });
        fromChat({.seq = 2, .type = 3, .sub = 4, .session = kSessionNumber, .code = 1}, joinFields({"bob", "m1", "bob"}));
        tick();
    }
    std::string effect() {
        std::string e = form->isMinimized() ? "" : "restored ";
        if (roomViews) e += "room" + std::to_string(roomViews) + " ";
        if (auto* w = form->addWizards().window()) e += w->windowTitle().toStdString() + " ";
        for (const auto& w : form->chatWindows().windows()) e += "chat:" + w->windowTitle().toStdString() + " ";
        return e;
    }
    int roomViews = 0;
};

TEST(HallLink, EachLaunchModeActsOnceTheFriendListIsIn) {
    const std::pair<int, const char*> cases[] = {
        {0, ""}, {1, "restored 添加好友 "}, {2, "restored room1 "}, {3, "chat:bob "}, {4, ""}};
    for (const auto& [mode, effect] : cases) EXPECT_EQ(HallRig(mode).effect(), effect) << mode;
}

TEST(HallLink, HallRequestsActOnTheRunningClient) {
    using M = HallMessage;
    const std::pair<std::vector<HallRequest>, const char*> cases[] = {
        {{{M::ShowOrMinimise}}, "restored "},
        {{{M::ShowOrMinimise}, {M::ShowOrMinimise}}, ""},
        {{{M::RoomView}}, "restored room1 "},
        {{{M::OpenConversation}, {M::OpenConversation}}, "chat:bob "},
        {{{M::Start, "alice$d$2$"}}, "restored room1 "},
    };
    for (const auto& [requests, effect] : cases) {
        HallRig r(0);
        for (const HallRequest& q : requests) r.form->hallLink().handle(q);
        EXPECT_EQ(r.effect(), effect);
    }
    HallRig r(0);
    r.form->hallLink().handle({M::Exit});
    EXPECT_EQ(r.unloadCount, 1);
}

}  // namespace
}  // namespace nq::test
