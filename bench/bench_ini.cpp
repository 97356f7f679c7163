// Reads of a large roster file: 1000 sections, as NQUser.nq grows with a long friend list.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "store/ini_file.h"
#include "store/store_keys.h"
#include "wire/gbk.h"

namespace nq {
namespace {

constexpr int kSections = 1000;

// One file for the whole run, in a folder removed at exit.
class RosterFile {
  public:
    RosterFile() {
        std::string tmpl = (std::filesystem::temp_directory_path() / "nq-bench-XXXXXX").string();
        if (!::mkdtemp(tmpl.data())) std::abort();
        dir_ = tmpl;
        path_ = (dir_ / std::string(store::user::kFileName)).string();
        std::string text;
        for (int i = 0; i < kSections; ++i) {
            text += "[" + sectionName(i) + "]\r\n";
            text +=
                std::string(store::user::kItsName) + "=" + gbk::fromUtf8("好友") + std::to_string(i) + "\r\n";
            text += std::string(store::user::kNickHeadId) + "=" + std::to_string(i % 90) + "\r\n";
            text += std::string(store::user::kOnline) + "=1\r\n";
        }
        std::ofstream(path_, std::ios::binary) << text;
        for (int i = 0; i < kSections; ++i) sections_.push_back(sectionName(i));
    }
    ~RosterFile() {
        std::error_code ec;
        std::filesystem::remove_all(dir_, ec);
    }

    const std::string& path() const { return path_; }
    const std::vector<std::string>& sections() const { return sections_; }

  private:
    static std::string sectionName(int i) { return gbk::fromUtf8("昵称") + std::to_string(i); }

    std::filesystem::path dir_;
    std::string path_;
    std::vector<std::string> sections_;
};

RosterFile& roster() {
    static RosterFile file;
    return file;
}

// 1000 reads, one key of every section, the file unchanged between them.
void BM_Read1000KeysCached(benchmark::State& state) {
    CIniFile ini(roster().path());
    benchmark::DoNotOptimize(ini.GetIniKey(roster().sections()[0], store::user::kNickHeadId));
    for (auto _ : state) {
        for (const auto& s : roster().sections()) {
            Bytes v = ini.GetIniKey(s, store::user::kNickHeadId);
            benchmark::DoNotOptimize(v.data());
        }
    }
    state.SetItemsProcessed(state.iterations() * kSections);
}
BENCHMARK(BM_Read1000KeysCached)->Unit(benchmark::kMillisecond);

// One read that has to load and parse the whole file, as the first read after start-up.
void BM_ReadOneKeyCold(benchmark::State& state) {
    CIniFile ini(roster().path());
    for (auto _ : state) {
        CIniFile::dropCache();
        Bytes v = ini.GetIniKey(roster().sections()[kSections / 2], store::user::kNickHeadId);
        benchmark::DoNotOptimize(v.data());
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ReadOneKeyCold)->Unit(benchmark::kMillisecond);

// One write into the large file: the whole file is written beside it and renamed over it.
void BM_WriteOneKey(benchmark::State& state) {
    CIniFile ini(roster().path());
    int n = 0;
    for (auto _ : state) {
        ini.WriteIniKey(roster().sections()[kSections / 2], store::user::kOnline, (++n & 1) ? "0" : "1");
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_WriteOneKey)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace nq
