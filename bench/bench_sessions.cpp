// What keeping sessions in the store costs a login: the online row, written at every login
// already, now carries the session; the first (2,6) marks it ready; its end deletes it.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <string>

#include "server/sqlite_store.h"

namespace nq::server {
namespace {

const std::string kServer = "127.0.0.1:8000";

struct TempStore {
    std::string path = "/tmp/bench_sessions_" + std::to_string(getpid()) + ".db";
    SqliteStore store{path};
    ~TempStore() {
        for (const char* end : {"", "-wal", "-shm"}) unlink((path + end).c_str());
    }
};

void BM_OpenSession(benchmark::State& state) {
    TempStore t;
    uint32_t n = 0;
    for (auto _ : state) {
        const Bytes account = "user" + std::to_string(++n % 10000);
        t.store.setOnline({n, account, 0x7F000001, static_cast<uint16_t>(n), false}, kServer);
    }
}
BENCHMARK(BM_OpenSession)->Unit(benchmark::kMicrosecond);

void BM_MarkReady(benchmark::State& state) {
    TempStore t;
    for (uint32_t n = 0; n < 10000; ++n)
        t.store.setOnline({n + 1, "user" + std::to_string(n), 0x7F000001, static_cast<uint16_t>(n), false},
                          kServer);
    uint32_t n = 0;
    for (auto _ : state) t.store.setReady("user" + std::to_string(++n % 10000), kServer);
}
BENCHMARK(BM_MarkReady)->Unit(benchmark::kMicrosecond);

void BM_EndSession(benchmark::State& state) {
    TempStore t;
    uint32_t n = 0;
    for (auto _ : state) {
        state.PauseTiming();
        const Bytes account = "user" + std::to_string(++n);
        t.store.setOnline({n, account, 0x7F000001, static_cast<uint16_t>(n), false}, kServer);
        state.ResumeTiming();
        t.store.setOffline(account, kServer, n);
    }
}
BENCHMARK(BM_EndSession)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace nq::server
