#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QCoreApplication>
#include <future>

#include "desktop/hall_listener.h"
#include "support/temp_dir.h"

namespace nq {
namespace {

using M = HallMessage;

TEST(HallSocket, RequestLines) {
    const std::tuple<std::string, std::optional<M>, std::string> cases[] = {
        {"add-friends", M::AddFriends, ""},
        {"0x469", M::AddToBlacklist, ""},
        {"1130", M::Exit, ""},
        {"show\r", M::ShowOrMinimise, ""},
        {"room-view", M::RoomView, ""},
        {"open-chat", M::OpenConversation, ""},
        {"start a$b$3$", M::Start, "a$b$3$"},
        {"", {}, ""},
        {"0x46B", {}, ""},
        {"0", {}, ""},
        {"Exit", {}, ""},
        {"exit now", {}, ""},
        {"start", {}, ""},
        {"show\x01", {}, ""},
        {std::string(kHallMaxLine + 1, 'a'), {}, ""}};
    for (const auto& [line, message, startLine] : cases) {
        const HallParse p = parseHallRequest(line);
        EXPECT_EQ(p.request ? std::optional(p.request->message) : std::nullopt, message) << line;
        EXPECT_EQ(p.request ? p.request->startLine : "", startLine);
        EXPECT_EQ(p.error.empty(), message.has_value()) << line;
    }
}

TEST(HallSocket, FolderAndPerProgramFolderName) {
    EXPECT_EQ(hallSocketFolder("/run/user/7", 7), "/run/user/7");
    EXPECT_EQ(hallSocketFolder(nullptr, 7), hallSocketFolder("relative", 7));
    EXPECT_EQ(hallSocketFolder(nullptr, 7), "/tmp/nqchat-7");
    EXPECT_EQ(hallSocketPath("/s", "/h/a"), hallSocketPath("/s", "/h/./b/../a/"));
    EXPECT_NE(hallSocketPath("/s", "/h/a"), hallSocketPath("/s", "/h/b"));
    test::TempDir tmp;
    const std::string open = tmp.file("open");
    ASSERT_EQ(::mkdir(open.c_str(), 0755), 0);
    EXPECT_EQ(preparePrivateFolder(open, getuid() + 1), "owned by another user");
    EXPECT_EQ(preparePrivateFolder(open, getuid()), "");
    struct stat st {};
    EXPECT_TRUE(::stat(open.c_str(), &st) == 0 && (st.st_mode & 0777) == 0700);
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
    std::vector<M> got;
    auto make = [&](unsigned owner) {
        auto l = std::make_unique<HallListener>(path, owner,
                                                [&](const std::string& s) { complaints.push_back(s); });
        QObject::connect(l.get(), &HallListener::requested,
                         [&](const HallRequest& r) { got.push_back(r.message); });
        return l;
    };
    auto listener = make(getuid());
    ASSERT_EQ(listener->listen(), HallListener::Outcome::Listening);
    struct stat st {};
    EXPECT_TRUE(::stat(path.c_str(), &st) == 0 && (st.st_mode & 0777) == 0600);
    EXPECT_EQ(make(getuid())->listen(), HallListener::Outcome::AlreadyRunning);
    EXPECT_EQ(ask(path, "add-friends"), "ok");
    EXPECT_EQ(ask(path, "0x46B"), "refused unknown message \"0x46B\"");
    listener = make(getuid() + 1);  // one that takes nobody's requests but another user's
    ASSERT_EQ(listener->listen(), HallListener::Outcome::Listening);
    EXPECT_EQ(ask(path, "exit"), std::nullopt);
    EXPECT_EQ(got, std::vector<M>{M::AddFriends});
    ASSERT_EQ(complaints.size(), 2u);
    EXPECT_EQ(complaints[0], "nqchat: hall request refused: unknown message \"0x46B\"");
    EXPECT_NE(complaints[1].find("not from this client's user"), std::string::npos);
}

}  // namespace
}  // namespace nq
