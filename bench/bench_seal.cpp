// The cost of a login's password check: today's yescrypt seal, the salted MD5 it replaces, and
// a login held back by the throttle, which is not checked at all.

#include <benchmark/benchmark.h>

#include "server/credentials.h"
#include "server/login_throttle.h"
#include "wire/digest.h"

namespace nq::server {
namespace {

const std::string kDigest = *passwordDigest("123456");

void BM_CheckSeal(benchmark::State& state) {
    const std::string sealed = sealDigest(kDigest);
    for (auto _ : state) benchmark::DoNotOptimize(digestMatches(sealed, kDigest));
}
BENCHMARK(BM_CheckSeal)->Unit(benchmark::kMillisecond);

void BM_CheckOldMd5Seal(benchmark::State& state) {
    const std::string sealed = "s1$0123456789abcdef$" + Md5Hex("0123456789abcdef" + kDigest);
    for (auto _ : state) benchmark::DoNotOptimize(digestMatches(sealed, kDigest));
}
BENCHMARK(BM_CheckOldMd5Seal)->Unit(benchmark::kMicrosecond);

void BM_HeldBackAddress(benchmark::State& state) {
    LoginLimits limits;
    limits.addressFailures = 1;
    LoginThrottle throttle(limits);
    const Time now = Clock::now();
    throttle.failed(1, nullptr, now);
    for (auto _ : state) benchmark::DoNotOptimize(throttle.addressMayTry(1, now));
}
BENCHMARK(BM_HeldBackAddress)->Unit(benchmark::kNanosecond);

}  // namespace
}  // namespace nq::server
