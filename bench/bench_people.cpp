// Searches and listing pages at the chat server, at 10,000 accounts (all of them online) and
// 1,000 groups: the time from a request's datagram to its answer leaving the service, in-process,
// for each kind of request. Prints p50, p99 and the worst per kind, and fails when a p99 reaches
// 5 ms. Options: --accounts N (10000), --groups N (1000), --requests N (2000 per kind).

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "server/chat_service.h"
#include "server/credentials.h"
#include "server/sqlite_store.h"
#include "wire/digest.h"
#include "wire/fields.h"

using namespace nq;
using namespace nq::server;
using Clock = std::chrono::steady_clock;

namespace {

struct Options {
    int accounts = 10000;
    int groups = 1000;
    int requests = 2000;
};

std::string name(int i) {
    return "user" + std::to_string(i);
}

}  // namespace

int main(int argc, char** argv) {
    Options o;
    for (int i = 1; i + 1 < argc; i += 2) {
        const int v = std::atoi(argv[i + 1]);
        if (!std::strcmp(argv[i], "--accounts")) o.accounts = v;
        else if (!std::strcmp(argv[i], "--groups")) o.groups = v;
        else if (!std::strcmp(argv[i], "--requests")) o.requests = v;
    }
    const std::string path = "/tmp/bench_people_" + std::to_string(getpid()) + ".db";
    int failed = 0;
    {
        SqliteStore store(path);
        const std::string seal = sealDigest(*passwordDigest("123456"));
        store.writeBatch(
            static_cast<size_t>(o.accounts),
            [&](size_t i) {
                Account a;
                a.name = name(static_cast<int>(i));
                a.nick = "nick" + std::to_string(i);
                a.digest = seal;
                a.signature = "a signature of some length, as people write them";
                store.createAccount(a);
                store.setOnline({static_cast<uint32_t>(i + 1000), a.name, 0x7F000002, static_cast<uint16_t>(i), true},
                                "");
            },
            true);
        store.writeBatch(
            static_cast<size_t>(o.groups),
            [&](size_t i) { store.createGroup({0, "group" + std::to_string(i), name(static_cast<int>(i)), "intro"}); },
            true);

        Logger log;
        log.setSink([](std::string_view) {});
        ChatConfig config;
        ChatService chat(store, config, log);
        const Endpoint me{0x7F000001, 7001};
        Clock::time_point now = Clock::now();
        const std::string digest = *passwordDigest("123456");
        chat.onDatagram(me, encodeFrame({1, 1, 1, 0, 0}, joinFields({"user0", digest})), now);
        const auto session = chat.sessionOf("user0");
        if (!session) {
            std::fprintf(stderr, "bench_people: the login failed\n");
            return 1;
        }
        chat.output().clear();

        int page = 0;
        struct Kind {
            const char* what;
            FrameKind kind;
            uint16_t code;
            std::function<std::vector<Bytes>(int)> fields;
        } kinds[] = {
            {"find by account (5,3) code 3", kind::kFindPerson, code::kSearchByName,
             [&](int i) { return std::vector<Bytes>{name(i * 7919 % o.accounts)}; }},
            {"find by nick (5,3) code 4", kind::kFindPerson, code::kSearchByNick,
             [&](int i) { return std::vector<Bytes>{"nick" + std::to_string(i * 7919 % o.accounts)}; }},
            // The user pages on with "more", and starts again now and then.
            {"online page (3,8), paging on", kind::kOnlinePage, 0,
             [&](int) {
                 page = page == 20 ? 0 : page + 1;
                 return std::vector<Bytes>{std::to_string(page * 10 + 1), std::to_string(page * 10 + 10)};
             }},
            {"online page (3,8), out of turn", kind::kOnlinePage, 0,
             [&](int i) {
                 const int first = (i * 7919 % (o.accounts / 10)) * 10 + 1;
                 return std::vector<Bytes>{std::to_string(first), std::to_string(first + 9)};
             }},
            {"group page (3,9), out of turn", kind::kGroupPage, 0,
             [&](int i) {
                 const int first = (i * 7919 % (o.groups / 10)) * 10 + 1;
                 return std::vector<Bytes>{std::to_string(first), std::to_string(first + 9)};
             }},
            {"group search by name (3,10) code 1", kind::kGroupSearch, code::kGroupSearchByName,
             [&](int i) { return std::vector<Bytes>{std::to_string(i % 1000)}; }},
            {"group search by number (3,10) code 3", kind::kGroupSearch, code::kGroupSearchByNumber,
             [&](int i) { return std::vector<Bytes>{std::to_string(i % o.groups + 1)}; }},
        };
        std::printf("%d accounts online, %d groups, %d requests of each kind\n", o.accounts, o.groups, o.requests);
        for (Kind& k : kinds) {
            std::vector<double> ms;
            for (int i = 0; i < o.requests; ++i) {
                Bytes body = joinFields({"user0"});
                for (const Bytes& f : k.fields(i)) appendField(body, f);
                const Bytes frame = encodeFrame({1, k.kind.type, k.kind.sub, *session, k.code}, body);
                // A second of the client's time between requests: within every limit per peer,
                // and the pacer has sent the last answer.
                now += std::chrono::seconds(1);
                const auto start = Clock::now();
                chat.onDatagram(me, frame, now);
                ms.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
                chat.onTimer(now);
                chat.output().clear();
            }
            std::sort(ms.begin(), ms.end());
            const double p99 = ms[ms.size() * 99 / 100];
            std::printf("%-40s p50 %.3f ms  p99 %.3f ms  max %.3f ms\n", k.what, ms[ms.size() / 2], p99, ms.back());
            if (p99 >= 5) ++failed;
        }
    }
    for (const char* end : {"", "-wal", "-shm"}) unlink((path + end).c_str());
    if (failed) std::printf("%d kinds over 5 ms at p99\n", failed);
    return failed ? 1 : 0;
}
