// Searches, listings, cards, own profiles, and groups made, joined, left and dissolved by users.

#include <set>
#include <sstream>

#include "chat_fixture.h"
#include "server/admin.h"

namespace nq::server {
namespace {

using Fields = std::vector<Bytes>;

// The fields of the last frame of that kind, with its code in front as text.
Fields last(const std::vector<Got>& frames) {
    if (frames.empty()) return {"none"};
    Fields f = frames.back().fields();
    f.insert(f.begin(), std::to_string(frames.back().header.code));
    return f;
}

TEST_F(ChatTest, SearchesAndCardsAnswerAsTheWizardReads) {
    enter(alice, "alice");
    struct Case {
        FrameKind kind;
        uint16_t code;
        const char* text;
        Fields want;  // code, then the first fields
    } cases[] = {
        {kind::kFindPerson, code::kSearchByName, "bob", {"1", "bob", "3"}},
        {kind::kFindPerson, code::kSearchByNick, "鲍勃", {"1", "bob", "3"}},
        {kind::kFindPerson, code::kSearchByName, "鲍勃", {"2"}},  // a nick is no account
        {kind::kFindForBlacklist, code::kSearchByNick, "nobody", {"2", "nobody"}},
        {kind::kGroupSearch, code::kGroupSearchByName, "棋友", gs({"1", "1", "周末棋友会", "alice"})},
        {kind::kGroupSearch, code::kGroupSearchByName, "", gs({"1", "1", "周末棋友会", "alice"})},
        {kind::kGroupSearch, code::kGroupSearchByNumber, "1", gs({"1", "1", "周末棋友会", "alice"})},
        {kind::kGroupSearch, code::kGroupSearchByNumber, "周末", {"2"}},
        {kind::kGroupRecord, 0, "周末棋友会",
         gs({"1", "1", "周末棋友会", "周末一起下棋，欢迎新朋友。", "alice", "", "", "", "0", "1"})},
    };
    for (const Case& c : cases) {
        say(alice, c.kind, c.code, {g(c.text)});
        advance(1s);
        Fields got = last(framesOf(alice, c.kind));
        got.resize(c.want.size());
        EXPECT_EQ(got, c.want) << c.text;
    }
    EXPECT_EQ(framesOf(alice, kind::kFindPerson).at(0).fields().size(), 25u);
}

// Pages go on from where the last one ended, so people coming and going meanwhile never make a
// page repeat or skip anyone who was there all along.
TEST_F(ChatTest, ListingPagesNeitherRepeatNorSkip) {
    Account a;
    for (int i = 10; i < 35; ++i) {
        a.name = "p" + std::to_string(i);
        a.nick = "n" + std::to_string(i);
        store().createAccount(a);
        store().setOnline({static_cast<uint32_t>(i), a.name, 1, static_cast<uint16_t>(i)}, "");
        store().createGroup({0, "g" + std::to_string(i), a.name, ""});
    }
    enter(alice, "alice");
    std::vector<Bytes> seen;
    for (int page = 0; page < 3; ++page) {
        say(alice, kind::kOnlinePage, 0, {std::to_string(page * 10 + 1), std::to_string(page * 10 + 10)});
        advance(1s);
        const Fields f = framesOf(alice, kind::kOnlinePage).back().fields();
        for (size_t i = 1; i < f.size(); i += 3) seen.push_back(f[i]);
        // Somebody sorting before every row shown logs in between the pages.
        if (page == 0) store().setOnline({99, "p00", 1, 99}, "");
    }
    const std::set<Bytes> distinct(seen.begin(), seen.end());
    EXPECT_EQ(distinct.size(), seen.size());
    for (const char* everyone : {"p10", "p34", "alice"}) EXPECT_EQ(distinct.count(everyone), 1u) << everyone;

    say(alice, kind::kGroupPage, 0, {"21", "30"});
    advance(1s);
    EXPECT_EQ(last(framesOf(alice, kind::kGroupPage)), gs({"1", "21", "g29", "p29", "22", "g30", "p30", "23", "g31", "p31", "24",
                                                                   "g32", "p32", "25", "g33", "p33", "26", "g34", "p34"}));
}

// Creating takes coins; joining takes the creator's consent, which may come while either is away;
// each of the three answers reaches the requester as the client reads it.
TEST_F(ChatTest, GroupsAreCreatedJoinedByConsentAndLeft) {
    enter(alice, "alice");
    enter(bob, "bob");
    say(bob, kind::kMayCreateGroup);
    say(alice, kind::kMayCreateGroup);
    say(alice, kind::kCreateGroup, 0, {g("新群"), g("介绍"), "0"});
    advance(2s);
    EXPECT_EQ(last(framesOf(bob, kind::kMayCreateGroup)), Fields({"2", "10"}));
    EXPECT_EQ(last(framesOf(alice, kind::kMayCreateGroup)), Fields({"1"}));
    EXPECT_EQ(last(framesOf(alice, kind::kCreateGroup)), gs({"1", "alice", "新群"}));

    struct Answer {
        const char* who;
        Endpoint at;
        uint16_t code;
        Fields fields;  // after own and requester
        Fields told;    // what the requester hears
    } answers[] = {
        {"carol", carol, code::kRefuse, gs({"新群", "不认识"}), gs({"2", "alice", "carol", "新群", "不认识"})},
        {"dave", dave, code::kRefuse, gs({"太多了"}), gs({"2", "alice", "dave", "新群", "太多了"})},
        {"erin", erin, code::kAgree, gs({"新群", " "}), gs({"1", "alice", "erin", "新群", " "})},
    };
    for (const Answer& a : answers) {
        enter(a.at, a.who);
        say(a.at, kind::kJoinRequest, 0, gs({"alice", "新群", "让我进"}));
        advance(2s);
        EXPECT_EQ(last(framesOf(alice, kind::kJoinRequest)), gs({"0", a.who, "alice", "新群", "让我进"}));
        say(bob, kind::kJoinAnswer, code::kAgree, gs({a.who, "新群", " "}));  // not his group: dropped
        say(a.at, kind::kLogout);
        Fields body = {Bytes(a.who)};
        body.insert(body.end(), a.fields.begin(), a.fields.end());
        say(alice, kind::kJoinAnswer, a.code, body);
        advance(2s);
        enter(a.at, a.who);  // the answer waited for him
        advance(2s);
        EXPECT_EQ(last(framesOf(a.at, kind::kJoinAnswer)), a.told) << a.who;
    }
    EXPECT_EQ(framesOf(bob, kind::kJoinAnswer).size(), 0u);
    say(carol, kind::kJoinGroup, 0, gs({"新群"}));  // refused: no consent to confirm
    say(erin, kind::kJoinGroup, 0, gs({"新群"}));
    advance(2s);
    EXPECT_EQ(last(framesOf(carol, kind::kJoinGroup)), gs({"2", "carol", "新群", "2"}));
    EXPECT_EQ(last(framesOf(alice, kind::kJoinGroup)), gs({"1", "erin", "新群", "2"}));
    EXPECT_EQ(last(framesOf(erin, kind::kJoinGroup)), gs({"1", "erin", "新群", "2"}));

    say(erin, kind::kJoinRequest, 0, gs({"alice", "新群", "again"}));  // a member already
    say(carol, kind::kLeaveGroup, 0, gs({"新群"}));                    // not his: dropped
    say(alice, kind::kLeaveGroup, 0, gs({"新群"}));                    // the creator stays
    say(erin, kind::kLeaveGroup, 0, gs({"新群"}));
    advance(2s);
    EXPECT_EQ(last(framesOf(erin, kind::kJoinGroup)), gs({"2", "erin", "新群", "2"}));
    EXPECT_EQ(framesOf(alice, kind::kLeaveGroup).size(), 1u);
    EXPECT_EQ(last(framesOf(alice, kind::kLeaveGroup)), gs({"1", "erin", "新群"}));
    EXPECT_EQ(framesOf(carol, kind::kLeaveGroup).size(), 0u);
}

TEST_F(ChatTest, DissolvedGroupsLeaveEveryTreeAndProfilesAreTheOwners) {
    enter(alice, "alice");
    enter(dave, "dave");
    std::ostringstream out;
    runAdmin(store(), GroupDissolve{"周末棋友会"}, out);
    advance(2s);
    EXPECT_EQ(last(framesOf(alice, kind::kGroupDissolved)), gs({"1", "周末棋友会"}));
    EXPECT_EQ(framesOf(dave, kind::kGroupDissolved).size(), 0u);
    say(alice, kind::kFriendRoster);
    advance(2s);
    EXPECT_EQ(framesOf(alice, kind::kGroupRoster).back().header.code, code::kRosterEmpty);

    // A taken nick keeps the old one; a bad head too; texts are cut to their limits.
    Fields profile = gs({"鲍勃", "x9", std::string(300, 's'), "30", "0"});
    for (int i = 0; i < 14; ++i) profile.push_back(std::string(200, 'a' + i));
    say(dave, kind::kSaveProfile, 0, profile);
    const Account d = *store().account("dave");
    EXPECT_EQ(std::tuple(d.nick, d.head, d.signature.size(), d.age, d.sex, d.city.size(), d.starSign),
              std::tuple(g("戴夫"), Bytes("m5"), 100u, 30, 0, 30u, Bytes("nnnnnnnn")));
}

}  // namespace
}  // namespace nq::server
