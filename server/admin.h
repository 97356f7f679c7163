#pragma once
// The admin commands: accounts, friendships, groups, notices and the demo accounts. They work on the
// store directly, so they run while a server runs on the same database.

#include <ostream>

#include "server/cli.h"
#include "server/store.h"

namespace nq::server {

// Runs one admin command and reports on out. Bad input throws UsageError (or StoreError for
// a taken name), with a message for the user.
void runAdmin(Store& store, const Command& command, std::ostream& out);

// The demo accounts, for documentation and tests. No m0 or w3: the client's head pictures 1 and
// 13 double as its group and room icons, so those heads would show a person as a group or a house.
struct DemoAccount {
    const char* name;
    const char* nick;
    const char* head;
};
inline constexpr DemoAccount kDemoAccounts[] = {
    {"alice", "爱丽丝", "w2"}, {"bob", "鲍勃", "m2"},  {"carol", "卡罗尔", "w7"},
    {"dave", "戴夫", "m5"},    {"erin", "艾琳", "w1"},
};
inline constexpr const char* kDemoPassword = "123456";
// A group that brings together friends and people who are not: erin is nobody's friend.
struct DemoGroup {
    const char* name;
    const char* creator;
    const char* members[3];
    const char* intro;
};
inline constexpr DemoGroup kDemoGroup = {
    "周末棋友会", "alice", {"bob", "carol", "erin"}, "周末一起下棋，欢迎新朋友。"};
// The public room, with one of the demo accounts as its customer service.
struct DemoRoom {
    const char* name;
    const char* staff;
};
inline constexpr DemoRoom kDemoRoom = {"珀岚大厅", "dave"};

}  // namespace nq::server
