#include <gtest/gtest.h>

#include "app/add_wizards.h"
#include "app/chat_windows.h"
#include "app/frm_addnew.h"
#include "app/frm_chat.h"
#include "app/hall_link.h"
#include "form_rig.h"

namespace nq::test {
namespace {

// Logged in by a start line, minimised, with the friend roster in; the room view records.
struct HallRig : FormRig {
    explicit HallRig(const std::string& startLine) {
        make().attachRoomView([this] { ++roomViews; });
        std::filesystem::create_directories(dir.file("alice"));
        (void)CIniFile(dir.file("alice/nqtemp.nq")).WriteIniKey(store::temp::kHallChatSection, "1", "bob");
        load(startLine);
        form->showMinimized();
        completeLogin(session(), [this] { tick(); });
        fromChat({.seq = 2, .type = 3, .sub = 4, .session = kSessionNumber, .code = 1},
                 joinFields({"bob", "m1", "bob"}));
        tick();
    }
    std::string effect() {
        std::string e = form->isMinimized() ? "" : "restored ";
        if (roomViews) e += "room" + std::to_string(roomViews) + " ";
        if (auto* w = form->addWizards().window()) e += w->windowTitle().toStdString() + " ";
        for (const auto& w : form->chatWindows().windows())
            e += "chat:" + w->windowTitle().toStdString() + " ";
        return e;
    }
    int roomViews = 0;
};

// Only closed fields count: "alice$d$3" has no mode; fields after the third are ignored.
TEST(HallLink, EachLaunchModeActsOnceTheFriendListIsIn) {
    const std::pair<const char*, const char*> cases[] = {{"alice$d$0$", ""},
                                                         {"alice$d$1$", "restored 添加好友 "},
                                                         {"alice$d$2$x$9$", "restored room1 "},
                                                         {"alice$d$3$", "chat:bob "},
                                                         {"alice$d$3", ""},
                                                         {"alice$d$4$", ""}};
    for (const auto& [line, effect] : cases) EXPECT_EQ(HallRig(line).effect(), effect) << line;
}

TEST(HallLink, HallRequestsActOnTheRunningClient) {
    using M = HallMessage;
    const std::pair<std::vector<HallRequest>, const char*> cases[] = {
        {{{M::ShowOrMinimise, ""}}, "restored "},
        {{{M::ShowOrMinimise, ""}, {M::ShowOrMinimise, ""}}, ""},
        {{{M::RoomView, ""}}, "restored room1 "},
        {{{M::OpenConversation, ""}, {M::OpenConversation, ""}}, "chat:bob "},
        {{{M::Start, "alice$d$2$"}}, "restored room1 "},
        {{{M::Exit, ""}}, "exit"},
    };
    for (const auto& [requests, effect] : cases) {
        HallRig r("alice$d$0$");
        for (const HallRequest& q : requests) r.form->hallLink().handle(q);
        EXPECT_EQ(r.unloadCount ? "exit" : r.effect(), effect);
    }
}

}  // namespace
}  // namespace nq::test
