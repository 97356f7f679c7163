#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <functional>
#include <iterator>
#include <optional>
#include <random>
#include <string>

#include "store/ini_batch.h"
#include "store/ini_file.h"
#include "store/store_keys.h"
#include "support/temp_dir.h"
#include "wire/gbk.h"

namespace nq {
namespace {

using namespace std::string_literals;
namespace fs = std::filesystem;

// Lines as the Windows client wrote them, each closed by CR LF.
std::string crlf(std::initializer_list<std::string> lines) {
    std::string out;
    for (const auto& l : lines) out += l + "\r\n";
    return out;
}

int entriesIn(const std::string& dir) {
    return static_cast<int>(std::distance(fs::directory_iterator(dir), fs::directory_iterator()));
}

class IniFileTest : public ::testing::Test {
  protected:
    // Bytes put on disk by another program, behind the back of the cache.
    void external(const std::string& bytes) { test::writeFile(ini.INIFileName(), bytes); }
    std::string onDisk() const { return test::readFile(ini.INIFileName()); }

    test::TempDir dir{"nq-ini"};
    CIniFile ini{dir.file("NQUser.nq")};
};

TEST_F(IniFileTest, ValuesAreCutToWholeCharactersWithin1023Bytes) {
    Bytes chinese;
    for (int i = 0; i < 600; ++i) chinese += gbk::fromUtf8("中");
    struct Case {
        std::string value;
        size_t expected;
    } cases[] = {{std::string(1022, 'a'), 1022},
                 {std::string(1023, 'a'), 1023},
                 {std::string(1024, 'a'), 1023},
                 {chinese, 1022},  // 1023 is odd: the character straddling the cap goes whole
                 {"a" + chinese, 1023}};
    for (const auto& c : cases) {
        ASSERT_TRUE(ini.WriteIniKey("S", "k", c.value));
        EXPECT_EQ(ini.GetIniKey("S", "k"), c.value.substr(0, c.expected)) << c.expected;
        EXPECT_EQ(ini.GetIniKey1("S", "k"),
                  c.value.substr(0, c.expected) + std::string(1023 - c.expected, ' '));
    }
}

TEST_F(IniFileTest, BlanksQuotesAndPaddingFollowTheProfileCall) {
    EXPECT_EQ(ini.GetIniKey1("S", "k"), std::string(1023, ' '));
    EXPECT_FALSE(fileExists(ini.INIFileName())) << "a read must not create the file";
    struct Case {
        std::string line;     // under [S]
        std::string trimmed;  // GetIniKey
        std::string raw;      // GetIniKey1 without its padding
    } cases[] = {{"k=  a b  ", "a b", "a b"},
                 {"  k \t=\t v \t", "v", "v"},
                 {"k=\"  quoted \"", "quoted", "  quoted "},
                 {"k='single'", "single", "single"},
                 {"k=\"mismatched'", "\"mismatched'", "\"mismatched'"},
                 {"k=\"", "\"", "\""},
                 {"k=\"\"", "", ""},
                 {"k=''x", "''x", "''x"},
                 {"k=a=b", "a=b", "a=b"},
                 {"k=a\0b"s, "a", "a"},
                 {"k= \"a\0\""s, "\"a", "\"a"},
                 {"other=1", "", ""},
                 {"; k=comment", "", ""},
                 {"k", "", ""}};
    for (const auto& c : cases) {
        external(crlf({"[S]", c.line}));
        EXPECT_EQ(ini.GetIniKey("S", "k"), c.trimmed) << c.line;
        EXPECT_EQ(ini.GetIniKey1("S", "k"), c.raw + std::string(1023 - c.raw.size(), ' ')) << c.line;
    }
    EXPECT_EQ(ini.GetIniKey("T", "other"), "");
}

TEST_F(IniFileTest, NamesMatchIgnoringAsciiCaseButNeverFoldTrailBytes) {
    // 0x81 0x41 and 0x81 0x61 are two characters whose trail bytes happen to be "A" and "a".
    const std::string upper = "\x81\x41", lower = "\x81\x61";
    external(crlf({"orphan=before any section", "[Friends]", "3HeadId=7", "[ Zone ]", "Zz=z",
                   "[" + upper + "Nick]", "ItsName=upper", "[\x81]", "k=not a section", "[\x81\x5D]",
                   "k=trail is ]", "[a]b]", "k=last bracket"}));
    struct Case {
        std::string section, key, expected;
    } cases[] = {{"FRIENDS", "3headid", "7"},
                 {"  fRiEnDs\t", " 3HEADID ", "7"},
                 {"Friend", "3HeadId", ""},
                 {"zONE", "zZ", "z"},
                 {"ZONE", "ZZ", "z"},
                 {upper + "NICK", "itsname", "upper"},
                 {lower + "Nick", "ItsName", ""},
                 {"\x81", "k", ""},
                 {"\x81\x5D", "k", "trail is ]"},
                 {"a]b", "k", "last bracket"},
                 {"Friends\0x"s, "3HeadId\0y"s, "7"},
                 {"", "orphan", ""}};
    for (const auto& c : cases)
        EXPECT_EQ(ini.GetIniKey(c.section, c.key), c.expected) << c.section << "/" << c.key;
}

// ---- Changes: the file before, what is done, the file after (nullopt: no file).
TEST_F(IniFileTest, ChangesKeepEveryOtherLineAsItWas) {
    using Op = std::function<bool(CIniFile&)>;
    auto write = [](std::string s, std::string k, std::string v) -> Op {
        return [=](CIniFile& f) { return f.WriteIniKey(s, k, v); };
    };
    struct Case {
        const char* what;
        std::optional<std::string> before;
        std::vector<Op> ops;
        std::optional<std::string> after;
    } cases[] = {
        {"a new file",
         std::nullopt,
         {write("Setting", "UserName", "alice"), write("Setting", "Password", "x"),
          write("Position", "Main", "1,2")},
         crlf({"[Setting]", "UserName=alice", "Password=x", "[Position]", "Main=1,2"})},
        {"replaced in place, appended after the last non-blank line",
         crlf({"[A]", "k1\t=\t1", "junk line", "k2=2", "", "[B]", "k1=b", ""}),
         {write("A", "K1", "one"), write("A", "k3", "3"), write("B", "k2", "b2")},
         crlf({"[A]", "k1=one", "junk line", "k2=2", "k3=3", "", "[B]", "k1=b", "k2=b2", ""})},
        {"an unchanged value leaves the line alone",
         crlf({"[S]", "k = v "}),
         {write("s", "K", "v")},
         crlf({"[S]", "k = v "})},
        {"into a section of blank lines",
         crlf({"[A]", "", "[B]"}),
         {write("A", "k", "1")},
         crlf({"[A]", "k=1", "", "[B]"})},
        {"the first of duplicates",
         crlf({"[S]", "k=1", "k=2", "[s]", "k=3"}),
         {write("S", "k", "new")},
         crlf({"[S]", "k=new", "k=2", "[s]", "k=3"})},
        {"a last line without its end", "[A]\r\nk=1"s, {write("A", "j", "2")}, "[A]\r\nk=1\r\nj=2\r\n"s},
        {"LF lines stay LF", "[A]\nk=1\n"s, {write("B", "j", "2")}, "[A]\nk=1\n[B]\r\nj=2\r\n"s},
        {"input ends at NUL, CR and LF",
         std::nullopt,
         {write("S", "k", "ab\0cd"s), write("S\0junk"s, "k2\0x"s, "v"),
          write("S", "k3", "line\r\n[Evil]\r\nk=1"), write("S", "k4", "a\nb")},
         crlf({"[S]", "k=ab", "k2=v", "k3=line", "k4=a"})},
        {"every line of a key, in that section only",
         crlf({"[S]", "a=1", "K=2", "k=dup", "[T]", "k=4", "[s]", "k=5"}),
         {[](CIniFile& f) {
             return f.DelIniKey("s", "k") && f.DelIniKey("S", "absent") && f.DelIniKey("X", "a");
         }},
         crlf({"[S]", "a=1", "[T]", "k=4", "[s]"})},
        {"every copy of a section",
         crlf({"; head", "[A]", "x=1", "", "[B]", "y=2", "[a]", "z=3", "[C]", "w=4"}),
         {[](CIniFile& f) { return f.DelIniSec("A") && f.DelIniSec("C"); }},
         crlf({"; head", "[B]", "y=2"})},
        {"deleting from no file",
         std::nullopt,
         {[](CIniFile& f) { return f.DelIniKey("S", "k") && f.DelIniSec("S"); }},
         std::nullopt}};
    for (const auto& c : cases) {
        fs::remove(ini.INIFileName());
        if (c.before) external(*c.before);
        for (const auto& op : c.ops) EXPECT_TRUE(op(ini)) << c.what;
        EXPECT_EQ(fileExists(ini.INIFileName()), c.after.has_value()) << c.what;
        if (c.after) {
            EXPECT_EQ(onDisk(), *c.after) << c.what;
        }
    }
}

TEST_F(IniFileTest, NamesThatCannotReadBackAreRefused) {
    const std::string keys[] = {"", " ", "[x]", ";x", "a=b", "a\rb"};
    for (const auto& k : keys) EXPECT_FALSE(ini.WriteIniKey("S", k, "v")) << k;
    // A section ending in a lone lead byte would swallow its closing bracket.
    for (const std::string s : {"", "S\nT", "S\x81"}) EXPECT_FALSE(ini.WriteIniKey(s, "k", "v")) << s;
    EXPECT_FALSE(fileExists(ini.INIFileName()));
}

TEST_F(IniFileTest, WritesThroughALinkLandInItsTarget) {
    const std::string real = dir.file("elsewhere.nq");
    test::writeFile(real, crlf({"[S]", "k=1"}));
    fs::create_symlink(real, ini.INIFileName());
    ASSERT_TRUE(ini.WriteIniKey("S", "k", "2"));
    EXPECT_TRUE(fs::is_symlink(ini.INIFileName()));
    EXPECT_EQ(test::readFile(real), crlf({"[S]", "k=2"}));
}

// ---- Failures: told once on stderr, nothing half-done left behind.

TEST_F(IniFileTest, UnusablePlacesFailAndSaySoOnce) {
    test::writeFile(dir.file("plain"), "x");
    fs::create_directory(dir.file("folder"));
    test::writeFile(dir.file("huge"), "");
    ASSERT_EQ(::truncate(dir.file("huge").c_str(), CIniFile::kMaxFileBytes + 1), 0);  // sparse
    const std::string places[] = {dir.file("missing/NQUser.nq"), dir.file("plain/NQUser.nq"),
                                  dir.file("folder"), dir.file("huge")};
    for (const auto& p : places) {
        CIniFile f(p);
        ::testing::internal::CaptureStderr();
        EXPECT_FALSE(f.WriteIniKey("S", "k", "v")) << p;
        EXPECT_FALSE(f.WriteIniKey("S", "k2", "v")) << p;
        EXPECT_FALSE(f.WriteIniKey("T", "k", "v")) << p;
        const std::string told = ::testing::internal::GetCapturedStderr();
        EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 1) << told;
        EXPECT_NE(told.find(p), std::string::npos) << told;
        EXPECT_EQ(f.GetIniKey("S", "k"), "") << p;
    }
    EXPECT_EQ(fs::file_size(dir.file("huge")), CIniFile::kMaxFileBytes + 1) << "not truncated";
    EXPECT_EQ(entriesIn(dir.path()), 3) << "no temporary left behind";
}

TEST_F(IniFileTest, WriteFailingHalfWayKeepsTheOriginalAndIsToldAgainAfterASuccess) {
    std::string body = "[S]\r\n";
    for (int i = 0; i < 500; ++i) body += "k" + std::to_string(i) + "=" + std::string(20, 'v') + "\r\n";
    external(body);
    // A file size limit makes the copy fail after its first 4096 bytes, as a full disk would.
    auto failingWrite = [&] {
        rlimit saved{};
        ::getrlimit(RLIMIT_FSIZE, &saved);
        const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
        rlimit small = saved;
        small.rlim_cur = 4096;
        ::setrlimit(RLIMIT_FSIZE, &small);
        ::testing::internal::CaptureStderr();
        const bool landed = ini.WriteIniKey("S", "k0", "changed");
        const std::string told = ::testing::internal::GetCapturedStderr();
        ::setrlimit(RLIMIT_FSIZE, &saved);
        std::signal(SIGXFSZ, oldHandler);
        EXPECT_FALSE(landed);
        return told;
    };
    EXPECT_NE(failingWrite().find("File too large"), std::string::npos);
    EXPECT_EQ(failingWrite(), "") << "the same failure is told once";
    EXPECT_EQ(onDisk(), body);
    EXPECT_EQ(ini.GetIniKey("S", "k0"), std::string(20, 'v'));
    EXPECT_EQ(entriesIn(dir.path()), 1) << "the temporary copy is removed";
    ASSERT_TRUE(ini.WriteIniKey("S", "k1", "changed"));
    EXPECT_NE(failingWrite(), "") << "after a success, a new failure is news";
}

TEST_F(IniFileTest, OnlyTemporariesOfGoneProcessesAreSwept) {
    const std::string gone = ".NQUser.nq.tmp2147483000-4";  // far above any pid_max
    const std::string kept[] = {
        ".NQUser.nq.tmp1-0",                                   // a live process (init)
        ".NQUser.nq.tmp" + std::to_string(::getpid()) + "-9",  // this process, perhaps mid-write
        ".NQUser.nq.tmp2147483000-",
        ".NQUser.nq.tmpabc-1",        // not the writers' pattern
        "NQUser.nq.tmp2147483000-4",  // not hidden: somebody's own file
    };
    test::writeFile(dir.file(gone), "partial");
    for (const std::string& name : kept) test::writeFile(dir.file(name), "x");
    EXPECT_TRUE(ini.WriteIniKey("S", "k", "v"));
    EXPECT_FALSE(fs::exists(dir.file(gone)));
    for (const std::string& name : kept) EXPECT_TRUE(fs::exists(dir.file(name))) << name;
}

// ---- The cache: stamps decide, and content while a stamp is younger than a clock tick.

// The wall clock pinned, so that a stamp can sit exactly inside or outside the racy window.
constexpr int64_t kNowNs = 1'800'000'000'000'000'000;
void setMtime(const std::string& path, int64_t nsBeforeNow) {
    const int64_t at = kNowNs - nsBeforeNow;
    const timespec t = {static_cast<time_t>(at / 1'000'000'000), static_cast<long>(at % 1'000'000'000)};
    const timespec times[2] = {t, t};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
}

TEST_F(IniFileTest, ChangesOnDiskAreSeenAndUnchangedFilesParsedOnce) {
    CIniFile::setWallClock([] { return kNowNs; });
    const std::string path = ini.INIFileName();
    constexpr int64_t kHour = 3'600'000'000'000, kMs = 1'000'000;
    external(crlf({"[S]", "k=1"}));
    setMtime(path, kHour);
    CIniFile::dropCache();
    const uint64_t start = CIniFile::diskParseCount();
    for (int i = 0; i < 20; ++i) ASSERT_EQ(ini.GetIniKey("S", "k"), "1");
    ASSERT_TRUE(ini.WriteIniKey("S", "k", "0"));
    EXPECT_EQ(CIniFile(path).GetIniKey("S", "k"), "0");
    EXPECT_EQ(CIniFile::diskParseCount(), start + 1) << "own writes need no reread, by any instance";

    struct Case {
        const char* what;
        std::string value;
        int64_t before;  // ns before now
        bool renamed;
    } cases[] = {{"another size, the same time", "22", kHour, false},
                 {"the same size, other nanoseconds", "33", kHour - 1, false},
                 {"the same size and time, a new file renamed over it", "44", kHour - 1, true},
                 {"the same size and time, 10 ms ago: within one clock tick", "55", 10 * kMs, false},
                 {"again within that tick", "66", 10 * kMs, false}};
    for (const auto& c : cases) {
        const std::string target = c.renamed ? dir.file("new") : path;
        test::writeFile(target, crlf({"[S]", "k=" + c.value}));
        setMtime(target, c.before);
        if (c.renamed) fs::rename(target, path);
        EXPECT_EQ(ini.GetIniKey("S", "k"), c.value) << c.what;
    }
    fs::remove(path);
    EXPECT_EQ(ini.GetIniKey("S", "k"), "");
    CIniFile::setWallClock(nullptr);
}

TEST_F(IniFileTest, DamagedFilesSurviveReadsAndWrites) {
    std::mt19937 rng(42);
    auto randomBytes = [&](size_t n) {
        std::string s(n, '\0');
        for (auto& c : s) c = static_cast<char>(rng());
        return s;
    };
    const std::string cases[] = {
        randomBytes(4096),
        std::string(100000, 'k') + "=v",
        std::string(5000, '\0') + "[S]\0\r\nk=\0\r\n"s,
        randomBytes(10 * 1024 * 1024),
        "[\x81\r\n\x81=\x81\r\n[S\xFF]\r\n\xFF",
        "[\r\n]\r\n[]\r\n[[]]\r\n=",
        "[S]\rk=1\r\r\r",
        "",
    };
    for (const auto& bytes : cases) {
        external(bytes);
        (void)ini.GetIniKey1("\x81", "\x81");
        ASSERT_TRUE(ini.WriteIniKey("NewSection", "key", "value"));
        EXPECT_EQ(ini.GetIniKey("NewSection", "key"), "value");
        const std::string glue = (bytes.empty() || bytes.back() == '\n') ? "" : "\r\n";
        EXPECT_TRUE(onDisk() == bytes + glue + "[NewSection]\r\nkey=value\r\n") << bytes.substr(0, 40);
    }
}

TEST(IniPath, MakePathJoinsWithExactlyOneSlashAndFileExistsOnlyForNonFolders) {
    struct Case {
        std::string drv, dir, expected;
    } cases[] = {{"/home/u", "NQUser.nq", "/home/u/NQUser.nq"},
                 {"C:\\Users\\\\", "\\\\NQUser.nq", "C:\\Users/NQUser.nq"},
                 {"/a/\\/", "/\\/b/c/", "/a/b/c/"},
                 {"", "f", "/f"},
                 {"/d", "", "/d/"},
                 // A trailing 0x5C that is the second byte of a character is not a separator.
                 {"/home/\x81\x5C\\", "\\f", "/home/\x81\x5C/f"}};
    for (const auto& c : cases)
        EXPECT_EQ(CIniFile::MakePath(c.drv, c.dir), c.expected) << c.drv << " + " << c.dir;

    test::TempDir dir;
    test::writeFile(dir.file("f"), "");
    fs::create_symlink(dir.file("nowhere"), dir.file("dangling"));
    fs::create_symlink(dir.file("f"), dir.file("link"));
    for (const auto& [path, exists] :
         std::initializer_list<std::pair<std::string, bool>>{{"", false},
                                                             {dir.file("f"), true},
                                                             {dir.file("link"), true},
                                                             {dir.file("dangling"), false},
                                                             {dir.path(), false},
                                                             {dir.file("f/below"), false}})
        EXPECT_EQ(fileExists(path), exists) << path;
}

// A batch leaves the file as the same writes made one by one would, and its reads see its own
// writes; nothing reaches the disk before the commit. The writes mix new and existing keys and
// sections, spellings that differ in case, blank lines, a duplicate section and values to trim.
TEST(IniBatch, EndsWhereTheSameWritesOneByOneEnd) {
    test::TempDir dir{"nq-batch"};
    const std::string start = crlf({"; kept", "[A]", "k1=1", "", "[b]", "x=y", "[A]", "dup=1", "[C]"});
    test::writeFile(dir.file("one"), start);
    test::writeFile(dir.file("batch"), start);
    CIniFile one(dir.file("one"));
    IniBatch batch(dir.file("batch"));
    std::mt19937 rng(7);
    const char* sections[] = {"A", "a", "B", "C", "D", "E", "[F]", ""};
    const char* keys[] = {"k1", "K1", "k2", "x", "dup", "n", "a=b", ";c"};
    for (int i = 0; i < 400; ++i) {
        const char* s = sections[rng() % 8];
        const char* k = keys[rng() % 8];
        const std::string v = rng() % 4 ? std::to_string(rng() % 5) : "  v \r\nw";
        ASSERT_EQ(batch.WriteIniKey(s, k, v), one.WriteIniKey(s, k, v)) << s << " " << k;
        const char* rs = sections[rng() % 8];
        const char* rk = keys[rng() % 8];
        ASSERT_EQ(batch.GetIniKey(rs, rk), one.GetIniKey(rs, rk)) << "after write " << i;
    }
    EXPECT_EQ(test::readFile(dir.file("batch")), start);
    EXPECT_TRUE(batch.commit());
    EXPECT_EQ(test::readFile(dir.file("batch")), test::readFile(dir.file("one")));
}

// The keys of one profile section share it: two that met under the file's case-blind matching
// would overwrite each other.
TEST(StoreKeys, NumberedKeysPutTheIndexFirstAndKeysOfOneProfileSectionNeverShareALine) {
    EXPECT_EQ(store::numberedKey(12, store::user::kVlgIdSuffix), "12VlgID");
    EXPECT_EQ(store::numberedKey(-1), "-1");
    test::TempDir dir;
    CIniFile file(dir.file("UserInfo.dat"));
    auto roundTrip = [&](std::string_view section, auto keys) {
        for (size_t i = 0; i < keys.size(); ++i)
            ASSERT_TRUE(file.WriteIniKey(section, keys[i], std::to_string(i)));
        for (size_t i = 0; i < keys.size(); ++i)
            EXPECT_EQ(file.GetIniKey(section, keys[i]), std::to_string(i));
    };
    roundTrip("alice", store::info::kPersonKeys);
    roundTrip("g1", store::info::kGroupKeys);
}

}  // namespace
}  // namespace nq
