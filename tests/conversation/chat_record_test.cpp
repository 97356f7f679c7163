#include "conversation/chat_record.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "support/temp_dir.h"

namespace nq {
namespace {

using Page = std::vector<std::string>;
const std::string kSep(kRecordSeparator);

// A page as "header|text" strings, newest first.
Page page(ChatRecord& record, std::string_view contact, int index) {
    Page out;
    for (const ShownRecord& r : record.showRecordPage(contact, index))
        out.push_back(std::string(r.header) + "|" + std::string(r.text));
    return out;
}

std::string shown(std::string_view who, int n, std::string_view text) {
    return std::string(who) + " (t" + std::to_string(n) + ")\r\n|  " + std::string(text) + "\r\n";
}

// bob's records b1..b30 (odd ones received, even ones sent by amy) and carol's c1..c15,
// written one line at a time in the order b1 b2 c1 b3 b4 c2 ...
TEST(ChatRecord, PagesOfFortyFiveRecordsOfTwoContacts) {
    test::TempDir dir;
    const std::string file = dir.file(kRecordFile);
    for (int k = 1, b = 0, c = 0; k <= 45; ++k) {
        const int n = k % 3 == 0 ? ++c : ++b;
        const std::string t = "t" + std::to_string(n);
        const Bytes line = k % 3 == 0 ? incomingRecordLine("carol", "", "", t, "c" + std::to_string(n))
                           : n % 2    ? incomingRecordLine("bob", "", "", t, "b" + std::to_string(n))
                                      : outgoingRecordLine("bob", "amy", t, "b" + std::to_string(n));
        ASSERT_TRUE(appendChatRecord(file, line));
    }
    std::stringstream bytes;
    bytes << std::ifstream(file, std::ios::binary).rdbuf();
    EXPECT_EQ(bytes.str().substr(0, 42),
              kSep + "bob (t1)\r\n  b1\r\n" + kSep + "$bobamy (t2)\r\n  b2\r\n" + kSep);

    auto bob = [](int newest, int oldest) {
        Page p;
        for (int n = newest; n >= oldest; --n)
            p.push_back(shown(n % 2 ? "bob" : "amy", n, "b" + std::to_string(n)));
        return p;
    };
    Page carol;
    for (int n = 15; n >= 1; --n) carol.push_back(shown("carol", n, "c" + std::to_string(n)));

    ChatRecord record(file);
    EXPECT_EQ(record.countRecords("bob"), 30);
    EXPECT_EQ(page(record, "bob", 0), bob(30, 9));  // the newest page takes 22
    EXPECT_EQ(page(record, "bob", 1), bob(10, 1));  // and the next one overlaps it by two
    EXPECT_EQ(page(record, "bob", 2), Page{});
    EXPECT_EQ(page(record, "carol", 0), carol);
    EXPECT_EQ(page(record, "carol", 1), Page{});
}

TEST(ChatRecord, PageBoundsOverlapAndSkipNearTheEnds) {
    struct Row {
        int matching, page, first, last;
    };
    for (const Row& r : {Row{0, 0, 1, 0}, Row{15, 0, 1, 15}, Row{20, 0, -1, 20}, Row{50, 0, 29, 50},
                         Row{50, 1, 21, 40}, Row{50, 2, 1, 10}, Row{50, 3, 61, 50}}) {
        const RecordPageBounds b = recordPageBounds(r.matching, r.page);
        EXPECT_EQ(std::pair(b.first, b.last), std::pair(r.first, r.last)) << r.matching << " p" << r.page;
    }
}

// Names are plain prefixes, and a record found behind "$" is shown from behind "$" and the name.
TEST(ChatRecord, ContactNamesArePrefixes) {
    test::TempDir dir;
    const std::string file = dir.file(kRecordFile);
    for (const Bytes& line :
         {incomingRecordLine("bob", "", "", "t1", "x"), incomingRecordLine("bobby", "", "", "t2", "x"),
          outgoingRecordLine("bobby", "amy", "t3", "x"), incomingRecordLine("ann", "bob", "", "t4", "x"),
          incomingRecordLine("$x", "", "", "t5", "x"), outgoingRecordLine("$x", "amy", "t6", "x"),
          outgoingRecordLine("x", "amy", "t7", "x")})
        ASSERT_TRUE(appendChatRecord(file, line));
    const std::pair<const char*, std::vector<const char*>> rows[] = {
        {"bob", {"ann (t4)", "byamy (t3)", "bobby (t2)", "bob (t1)"}},
        {"bobby", {"amy (t3)", "bobby (t2)"}},
        {"$x", {"$xamy (t7)", "amy (t6)", "$x (t5)"}},
        {"x", {"amy (t7)", " (t5)"}},
        {"amy", {}},
    };
    ChatRecord record(file, 3);  // reads of 3 bytes, or a name and one byte
    for (const auto& [contact, headers] : rows) {
        Page want;
        for (const char* h : headers) want.push_back(std::string(h) + "\r\n|  x\r\n");
        EXPECT_EQ(record.countRecords(contact), static_cast<int>(headers.size())) << contact;
        EXPECT_EQ(page(record, contact, 0), want) << contact;
    }
}

TEST(ChatRecord, BrokenFilesShowWhatTheyCan) {
    const std::pair<std::string, Page> rows[] = {
        {"", {}},
        {"bob (t)\r\n  no separator", {"bob (t)\r\n|  no separator"}},
        {kSep + "bob without two spaces" + kSep + "bo", {"bob without two spaces|"}},
        {kSep + "bob (t1)\r\n  a\r\nbob (t2)\r\n  b\r\n", {"bob (t1)\r\n|  a\r\nbob (t2)\r\n  b\r\n"}},
        {"\x81" + kSep + "bob \xFF\x80  \x81", {"bob \xFF\x80|  \x81"}},
        {kSep + "\x01" + "bob  a", {}},  // split from the left: that record begins with code 1
    };
    test::TempDir dir;
    for (const auto& [content, want] : rows) {
        std::ofstream(dir.file("r"), std::ios::binary | std::ios::trunc) << content;
        ChatRecord record(dir.file("r"), 2);  // each read ends inside a separator somewhere
        EXPECT_EQ(page(record, "bob", 0), want) << content;
    }
    ChatRecord missing(dir.file("none"));
    EXPECT_EQ(missing.countRecords("bob"), 0);
}

// More records than the remembered starts: pages are reached from every other start onwards.
TEST(ChatRecord, PagesOfAContactWithThousandsOfRecords) {
    test::TempDir dir;
    std::string content;
    for (int n = 1; n <= 5000; ++n)
        content += incomingRecordLine("eve", "", "", "t", "-") + "\r\n" +
                   incomingRecordLine("bob", "", "", "t", std::to_string(n)) + "\r\n";
    std::ofstream(dir.file("r"), std::ios::binary) << content;
    ChatRecord record(dir.file("r"));
    for (const auto& [index, newest, oldest] :
         {std::tuple{1, 40, 21}, {200, 4020, 4001}, {249, 5000, 4981}}) {
        const Page p = page(record, "bob", index);
        ASSERT_EQ(p.size(), 20u) << index;
        EXPECT_EQ(p.front(), "bob (t)\r\n|  " + std::to_string(newest) + "\r\n");
        EXPECT_EQ(p.back(), "bob (t)\r\n|  " + std::to_string(oldest) + "\r\n");
    }
}

// The file is cut inside record 1500 while open: the pages past the cut come back empty, the
// cut record shows what is left of it, the older pages are whole.
TEST(ChatRecord, FileShortenedWhileOpenShowsWhatIsLeft) {
    test::TempDir dir;
    std::string content;
    for (int n = 1; n <= 3000; ++n)
        content += incomingRecordLine("bob", "", "", "t", std::to_string(n)) + "\r\n";
    std::ofstream(dir.file("r"), std::ios::binary) << content;
    ChatRecord record(dir.file("r"));
    ASSERT_EQ(record.countRecords("bob"), 3000);
    std::filesystem::resize_file(dir.file("r"), content.find(kSep + "bob (t)\r\n  1500\r") + 14);
    for (int index = 0; index <= 150; ++index) {
        Page want;
        for (int n = 20 * index + 20; index > 0 && n > 20 * index; --n)
            if (n <= 1500) want.push_back("bob (t)\r\n|  " + (n == 1500 ? "1" : std::to_string(n) + "\r\n"));
        EXPECT_EQ(page(record, "bob", index), want) << index;
    }
}

}  // namespace
}  // namespace nq
