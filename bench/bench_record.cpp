// Opening the chat record on a revMsg.nq of a million records: read the file, count one contact's
// records and lay out the newest page, first in the file logic alone and then in the record
// window (widgets and all). The target is under 0.5 s with memory bounded; the peak resident
// size of the process is reported beside the times. The file is fresh, so it is read from the
// page cache: a cold disk adds its read time on top.

#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <QApplication>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "app/frm_chat_record.h"
#include "conversation/chat_record.h"
#include "wire/gbk.h"

namespace nq {
namespace {

constexpr int kRecords = 1'000'000;
constexpr int kContacts = 50;

std::string friendName(int i) {
    return gbk::fromUtf8("好友") + std::to_string(i);
}

// One file for the whole run, written in 1 MiB pieces so that making it does not raise the
// peak memory being measured. Every record of a contact alternates between received and sent;
// "好友0" also owns every 2nd record, so it is the contact with the most.
class MillionRecords {
  public:
    MillionRecords() {
        std::string tmpl = (std::filesystem::temp_directory_path() / "nq-bench-XXXXXX").string();
        if (!::mkdtemp(tmpl.data())) std::abort();
        dir_ = tmpl;
        path_ = (dir_ / kRecordFile).string();
        std::ofstream out(path_, std::ios::binary);
        const Bytes text = gbk::fromUtf8("今天晚上一起打牌吗？/smile 八点老地方见");
        const Bytes me = gbk::fromUtf8("艾米");
        std::string chunk;
        for (int i = 0; i < kRecords; ++i) {
            const std::string name = friendName(i % 2 == 0 ? 0 : 1 + i % (kContacts - 1));
            const std::string time = "2024-5-" + std::to_string(1 + i % 28) + " 12:30:07";
            chunk += i % 4 < 2 ? incomingRecordLine(name, {}, {}, time, text)
                               : outgoingRecordLine(name, me, time, text);
            chunk += "\r\n";
            if (chunk.size() > (1u << 20)) {
                out << chunk;
                chunk.clear();
            }
        }
        out << chunk;
        size_ = static_cast<std::size_t>(out.tellp());
    }
    ~MillionRecords() {
        std::error_code ec;
        std::filesystem::remove_all(dir_, ec);
    }
    const std::string& path() const { return path_; }
    std::size_t size() const { return size_; }

  private:
    std::filesystem::path dir_;
    std::string path_;
    std::size_t size_ = 0;
};

MillionRecords& records() {
    static MillionRecords file;
    return file;
}

double peakResidentMiB() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / 1024;
}

// The process before any benchmark ran (Qt loaded, file not yet made), for comparison.
double residentAtStart = 0;

void reportMemory(benchmark::State& state, int matching) {
    state.counters["start_rss_MiB"] = residentAtStart;
    state.counters["file_MiB"] = static_cast<double>(records().size()) / (1 << 20);
    state.counters["matching"] = matching;
    state.counters["peak_rss_MiB"] = peakResidentMiB();
}

// Arg: which contact. 0 owns half of the file, 7 one 98th of it.
void BM_RecordFirstPage(benchmark::State& state) {
    const std::string contact = friendName(static_cast<int>(state.range(0)));
    int matching = 0;
    for (auto _ : state) {
        ChatRecord record(records().path());
        const auto page = record.showRecordPage(contact, 0);
        matching = record.countRecords(contact);
        benchmark::DoNotOptimize(page.data());
    }
    reportMemory(state, matching);
}
BENCHMARK(BM_RecordFirstPage)->Arg(0)->Arg(7)->Unit(benchmark::kMillisecond);

// A page from the middle of the contact's records, found from the remembered record starts.
void BM_RecordMiddlePage(benchmark::State& state) {
    const std::string contact = friendName(0);
    ChatRecord record(records().path());
    const int pages = record.countRecords(contact) / kRecordPageSize;
    for (auto _ : state) benchmark::DoNotOptimize(record.showRecordPage(contact, pages / 2).data());
}
BENCHMARK(BM_RecordMiddlePage)->Unit(benchmark::kMicrosecond);

// The window as the chat window opens it: load, then the first page written into the pane.
void BM_RecordWindowFirstPage(benchmark::State& state) {
    const QString contact = QString::fromStdString(gbk::toUtf8(friendName(0)));
    int matching = 0;
    for (auto _ : state) {
        app::frmChatRecord window(records().path(), "");
        window.showRecordPage(contact, 0);
        matching = window.countRecords(contact);
        benchmark::DoNotOptimize(window.RichTextBox1);
    }
    reportMemory(state, matching);
}
BENCHMARK(BM_RecordWindowFirstPage)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace nq

int main(int argc, char** argv) {
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication app(argc, argv);
    nq::residentAtStart = nq::peakResidentMiB();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
