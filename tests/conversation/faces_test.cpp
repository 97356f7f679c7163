#include "conversation/faces.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "support/temp_dir.h"

namespace nq {
namespace {

// A program folder with keywords for faces 1 to 4, pictures for them only, and a keyword
// "ghost" whose face 10 has no picture.
class FacesTest : public ::testing::Test {
  protected:
    static constexpr const char* kKeywords =
        "[face]\r\nnum=4\r\n0=smile\r\n1=laugh\r\n2=ha\r\n3=haha\r\n"
        "[key]\r\nsmile=0\r\nlaugh=1\r\nha=2\r\nhaha=3\r\nghost=9\r\n";
    void SetUp() override {
        writeKeywords(kKeywords);
        std::filesystem::create_directory(dir.file("face"));
        for (int n = 1; n <= 4; ++n) std::ofstream(faces.facePath(n)) << "GIF";
        faces.LoadKeyWords();
    }
    void writeKeywords(const std::string& text) {
        std::ofstream(dir.file(kKeywordFile), std::ios::binary) << text;
    }

    test::TempDir dir{"nq-faces"};
    Faces faces{dir.path()};
};

// "a[1]b" as the send box holds it: a picture mark per "[n]", face n.
SendBoxSnapshot box(std::string_view s) {
    SendBoxSnapshot b;
    for (size_t i = 0; i < s.size(); ++i) {
        if (s[i] != '[') {
            b.text += char16_t(s[i]);
            continue;
        }
        b.text += kPictureMark;
        b.faces.push_back(std::stoi(std::string(s.substr(i + 1))));
        i = s.find(']', i);
    }
    return b;
}

TEST_F(FacesTest, TransFormFollowsTheSlashRulesAndTheShortestKeyword) {
    const std::pair<const char*, const char*> rows[] = {
        {"a//b", "a//b"},             // the second slash closes, b is plain
        {"/x/smile", "/x/smile"},     // x abandons the try, the slash does not reopen
        {"/smile!", "[1]!"},          // keyword at the very start
        {"/haha", "[3]ha"},           // ha is complete before haha can be
        {"x/ghost y", "x y"},         // no picture: slash and keyword go all the same
        {"/smile/laugh", "[1][2]"},   // no terminator needed
        {"/smil", "/smil"},           // never matched: stays as typed
        {"你/smile好/", "你[1]好/"},  // two-byte characters count as one
    };
    for (const auto& [in, want] : rows) {
        std::string got;
        for (const FaceRun& r : faces.TransForm(gbk::fromUtf8(in)))
            got += r.face ? "[" + std::to_string(r.face) + "]" : gbk::toUtf8(r.text);
        EXPECT_EQ(got, want) << in;
    }
}

TEST_F(FacesTest, TagsFollowInsertsDeletionsAndTheSend) {
    // 'i': face inserted, leaving the box as given; 't': the box changed by typing or a key;
    // 'k': Backspace or Delete goes down on the box as given.
    struct Step {
        char what;
        int face;
        const char* box;
    };
    struct Row {
        std::vector<Step> steps;
        const char* sent;  // the box when it is sent
        const char* wire;
        int count;
    } rows[] = {
        {{{'i', 1, "x[1]"}, {'i', 2, "[2]x[1]"}}, "[2]x[1]", "/laughx/smile", 2},
        {{{'i', 1, "[1]x"}, {'i', 2, "[1]x[2]"}, {'t', 0, "[1]x[2]y"}, {'i', 3, "[1]x[3][2]y"}},
         "[1]x[3][2]y",
         "/smilex/ha/laughy",
         3},
        // Between two faces with nothing behind: the text still reads as a face added at the end.
        {{{'i', 1, "[1]"}, {'i', 2, "[1][2]"}, {'i', 3, "[1][3][2]"}}, "[1][3][2]", "/smile/laugh/ha", 3},
        // The walk counts only the first picture of a line, so the new tag lands too early...
        {{{'i', 1, "[1]a"}, {'i', 2, "[1]a[2]"}, {'t', 0, "[1]a[2]b"}, {'i', 3, "[1]a[2][3]b"}},
         "[1]a[2][3]b",
         "/smilea/ha/laughb",
         3},
        // ...unless the pictures in front stand on lines of their own.
        {{{'i', 1, "[1]\n"},
          {'t', 0, "[1]\na"},
          {'i', 2, "[1]\na[2]"},
          {'t', 0, "[1]\na[2]b"},
          {'i', 3, "[1]\na[2][3]b"}},
         "[1]\na[2][3]b",
         "/smile\r\na/laugh/hab",
         3},
        // The first face of a[1]b[2]c[3] goes with the first Backspace since the last send:
        // that key only takes the snapshot, and the tags slide onto the wrong pictures.
        {{{'t', 0, "a"},
          {'i', 1, "a[1]"},
          {'t', 0, "a[1]b"},
          {'i', 2, "a[1]b[2]"},
          {'t', 0, "a[1]b[2]c"},
          {'i', 3, "a[1]b[2]c[3]"},
          {'k', 0, "a[1]b[2]c[3]"}},
         "a b[2]c[3]",
         "a b/smilec/laugh",
         3},
        // A further Delete sees the lost picture and empties its tag and every later one.
        {{{'i', 1, "a[1]"},
          {'t', 0, "a[1]b"},
          {'i', 2, "a[1]b[2]"},
          {'t', 0, "a[1]b[2]c"},
          {'i', 3, "a[1]b[2]c[3]"},
          {'k', 0, "a[1]b[2]c[3]"},
          {'k', 0, "ab[2]c[3]"}},
         "a [2]c[3]",
         "a c",
         3},
        {{{'i', 1, "a[1]b"}, {'k', 0, "a[1]b"}, {'k', 0, "a[1]"}}, "a[1] ", "a/smile ", 1},
        // Emptying the box forgets the count, so the next face is the first again.
        {{{'i', 1, "[1]"}, {'k', 0, "[1]"}, {'k', 0, ""}, {'i', 2, "[2]"}}, "[2]", "/laugh", 1},
    };
    for (size_t r = 0; r < std::size(rows); ++r) {
        Faces f{dir.path()};
        f.LoadKeyWords();
        SendBoxSnapshot now, prevFormatText;
        for (const Step& s : rows[r].steps) {
            const SendBoxSnapshot next = box(s.box);
            if (s.what == 'i') f.InsertFace(s.face, now.view(), next.view());
            if (s.what == 'k') f.onDeleteKeyDown(prevFormatText, next.view());
            now = next;
        }
        EXPECT_EQ(gbk::toUtf8(f.BuildMessageString(box(rows[r].sent).view())), rows[r].wire) << "row " << r;
        EXPECT_EQ(f.faceTagCount(), rows[r].count) << "row " << r;
    }
}

TEST_F(FacesTest, LoadKeyWordsKeepsWhatAMissingOrBrokenFileCannotGive) {
    struct Row {
        const char* file;  // nullptr: no file
        int count;
        const char* first;
        const char* second;
    } rows[] = {
        {nullptr, 4, "smile", "laugh"},
        {"\x01\xff\r\n[face\r\nnum\r\n", 0, "smile", "laugh"},
        {"[face]\r\nnum=1\r\n0=cry\r\n1=unused\r\n", 1, "cry", "laugh"},
        {"[face]\r\nnum=300\r\n0=cry\r\n", 300, "cry", ""},
    };
    for (const Row& row : rows) {
        writeKeywords(kKeywords);
        Faces f{dir.path()};
        f.LoadKeyWords();
        if (row.file)
            writeKeywords(row.file);
        else
            std::filesystem::remove(dir.file(kKeywordFile));
        f.LoadKeyWords();
        EXPECT_EQ(std::tuple(f.faceCount(), f.keywordTable()[0], f.keywordTable()[1]),
                  std::tuple(row.count, Bytes(row.first), Bytes(row.second)))
            << (row.file ? row.file : "missing");
    }
}

}  // namespace
}  // namespace nq
