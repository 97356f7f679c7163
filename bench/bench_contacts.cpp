// The contact model's heaviest moments, each with its one write of NQUser.nq: the largest
// roster frames a leaf handles, and a full save of each kind. Every iteration changes every
// head it writes, so that each one really rewrites the file.
//
// The write ends with fsync, whose cost is the disk's: run with TMPDIR=/dev/shm to see the
// model's own cost, and without to see it on the disk the profile lives on.

#include <benchmark/benchmark.h>

#include <filesystem>

#include "contacts/contacts.h"
#include "support/session_harness.h"

namespace nq {
namespace {

constexpr int kFriends = 500;
constexpr int kGroups = 50;
constexpr int kMembers = 50;

// A two-byte GBK character per number, so that names stay short and distinct.
Bytes hanzi(int i) {
    return {static_cast<char>(0xB0 + i / 94), static_cast<char>(0xA1 + i % 94)};
}

class Model : public test::SessionHarness {
  public:
    Model() {
        session->myName = "me";
        std::filesystem::create_directories(session->userFolder());
    }
    // Hands the leaf one frame, as the tick would.
    void handle(FrameKind k, uint16_t code, const Bytes& body) {
        session->wire.head = PacketHead{};
        session->wire.head.Type = k.type;
        session->wire.head.Sub = k.sub;
        session->wire.head.Code = code;
        session->wire.msgBody = body;
        session->HandleServerMessage();
    }
    void fillTree(int firstHead) {
        for (int g = 0; g < kGroups; ++g) {
            const Bytes group = "g" + std::to_string(g);
            c.AddVil(c.MyTree(), group, 1);
            for (int m = 0; m < kMembers; ++m)
                c.AddVilmem(c.MyTree(), group, hanzi(g * kMembers + m), firstHead);
        }
    }

    Contacts c{*session};
};

// (3,4) code 1 with 124 friends, a 999-byte body: four keys a friend, one write.
void BM_LargestFriendRoster(benchmark::State& state) {
    Model model;
    Bytes bodies[2];
    for (int i = 0; i < 124; ++i) {
        for (int b = 0; b < 2; ++b) bodies[b] += joinFields({"a", b ? "m1" : "m2", hanzi(i)});
    }
    int n = 0;
    for (auto _ : state) model.handle(kind::kFriendRoster, code::kRosterList, bodies[++n % 2]);
    state.SetLabel(std::to_string(bodies[0].size()) + "-byte body");
}
BENCHMARK(BM_LargestFriendRoster)->Unit(benchmark::kMillisecond);

// (3,7) code 1 filling a 999-byte body, in a tree of 50 groups of 50: the group's keys and then
// the whole tree saved.
void BM_LargestMemberRoster(benchmark::State& state) {
    Model model;
    model.fillTree(25);
    Bytes bodies[2];
    for (int b = 0; b < 2; ++b) {
        appendField(bodies[b], "g0");
        for (int m = 0; 3 + (m + 1) * 6 <= 999; ++m) bodies[b] += joinFields({hanzi(m), b ? "m1" : "m2"});
    }
    int n = 0;
    for (auto _ : state) model.handle(kind::kMemberRoster, code::kRosterList, bodies[++n % 2]);
    state.SetLabel(std::to_string(model.c.MyTree().count()) + " nodes");
}
BENCHMARK(BM_LargestMemberRoster)->Unit(benchmark::kMillisecond);

// saveTofile of 500 friends, 500 blacklisted, 50 groups of 50 members.
void BM_SaveTofile(benchmark::State& state) {
    const int kind = static_cast<int>(state.range(0));
    Model model;
    if (kind == Contacts::kSaveGroups) {
        model.fillTree(25);
    } else {
        for (int i = 0; i < kFriends; ++i) model.c.MyList(kind).AddItem(hanzi(i), "", 25);
    }
    int n = 0;
    for (auto _ : state) {
        state.PauseTiming();
        const int head = 21 + ++n % 2;
        if (kind == Contacts::kSaveGroups) {
            for (int i = 1; i <= model.c.MyTree().count(); ++i) {
                if (!model.c.MyTree().hasChildren(i)) model.c.MyTree().setImage(i, head);
            }
        } else {
            for (int i = 1; i <= kFriends; ++i) model.c.MyList(kind).SetIcon(i, head + 10);
        }
        state.ResumeTiming();
        model.c.saveTofile(kind);
    }
}
BENCHMARK(BM_SaveTofile)
    ->Arg(Contacts::kSaveFriends)
    ->Arg(Contacts::kSaveBlacklist)
    ->Arg(Contacts::kSaveGroups)
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace nq
