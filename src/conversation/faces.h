#pragma once
// Faces in a chat line. On the wire a face is never a picture but its tag, a "/" and the face's
// keyword; keywords.kwd beside the program names the faces, and face/<n>.gif draws face n.
// This is the state every chat window shares: the keyword table for the picker, the scanner
// that turns a received text back into pictures, and the list that gives each picture in the
// send box its tag when the line goes out.

#include <array>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "wire/gbk.h"

namespace nq {

inline constexpr int kKeywordSlots = 256;
inline constexpr const char* kKeywordFile = "keywords.kwd";
inline constexpr const char* kFaceFolder = "face";

// What the plain text of a rich text box holds where a picture sits.
inline constexpr char16_t kPictureMark = u'\uFFFC';

// A piece of a received line: GBK text to write as it is, or one face picture.
struct FaceRun {
    Bytes text;
    int face = 0;  // 1-based face number; 0 for a text run
    bool operator==(const FaceRun&) const = default;
};

// The send box as the face bookkeeping sees it, borrowed from the rich text view.
struct SendBoxView {
    std::u16string_view text;    // kPictureMark per picture, '\n' (or "\r\n") between paragraphs
    std::span<const int> faces;  // the face number of each picture in text order, 0: not a face
};

// A copy of the send box kept between two key presses (a window's prevFormatText).
struct SendBoxSnapshot {
    std::u16string text;
    std::vector<int> faces;
    [[nodiscard]] SendBoxView view() const { return {text, faces}; }
    void clear() {
        text.clear();
        faces.clear();
    }
};

class Faces {
  public:
    // programFolder holds keywords.kwd and the face folder.
    explicit Faces(std::string programFolder);

    // ---- keywords ----
    // Reads the face count and the keyword of each face from keywords.kwd. Without the file
    // nothing changes; slots beyond the count and beyond the table keep what they held.
    void LoadKeyWords();
    // Puts keyword into the 0-based slot index (face index + 1); an index off the table is ignored.
    void SetKeyWords(std::string_view keyword, int index);
    [[nodiscard]] const std::array<Bytes, kKeywordSlots>& keywordTable() const { return keywordTable_; }
    // As keywords.kwd states it, which may exceed the table.
    [[nodiscard]] int faceCount() const { return faceCount_; }
    [[nodiscard]] std::string facePath(int face) const;
    [[nodiscard]] std::string keywordPath() const;

    // The received text (GBK) cut into text runs and faces: a "/" opens a keyword, a second
    // "/" abandons it, and the first keyword of keywords.kwd that the characters since the
    // slash spell becomes its face. A keyword whose picture file is missing vanishes.
    [[nodiscard]] std::vector<FaceRun> TransForm(std::string_view gbkText) const;

    // ---- the tags of the pictures in the send box ----
    // Entry k of the list (1-based, as the wire order counts) is faceTagList()[k - 1].
    [[nodiscard]] const std::vector<Bytes>& faceTagList() const { return faceTagList_; }
    [[nodiscard]] int faceTagCount() const { return faceTagCount_; }
    // After a line is sent; the entries stay until the next insert rebuilds the list.
    void resetFaceTagCount() { faceTagCount_ = 0; }

    // Records that face went into the box, given the box just before and just after.
    void InsertFace(int face, SendBoxView before, SendBoxView after);

    // Backspace or Delete is going down, before the box acts on it: when a picture has gone
    // since prevFormatText was taken, the tags from the first difference on are emptied.
    // prevFormatText is the window's own copy and is updated here.
    void onDeleteKeyDown(SendBoxSnapshot& prevFormatText, SendBoxView now);

    // The line as it goes out (GBK): the box's text with the k-th picture written as entry k of
    // faceTagList, nothing for a picture beyond the list, paragraph ends as CR LF.
    [[nodiscard]] Bytes BuildMessageString(SendBoxView box) const;

  private:
    std::string folder_;
    std::array<Bytes, kKeywordSlots> keywordTable_;
    int faceCount_ = 0;
    std::vector<Bytes> faceTagList_;
    int faceTagCount_ = 0;
};

}  // namespace nq
