#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QCoreApplication>
#include <future>

#include "desktop/hall_listener.h"
#include "support/temp_dir.h"

namespace nq {
namespace {

TEST(HallSocket, RequestLines) {
    const struct {
        const char* line;
        std::optional<HallMessage> message;
        const char* startLine = "";
    } cases[] = {
        {"add-friends", HallMessage::AddFriends},  {"0x469", HallMessage::AddToBlacklist},
        {"1130", HallMessage::Exit},               {"show\r", HallMessage::ShowOrMinimise},
        {"room-view", HallMessage::RoomView},      {"open-chat", HallMessage::OpenConversation},
        {"start a$b$3$", HallMessage::Start, "a$b$3$"},
        {""}, {"0x46B"}, {"0"}, {"Exit"}, {"exit now"}, {"start"}, {"show\x01"}, {"x0x468"},
    };
    for (const auto& c : cases) {
        const HallParse p = parseHallRequest(c.line);
        ASSERT_EQ(p.request.has_value(), c.message.has_value()) << c.line;
        EXPECT_EQ(p.error.empty(), c.message.has_value()) << c.line;
        if (!c.message) continue;
        EXPECT_EQ(p.request->message, *c.message) << c.line;
        EXPECT_EQ(p.request->startLine, c.startLine);
    }
    EXPECT_FALSE(parseHallRequest(std::string(kHallMaxLine + 1, 'a')).request);
}

TEST(HallSocket, FolderAndPerProgramFolderName) {
    EXPECT_EQ(hallSocketFolder("/run/user/7", 7), "/run/user/7");
    EXPECT_EQ(hallSocketFolder(nullptr, 7), "/tmp/nqchat-7");
    EXPECT_EQ(hallSocketFolder("relative", 7), "/tmp/nqchat-7");
    EXPECT_EQ(hallSocketPath("/s", "/h/a"), hallSocketPath("/s", "/h/./b/../a/"));
    EXPECT_NE(hallSocketPath("/s", "/h/a"), hallSocketPath("/s", "/h/b"));
    EXPECT_EQ(hallSocketPath("/s", "/h/a").rfind("/s/nqchat-hall-", 0), 0u);

    test::TempDir tmp;
    const std::string open = tmp.file("open");
    ASSERT_EQ(::mkdir(open.c_str(), 0755), 0);
    EXPECT_EQ(preparePrivateFolder(open, getuid()), "");
    struct stat st {};
    ASSERT_EQ(::stat(open.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0700u);
    EXPECT_EQ(preparePrivateFolder(open, getuid() + 1), "owned by another user");
}

// The client's end runs in the event loop; the hall's blocking end in a thread of its own.
std::optional<std::string> ask(const std::string& path, const std::string& line) {
    auto answer = std::async(std::launch::async, [&] { return sendHallRequest(path, line, 2000); });
    while (answer.wait_for(std::chrono::milliseconds(5)) != std::future_status::ready)
        QCoreApplication::processEvents();
    QCoreApplication::processEvents();
    return answer.get();
}

TEST(HallSocket, ListenerAnswersItsUserOnlyAndRefusesWhatItCannotRead) {
    test::TempDir tmp;
    const std::string path = tmp.file("hall.sock");
    std::vector<std::string> complaints;
    std::vector<HallMessage> got;
    auto make = [&](unsigned owner) {
        auto l = std::make_unique<HallListener>(path, owner, [&](const std::string& s) { complaints.push_back(s); });
        QObject::connect(l.get(), &HallListener::requested, [&](const HallRequest& r) { got.push_back(r.message); });
        return l;
    };
    auto listener = make(getuid());
    ASSERT_EQ(listener->listen(), HallListener::Outcome::Listening);
    struct stat st {};
    ASSERT_EQ(::stat(path.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
    EXPECT_EQ(make(getuid())->listen(), HallListener::Outcome::AlreadyRunning);

    EXPECT_EQ(ask(path, "add-friends"), "ok");
    EXPECT_EQ(ask(path, "0x46B"), "refused unknown message \"0x46B\"");
    EXPECT_EQ(got, std::vector<HallMessage>{HallMessage::AddFriends});
    EXPECT_EQ(complaints, std::vector<std::string>{"nqchat: hall request refused: unknown message \"0x46B\""});

    listener = make(getuid() + 1);  // the stale socket of the first is replaced
    ASSERT_EQ(listener->listen(), HallListener::Outcome::Listening);
    EXPECT_EQ(ask(path, "exit"), std::nullopt);
    EXPECT_EQ(got.size(), 1u);
    ASSERT_EQ(complaints.size(), 2u);
    EXPECT_NE(complaints[1].find("not from this client's user"), std::string::npos);
}

}  // namespace
}  // namespace nq
