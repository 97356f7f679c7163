#pragma once
// A logged-in session with contacts and chat manager; chat windows that only record.

#include "contacts/contacts.h"
#include "conversation/chat_manager.h"
#include "support/session_harness.h"

namespace nq::test {

inline std::chrono::system_clock::time_point testNow() {  // 2006-5-1 04:30:07, local time in UTC
    setenv("TZ", "UTC", 1);
    tzset();
    return std::chrono::system_clock::from_time_t(1146457807);
}

class RecordingWindows : public ChatWindowDirectory {
  public:
    std::vector<OpenChat> openChats() const override { return open; }
    void flash(const Bytes& caption) override { flashed.push_back(caption); }
    void restore(const Bytes&) override {}
    void openChatWindow(const NewChatWindow& window) override { opened.push_back(window); }
    void showMainWindow(bool fixZeroTop) override { mainShown.push_back(fixZeroTop); }
    void showJoinRequests() override {}
    void openJoinRequestWindow(const Bytes&) override {}
    RoomView* roomView(const Bytes&) override { return opened.empty() ? nullptr : room; }

    std::vector<OpenChat> open;
    std::vector<Bytes> flashed;
    std::vector<NewChatWindow> opened;
    std::vector<bool> mainShown;
    RoomView* room = nullptr;
};

class ChatRig : public SessionHarness {
  public:
    ChatRig() {
        services.clock = testNow();
        m.setWindowDirectory(&windows);
        login();
    }
    void serve(FrameKind k, const std::vector<std::string_view>& fields, uint32_t stamp = 1,
               uint16_t code = 0) {
        ScriptedServers::serve(k, code, fields, stamp);
    }
    void setKey(std::string_view section, std::string_view key, std::string_view value) {
        (void)CIniFile(session->userFile("NQUser.nq")).WriteIniKey(g(section), g(key), g(value));
    }

    // bob is the friend 鲍勃; gus a member of the group 山庄一.
    void addPeople() {
        setKey("bob", "DearName", "鲍勃");
        setKey("鲍勃", "HeadID", "24");
        setKey("鲍勃", "Online", "1");
        c.MyList(Contacts::kFriends).AddItem(g("鲍勃"), "", 24);
        c.MyTree().addChild(c.MyTree().addRoot(g("山庄一"), 1), "gus", 3);
    }
    const IncomingQueue::Slot& slot(int i) { return m.incomingQueue.at(i); }
    std::string record() { return readFile(m.recordFile()); }

    Contacts c{*session};
    ChatManager m{*session, c};
    RecordingWindows windows;
};

}  // namespace nq::test
