#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <random>
#include <string>

#include "store/ini_file.h"
#include "ini_test_util.h"
#include "wire/gbk.h"

namespace nq {
namespace {

using namespace std::string_literals;
using testing::readBytes;
using testing::TempDir;
using testing::writeBytes;

// A file holding one section with one line per entry, written as the Windows client did.
std::string crlfFile(std::initializer_list<std::string> lines) {
    std::string out;
    for (const auto& l : lines) out += l + "\r\n";
    return out;
}

class IniFileTest : public ::testing::Test {
  protected:
    void SetUp() override { ini.setINIFileName(dir.file("NQUser.nq")); }

    // Puts bytes on disk as another program would, behind the back of the cache.
    void external(const std::string& bytes) { writeBytes(ini.INIFileName(), bytes); }
    std::string onDisk() const { return readBytes(ini.INIFileName()); }

    TempDir dir;
    CIniFile ini;
};

// ---- Reading values as the profile call and the Windows wrappers returned them.

TEST_F(IniFileTest, ValuesAreCutToWholeCharactersWithin1023Bytes) {
    Bytes chinese;
    for (int i = 0; i < 600; ++i) chinese += gbk::fromUtf8("中");
    struct Case {
        const char* what;
        std::string value;
        size_t expected;
    } cases[] = {
        {"short", std::string(10, 'a'), 10},
        {"one below the cap", std::string(1022, 'a'), 1022},
        {"at the cap", std::string(1023, 'a'), 1023},
        {"one above", std::string(1024, 'a'), 1023},
        {"far above", std::string(5000, 'b'), 1023},
        // 1023 is odd: the 512th two-byte character would straddle the cap and is dropped whole.
        {"two-byte characters", chinese, 1022},
        {"ASCII then two-byte", "a" + chinese, 1023},
    };
    for (const auto& c : cases) {
        ASSERT_TRUE(ini.WriteIniKey("S", "k", c.value)) << c.what;
        const Bytes got = ini.GetIniKey("S", "k");
        EXPECT_EQ(got.size(), c.expected) << c.what;
        EXPECT_EQ(got, c.value.substr(0, c.expected)) << c.what;
        const Bytes padded = ini.GetIniKey1("S", "k");
        ASSERT_EQ(padded.size(), CIniFile::kMaxValueBytes) << c.what;
        EXPECT_EQ(padded.substr(0, c.expected), got) << c.what;
        EXPECT_EQ(padded.find_first_not_of(' ', c.expected), std::string::npos) << c.what;
    }
}

TEST_F(IniFileTest, BlanksQuotesAndPaddingFollowTheProfileCall) {
    struct Case {
        std::string line;     // as found in the file under [S]
        std::string trimmed;  // GetIniKey
        std::string raw;      // GetIniKey1 before its padding
    } cases[] = {
        {"k=plain", "plain", "plain"},
        {"k=  a b  ", "a b", "a b"},
        {"  k \t=\t v \t", "v", "v"},
        {"k=\"  quoted \"", "quoted", "  quoted "},
        {"k='single'", "single", "single"},
        {"k=\"mismatched'", "\"mismatched'", "\"mismatched'"},
        {"k=\"", "\"", "\""},
        {"k=\"\"", "", ""},
        {"k=''x", "''x", "''x"},
        {"k=", "", ""},
        {"k=a=b", "a=b", "a=b"},
        {"k=a\0b"s, "a", "a"},
        {"k= \"a\0\""s, "\"a", "\"a"},
    };
    for (const auto& c : cases) {
        external(crlfFile({"[S]", c.line}));
        EXPECT_EQ(ini.GetIniKey("S", "k"), c.trimmed) << c.line;
        EXPECT_EQ(ini.GetIniKey1("S", "k"), c.raw + std::string(1023 - c.raw.size(), ' ')) << c.line;
    }
}

TEST_F(IniFileTest, MissingFileSectionOrKeyReadsLikeAnEmptyValue) {
    EXPECT_EQ(ini.GetIniKey("S", "k"), "");
    EXPECT_EQ(ini.GetIniKey1("S", "k"), std::string(1023, ' '));
    EXPECT_FALSE(fileExists(ini.INIFileName())) << "a read must not create the file";
    external(crlfFile({"[S]", "k=", "other=1"}));
    EXPECT_EQ(ini.GetIniKey("S", "k"), "");
    EXPECT_EQ(ini.GetIniKey("S", "absent"), "");
    EXPECT_EQ(ini.GetIniKey("T", "other"), "");
    EXPECT_EQ(ini.GetIniKey("", "k"), "");
    EXPECT_EQ(ini.GetIniKey("S", ""), "");
}

// ---- Name matching.

TEST_F(IniFileTest, NamesMatchIgnoringAsciiCaseButNeverFoldTrailBytes) {
    // 0x81 0x41 and 0x81 0x61 are two different characters whose trail bytes happen to be
    // "A" and "a": folding them would merge sections of different contacts.
    const std::string upperTrail = "\x81\x41", lowerTrail = "\x81\x61";
    ASSERT_TRUE(ini.WriteIniKey("Friends", "3HeadId", "7"));
    ASSERT_TRUE(ini.WriteIniKey(upperTrail + "Nick", "ItsName", "upper"));
    struct Case {
        std::string section, key;
        std::string expected;
    } cases[] = {
        {"Friends", "3HeadId", "7"},
        {"FRIENDS", "3headid", "7"},
        {"fRiEnDs", "3HEADID", "7"},
        {"  Friends\t", " 3HeadId ", "7"},
        {"Friend", "3HeadId", ""},
        {upperTrail + "Nick", "ItsName", "upper"},
        {upperTrail + "NICK", "itsname", "upper"},
        {lowerTrail + "Nick", "ItsName", ""},
        {lowerTrail + "nick", "ItsName", ""},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(ini.GetIniKey(c.section, c.key), c.expected) << c.section << "/" << c.key;
    }
    // Writing the other character makes a section of its own instead of overwriting.
    ASSERT_TRUE(ini.WriteIniKey(lowerTrail + "Nick", "ItsName", "lower"));
    EXPECT_EQ(ini.GetIniKey(upperTrail + "Nick", "ItsName"), "upper");
    EXPECT_EQ(ini.GetIniKey(lowerTrail + "Nick", "ItsName"), "lower");
    // A case-flipped spelling of an existing key replaces its value in place, keeping the
    // spelling the file had.
    ASSERT_TRUE(ini.WriteIniKey("friends", "3HEADID", "9"));
    EXPECT_EQ(onDisk(), crlfFile({"[Friends]", "3HeadId=9", "[" + upperTrail + "Nick]", "ItsName=upper",
                                  "[" + lowerTrail + "Nick]", "ItsName=lower"}));
}

TEST_F(IniFileTest, BracketsAndBackslashesInsideTwoByteCharactersAreText) {
    // 0x81 0x5D is one character whose trail is "]": "[\x81]" has no closing bracket.
    external(crlfFile({"[\x81]", "k=not a section", "[\x81\x5D]", "k=inside", "[a]b]", "k=last bracket"}));
    EXPECT_EQ(ini.GetIniKey("\x81", "k"), "");
    EXPECT_EQ(ini.GetIniKey("\x81\x5D", "k"), "inside");
    EXPECT_EQ(ini.GetIniKey("a]b", "k"), "last bracket");
}

TEST_F(IniFileTest, DuplicatesReadFromTheFirstSectionAndItsFirstKey) {
    external(crlfFile({"[S]", "k=first", "k=second", "[s]", "k=third", "only=later"}));
    EXPECT_EQ(ini.GetIniKey("S", "k"), "first");
    EXPECT_EQ(ini.GetIniKey("S", "only"), "") << "a later copy of a section is not consulted";
    ASSERT_TRUE(ini.WriteIniKey("S", "k", "new"));
    EXPECT_EQ(onDisk(), crlfFile({"[S]", "k=new", "k=second", "[s]", "k=third", "only=later"}));
}

// ---- Writing.

TEST_F(IniFileTest, NewFileIsWrittenWithCrLf) {
    ASSERT_TRUE(ini.WriteIniKey("Setting", "UserName", "alice"));
    ASSERT_TRUE(ini.WriteIniKey("Setting", "Password", "x"));
    ASSERT_TRUE(ini.WriteIniKey("Position", "Mainform", "1,2,3,4"));
    EXPECT_EQ(onDisk(), "[Setting]\r\nUserName=alice\r\nPassword=x\r\n[Position]\r\nMainform=1,2,3,4\r\n");
}

TEST_F(IniFileTest, KeysAreReplacedInPlaceAndAppendedAtTheEndOfTheirSection) {
    external(crlfFile({"[A]", "k1=1", "k2=2", "", "[B]", "k1=b", ""}));
    ASSERT_TRUE(ini.WriteIniKey("A", "k1", "one"));
    ASSERT_TRUE(ini.WriteIniKey("A", "k3", "3"));
    ASSERT_TRUE(ini.WriteIniKey("B", "k2", "b2"));
    EXPECT_EQ(onDisk(), crlfFile({"[A]", "k1=one", "k2=2", "k3=3", "", "[B]", "k1=b", "k2=b2", ""}));
}

TEST_F(IniFileTest, LastLineWithoutLineEndGetsOneWhenSomethingFollows) {
    external("[A]\r\nk=1");
    ASSERT_TRUE(ini.WriteIniKey("A", "j", "2"));
    EXPECT_EQ(onDisk(), "[A]\r\nk=1\r\nj=2\r\n");
    external("[A]\nk=1\n");
    ASSERT_TRUE(ini.WriteIniKey("B", "j", "2"));
    EXPECT_EQ(onDisk(), "[A]\nk=1\n[B]\r\nj=2\r\n") << "lines kept as they were, LF ends included";
}

TEST_F(IniFileTest, InputEndsAtNulAndAtLineBreaks) {
    struct Case {
        std::string section, key, value;
        std::string readSection, readKey, expected;
    } cases[] = {
        {"S", "k", "ab\0cd"s, "S", "k", "ab"},
        {"S\0junk"s, "k2\0x"s, "v", "S", "k2", "v"},
        {"S", "k3", "line\r\n[Evil]\r\nk=1", "S", "k3", "line"},
        {"S", "k4", "a\nb", "S", "k4", "a"},
    };
    for (const auto& c : cases) {
        ASSERT_TRUE(ini.WriteIniKey(c.section, c.key, c.value)) << c.readKey;
        EXPECT_EQ(ini.GetIniKey(c.readSection, c.readKey), c.expected) << c.readKey;
    }
    EXPECT_EQ(onDisk(), crlfFile({"[S]", "k=ab", "k2=v", "k3=line", "k4=a"}));
    // The reading side cuts its names at NUL too.
    EXPECT_EQ(ini.GetIniKey("S\0x"s, "k\0y"s), "ab");
}

TEST_F(IniFileTest, NamesThatCannotReadBackAreRefused) {
    const std::string refusedKeys[] = {"", " ", "[x]", ";x", "a=b"};
    for (const auto& k : refusedKeys) EXPECT_FALSE(ini.WriteIniKey("S", k, "v")) << k;
    EXPECT_FALSE(ini.WriteIniKey("S", "a\rb", "v"));
    EXPECT_FALSE(ini.WriteIniKey("S\nT", "k", "v"));
    // Ends in a lone lead byte, which would swallow the closing bracket.
    EXPECT_FALSE(ini.WriteIniKey("S\x81", "k", "v"));
    EXPECT_FALSE(ini.WriteIniKey("", "k", "v"));
    EXPECT_FALSE(fileExists(ini.INIFileName()));
}

TEST_F(IniFileTest, ChineseSectionKeyAndValueRoundTrip) {
    const Bytes section = gbk::fromUtf8("好友人数"), key = gbk::fromUtf8("昵称"),
                value = gbk::fromUtf8("小明 说：你好");
    ASSERT_TRUE(ini.WriteIniKey(section, key, value));
    EXPECT_EQ(ini.GetIniKey(section, key), value);
    EXPECT_EQ(gbk::toUtf8(ini.GetIniKey(section, key)), "小明 说：你好");
    EXPECT_EQ(onDisk(), "[" + section + "]\r\n" + key + "=" + value + "\r\n");
    CIniFile::dropCache();
    EXPECT_EQ(ini.GetIniKey(section, key), value) << "read back from disk, not only from memory";
}

TEST_F(IniFileTest, WritesThroughALinkLandInItsTarget) {
    const std::string real = dir.file("elsewhere.nq");
    writeBytes(real, crlfFile({"[S]", "k=1"}));
    std::filesystem::create_symlink(real, ini.INIFileName());
    ASSERT_TRUE(ini.WriteIniKey("S", "k", "2"));
    EXPECT_TRUE(std::filesystem::is_symlink(ini.INIFileName()));
    EXPECT_EQ(readBytes(real), crlfFile({"[S]", "k=2"}));
    EXPECT_EQ(ini.GetIniKey("S", "k"), "2");
}

TEST_F(IniFileTest, UnchangedValueDoesNotRewriteTheFile) {
    external(crlfFile({"[S]", "k = v "}));
    struct stat before {};
    ASSERT_EQ(::stat(ini.INIFileName().c_str(), &before), 0);
    EXPECT_TRUE(ini.WriteIniKey("S", "k", "v"));
    struct stat after {};
    ASSERT_EQ(::stat(ini.INIFileName().c_str(), &after), 0);
    EXPECT_EQ(before.st_ino, after.st_ino);
    EXPECT_EQ(onDisk(), crlfFile({"[S]", "k = v "}));
}

// ---- Deleting.

TEST_F(IniFileTest, DeleteKeyRemovesEveryLineOfItInThatSectionOnly) {
    external(crlfFile({"[S]", "a=1", "K=2", "b=3", "k=dup", "[T]", "k=4", "[s]", "k=5"}));
    EXPECT_TRUE(ini.DelIniKey("s", "k"));
    EXPECT_EQ(onDisk(), crlfFile({"[S]", "a=1", "b=3", "[T]", "k=4", "[s]"}));
    EXPECT_EQ(ini.GetIniKey("S", "k"), "");
    EXPECT_EQ(ini.GetIniKey("T", "k"), "4");
    EXPECT_TRUE(ini.DelIniKey("S", "absent"));
    EXPECT_TRUE(ini.DelIniKey("Absent", "a"));
    EXPECT_EQ(onDisk(), crlfFile({"[S]", "a=1", "b=3", "[T]", "k=4", "[s]"}));
}

TEST_F(IniFileTest, DeleteSectionRemovesItsLinesAndEveryCopy) {
    external(crlfFile(
        {"; head comment", "[A]", "x=1", "; about A", "", "[B]", "y=2", "[a]", "z=3", "[C]", "w=4"}));
    EXPECT_TRUE(ini.DelIniSec("A"));
    EXPECT_EQ(onDisk(), crlfFile({"; head comment", "[B]", "y=2", "[C]", "w=4"}));
    EXPECT_EQ(ini.GetIniKey("A", "x"), "");
    EXPECT_EQ(ini.GetIniKey("C", "w"), "4");
    EXPECT_TRUE(ini.DelIniSec("C"));
    EXPECT_EQ(onDisk(), crlfFile({"; head comment", "[B]", "y=2"}));
}

TEST_F(IniFileTest, DeletingFromAMissingFileCreatesNothing) {
    EXPECT_TRUE(ini.DelIniKey("S", "k"));
    EXPECT_TRUE(ini.DelIniSec("S"));
    EXPECT_FALSE(fileExists(ini.INIFileName()));
}

// ---- Files the Windows client left behind.

TEST_F(IniFileTest, WindowsFileReadsAndRewritesKeepingItsOtherLines) {
    const Bytes nick = gbk::fromUtf8("小明");
    const std::string original =
        "; written by the Windows client\r\n"
        "orphan=before any section\r\n"
        "\r\n"
        "[" +
        gbk::fromUtf8("好友人数") +
        "]\r\n"
        "Num = 2\r\n"
        "\r\n"
        "[Friends]\r\n"
        "0 = " +
        nick +
        " \r\n"
        "0HeadId\t=\t12\r\n"
        "this line is junk\r\n"
        ";1=commented out\r\n"
        "1=\"  spaced  \"\r\n"
        "\r\n"
        "[ " +
        nick +
        " ]\r\n"
        "ItsName='" +
        nick +
        "'\r\n"
        "HeadID=12\r\n";
    external(original);
    EXPECT_EQ(ini.GetIniKey(gbk::fromUtf8("好友人数"), "Num"), "2");
    EXPECT_EQ(ini.GetIniKey("Friends", "0"), nick);
    EXPECT_EQ(ini.GetIniKey("Friends", "0HeadId"), "12");
    EXPECT_EQ(ini.GetIniKey("Friends", "1"), "spaced");
    EXPECT_EQ(ini.GetIniKey1("Friends", "1").substr(0, 12), "  spaced    ");
    EXPECT_EQ(ini.GetIniKey("Friends", ";1"), "");
    EXPECT_EQ(ini.GetIniKey("Friends", "this line is junk"), "");
    EXPECT_EQ(ini.GetIniKey(nick, "ItsName"), nick);
    EXPECT_EQ(ini.GetIniKey(nick, "HeadId"), "12");
    EXPECT_EQ(ini.GetIniKey("", "orphan"), "");

    ASSERT_TRUE(ini.WriteIniKey("Friends", "0HeadId", "13"));
    ASSERT_TRUE(ini.WriteIniKey("Friends", "2", "new"));
    ASSERT_TRUE(ini.WriteIniKey(nick, "Online", "1"));
    std::string expected = original;
    expected.replace(expected.find("0HeadId\t=\t12"), 12, "0HeadId=13");
    expected.insert(expected.find("1=\"  spaced  \"\r\n") + 16, "2=new\r\n");
    expected += "Online=1\r\n";
    EXPECT_EQ(onDisk(), expected);
}

// ---- Failures, crashes and the cache.

TEST_F(IniFileTest, WritesToUnusablePlacesFailQuietly) {
    writeBytes(dir.file("plain"), "x");
    std::filesystem::create_directory(dir.file("target_is_dir"));
    const std::string places[] = {
        dir.file("no_such_dir/NQUser.nq"),  // the login code makes the user folder, not this
        dir.file("plain/NQUser.nq"),        // a file where a folder should be
        dir.file("target_is_dir"),          // a folder where the file should be
        "",
    };
    for (const auto& p : places) {
        CIniFile f(p);
        EXPECT_FALSE(f.WriteIniKey("S", "k", "v")) << p;
        f.DelIniKey("S", "k");
        f.DelIniSec("S");
        EXPECT_EQ(f.GetIniKey("S", "k"), "") << p;
    }
    // Nothing half-done stays behind: the folder holds what the test put there.
    int entries = 0;
    for ([[maybe_unused]] const auto& e : std::filesystem::directory_iterator(dir.path())) ++entries;
    EXPECT_EQ(entries, 2);
}

TEST_F(IniFileTest, WriteFailingHalfWayLeavesTheOriginalAndNoTemporary) {
    std::string body = "[S]\r\n";
    for (int i = 0; i < 500; ++i) body += "k" + std::to_string(i) + "=" + std::string(20, 'v') + "\r\n";
    external(body);
    ASSERT_GT(body.size(), 8192u);

    // A file size limit makes the copy fail after its first 4096 bytes, as a full disk would.
    rlimit saved{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &saved), 0);
    const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit small = saved;
    small.rlim_cur = 4096;
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    const bool landed = ini.WriteIniKey("S", "k0", "changed");
    ::setrlimit(RLIMIT_FSIZE, &saved);
    std::signal(SIGXFSZ, oldHandler);

    EXPECT_FALSE(landed);
    EXPECT_EQ(onDisk(), body);
    EXPECT_EQ(ini.GetIniKey("S", "k0"), std::string(20, 'v'));
    int entries = 0;
    for ([[maybe_unused]] const auto& e : std::filesystem::directory_iterator(dir.path())) ++entries;
    EXPECT_EQ(entries, 1) << "the temporary copy is removed";

    EXPECT_TRUE(ini.WriteIniKey("S", "k0", "changed")) << "and the next write goes through";
    EXPECT_EQ(ini.GetIniKey("S", "k0"), "changed");
}

TEST_F(IniFileTest, KilledWriterLeavesEitherTheOldOrTheNewFile) {
    // A file of some 100 KB, so that a kill often lands while the new copy is being written.
    std::string body = "[Big]\r\n";
    for (int i = 0; i < 3000; ++i)
        body += "key" + std::to_string(i) + "=value number " + std::to_string(i) + "\r\n";
    external(body + "[S]\r\nx=start\r\n");

    std::mt19937 rng(7);
    for (int round = 0; round < 12; ++round) {
        const pid_t pid = ::fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            CIniFile f(ini.INIFileName());
            for (unsigned i = 0;; ++i)
                f.WriteIniKey("S", "x", std::string(i % 40 + 1, static_cast<char>('a' + i % 26)));
        }
        ::usleep(1000 + rng() % 20000);
        ::kill(pid, SIGKILL);
        int status = 0;
        ::waitpid(pid, &status, 0);

        const std::string now = onDisk();
        ASSERT_EQ(now.compare(0, body.size(), body), 0) << "round " << round;
        const std::string tail = now.substr(body.size());
        ASSERT_TRUE(tail.starts_with("[S]\r\nx=") && tail.ends_with("\r\n"))
            << "round " << round << ": " << tail;
        const std::string value = tail.substr(7, tail.size() - 9);
        EXPECT_TRUE(value == "start" || value.find_first_not_of(value[0]) == std::string::npos) << value;
    }
    CIniFile::dropCache();
    EXPECT_EQ(ini.GetIniKey("Big", "key2999"), "value number 2999");
}

TEST_F(IniFileTest, OnlyTemporariesOfGoneProcessesAreSwept) {
    // Far above any pid_max, so no process has it.
    const std::string gone = ".NQUser.nq.tmp2147483000-4";
    const std::string kept[] = {
        ".NQUser.nq.tmp1-0",                                   // a live process (init)
        ".NQUser.nq.tmp" + std::to_string(::getpid()) + "-9",  // this process, perhaps mid-write
        ".NQUser.nq.tmp2147483000-",                           // not the writers' pattern
        ".NQUser.nq.tmpabc-1",
        "NQUser.nq.tmp2147483000-4",  // not hidden: somebody's own file
        "notes.txt",
    };
    writeBytes(dir.file(gone), "partial");
    for (const std::string& name : kept) writeBytes(dir.file(name), "x");

    EXPECT_TRUE(ini.WriteIniKey("S", "k", "v"));
    EXPECT_FALSE(std::filesystem::exists(dir.file(gone)));
    for (const std::string& name : kept) EXPECT_TRUE(std::filesystem::exists(dir.file(name))) << name;
}

TEST_F(IniFileTest, UnchangedFileIsParsedOnceAndOwnWritesNeedNoReread) {
    external(crlfFile({"[S]", "k=1"}));
    CIniFile::dropCache();
    const uint64_t start = CIniFile::diskParseCount();
    for (int i = 0; i < 50; ++i) ASSERT_EQ(ini.GetIniKey("S", "k"), "1");
    EXPECT_EQ(CIniFile::diskParseCount(), start + 1);

    ASSERT_TRUE(ini.WriteIniKey("S", "k", "2"));
    CIniFile other(ini.INIFileName());
    EXPECT_EQ(other.GetIniKey("S", "k"), "2") << "instances on one path share what is known";
    EXPECT_EQ(ini.GetIniKey("S", "k"), "2");
    EXPECT_EQ(CIniFile::diskParseCount(), start + 1);
}

// Gives a file a modification time; an hour back is long past any clock tick, so only the
// stamps decide, while a time ahead keeps the entry in the window where content is compared.
void setMtime(const std::string& path, int64_t secondsFromNow, long nsec) {
    const timespec times[2] = {{::time(nullptr) + secondsFromNow, nsec},
                               {::time(nullptr) + secondsFromNow, nsec}};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
}

TEST_F(IniFileTest, ExternalChangesAreSeenByTheirStamps) {
    const std::string path = ini.INIFileName();
    const int64_t past = -3600;
    external(crlfFile({"[S]", "k=1"}));
    setMtime(path, past, 0);
    ASSERT_EQ(ini.GetIniKey("S", "k"), "1");
    const uint64_t parsed = CIniFile::diskParseCount();
    ASSERT_EQ(ini.GetIniKey("S", "k"), "1");
    EXPECT_EQ(CIniFile::diskParseCount(), parsed);

    // Another size, the same time.
    external(crlfFile({"[S]", "k=22"}));
    setMtime(path, past, 0);
    EXPECT_EQ(ini.GetIniKey("S", "k"), "22");

    // The same size rewritten in place: only the nanoseconds of the time tell.
    external(crlfFile({"[S]", "k=33"}));
    setMtime(path, past, 1);
    EXPECT_EQ(ini.GetIniKey("S", "k"), "33");

    // Same size and time, but a new file renamed over the old one.
    const std::string other = dir.file("replacement");
    writeBytes(other, crlfFile({"[S]", "k=44"}));
    setMtime(other, past, 1);
    std::filesystem::rename(other, path);
    EXPECT_EQ(ini.GetIniKey("S", "k"), "44");

    std::filesystem::remove(path);
    EXPECT_EQ(ini.GetIniKey("S", "k"), "");
}

TEST_F(IniFileTest, SameSizeEditWithinOneClockTickIsSeenByContent) {
    // Two edits in one tick of the file system clock carry identical stamps.
    const std::string path = ini.INIFileName();
    external(crlfFile({"[S]", "k=1"}));
    setMtime(path, 60, 0);
    ASSERT_EQ(ini.GetIniKey("S", "k"), "1");
    const uint64_t parsed = CIniFile::diskParseCount();
    EXPECT_EQ(ini.GetIniKey("S", "k"), "1");
    EXPECT_EQ(CIniFile::diskParseCount(), parsed) << "equal content is not parsed again";

    struct stat before {};
    ASSERT_EQ(::stat(path.c_str(), &before), 0);
    external(crlfFile({"[S]", "k=2"}));
    setMtime(path, 60, 0);
    struct stat after {};
    ASSERT_EQ(::stat(path.c_str(), &after), 0);
    ASSERT_EQ(before.st_ino, after.st_ino);
    ASSERT_EQ(before.st_mtim.tv_sec, after.st_mtim.tv_sec);
    EXPECT_EQ(ini.GetIniKey("S", "k"), "2");
}

// ---- Damaged files: never a crash or a hang, and a write keeps what was there.

TEST_F(IniFileTest, DamagedFilesSurviveReadsAndWrites) {
    std::mt19937 rng(42);
    auto randomBytes = [&](size_t n) {
        std::string s(n, '\0');
        for (auto& c : s) c = static_cast<char>(rng());
        return s;
    };
    std::string tenMegabytes = randomBytes(10 * 1024 * 1024);
    struct Case {
        const char* what;
        std::string bytes;
    } cases[] = {
        {"random bytes", randomBytes(4096)},
        {"no newline at all", std::string(100000, 'k') + "=v"},
        {"NULs everywhere", std::string(5000, '\0') + "[S]\0\r\nk=\0\r\n"s},
        {"ten megabytes", std::move(tenMegabytes)},
        {"lone lead bytes", "[\x81\r\n\x81=\x81\r\n[S\xFF]\r\n\xFF"},
        {"brackets only", "[\r\n]\r\n[]\r\n[[]]\r\n="},
        {"bare CRs", "[S]\rk=1\r\r\r"},
        {"empty", ""},
    };
    for (const auto& c : cases) {
        external(c.bytes);
        (void)ini.GetIniKey("S", "k");
        (void)ini.GetIniKey1("\x81", "\x81");
        ASSERT_TRUE(ini.WriteIniKey("NewSection", "key", "value")) << c.what;
        EXPECT_EQ(ini.GetIniKey("NewSection", "key"), "value") << c.what;
        const std::string glue = (c.bytes.empty() || c.bytes.back() == '\n') ? "" : "\r\n";
        EXPECT_TRUE(onDisk() == c.bytes + glue + "[NewSection]\r\nkey=value\r\n") << c.what;
    }
}

TEST_F(IniFileTest, OversizedFileIsNeitherLoadedNorTruncated) {
    {
        const int fd = ::open(ini.INIFileName().c_str(), O_WRONLY | O_CREAT, 0644);
        ASSERT_GE(fd, 0);
        ASSERT_EQ(::ftruncate(fd, static_cast<off_t>(CIniFile::kMaxFileBytes) + 1), 0);  // sparse
        ::close(fd);
    }
    EXPECT_EQ(ini.GetIniKey("S", "k"), "");
    EXPECT_FALSE(ini.WriteIniKey("S", "k", "v"));
    EXPECT_EQ(std::filesystem::file_size(ini.INIFileName()), CIniFile::kMaxFileBytes + 1);
}

// ---- Paths.

TEST(IniPath, MakePathJoinsWithExactlyOneSlash) {
    struct Case {
        std::string drv, dir, expected;
    } cases[] = {
        {"/home/u", "NQUser.nq", "/home/u/NQUser.nq"},
        {"/home/u/", "/NQUser.nq", "/home/u/NQUser.nq"},
        {"C:\\Users\\\\", "\\\\NQUser.nq", "C:\\Users/NQUser.nq"},
        {"/a/\\/", "/\\/b/c/", "/a/b/c/"},
        {"", "f", "/f"},
        {"/d", "", "/d/"},
        // A trailing 0x5C that is the second byte of a character is not a separator.
        {"/home/\x81\x5C", "f", "/home/\x81\x5C/f"},
        {"/home/\x81\x5C\\", "\\f", "/home/\x81\x5C/f"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(CIniFile::MakePath(c.drv, c.dir), c.expected) << c.drv << " + " << c.dir;
}

TEST(IniPath, SettingThePathTouchesNothing) {
    TempDir dir;
    CIniFile f;
    f.setINIFileName(dir.path().string() + "/", "/User.ini");
    EXPECT_EQ(f.INIFileName(), dir.file("User.ini"));
    EXPECT_FALSE(fileExists(f.INIFileName()));
    ASSERT_TRUE(f.WriteIniKey("Setting", "UserName", "bob"));
    EXPECT_TRUE(fileExists(f.INIFileName()));
}

TEST(IniPath, FileExistsOnlyForThingsThatAreNotFolders) {
    TempDir dir;
    writeBytes(dir.file("f"), "");
    std::filesystem::create_symlink(dir.file("nowhere"), dir.file("dangling"));
    std::filesystem::create_symlink(dir.file("f"), dir.file("link"));
    struct Case {
        std::string path;
        bool exists;
    } cases[] = {
        {"", false},
        {dir.file("f"), true},
        {dir.file("link"), true},
        {dir.file("missing"), false},
        {dir.file("dangling"), false},
        {dir.path().string(), false},
        {dir.file("f/below"), false},
    };
    for (const auto& c : cases) EXPECT_EQ(fileExists(c.path), c.exists) << c.path;
}

}  // namespace
}  // namespace nq
