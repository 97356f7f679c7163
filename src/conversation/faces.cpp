#include "conversation/faces.h"

#include <QStringView>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>

#include "store/ini_file.h"
#include "wire/fields.h"

namespace nq {

namespace {

// How the bookkeeping reads the send box.
//
// The tag rules are walks over the box in its RTF form, where a picture is a long group of
// picture data and every paragraph, the last one too, is closed by a mark. Our box is a Qt
// document, so the walks run over a sequence of units instead: one unit per character of the
// box's plain text, one per picture carrying its face number, and one paragraph end after the
// last unit. Where the RTF walk compared a character of one text with the
// character at the same place in the other, we compare units: a character equals the same
// character, a picture equals a picture of the same face (two copies of one GIF embed the
// same RTF), and nothing equals a place past the end. Where the walk jumped from the start of
// a picture to the next paragraph mark, we jump to the next paragraph end unit, a line of the
// box being one paragraph. Where it compared text lengths, a picture weighs what its RTF group
// weighs (kilobytes of picture data), a character beyond ASCII its two \'hh escapes, and any
// other character one.
using Unit = int32_t;
constexpr Unit kPictureUnit = 0x10000;  // + face number; above every UTF-16 code unit
constexpr Unit kPastTheEnd = -1;
constexpr Unit kParagraphEnd = u'\n';

constexpr long kPictureRtfChars = 4096;
constexpr long kEscapedCharRtfChars = 8;
// A box whose RTF shrank by more than this has lost a picture.
constexpr long kPictureGoneRtfChars = 1000;

std::vector<Unit> unitsOf(SendBoxView box) {
    std::vector<Unit> units;
    units.reserve(box.text.size() + 1);
    size_t picture = 0;
    for (const char16_t c : box.text) {
        if (c != kPictureMark) {
            units.push_back(c);
            continue;
        }
        const int face = picture < box.faces.size() ? box.faces[picture] : 0;
        ++picture;
        units.push_back(kPictureUnit + std::max(face, 0));
    }
    units.push_back(kParagraphEnd);
    return units;
}

bool isPicture(Unit u) {
    return u >= kPictureUnit;
}

Unit unitAt(const std::vector<Unit>& units, size_t i) {
    return i < units.size() ? units[i] : kPastTheEnd;
}

long rtfLength(const std::vector<Unit>& units) {
    long n = 0;
    for (const Unit u : units) n += isPicture(u) ? kPictureRtfChars : u < 0x80 ? 1 : kEscapedCharRtfChars;
    return n;
}

// A number from a keyword file as a 16-bit variable takes it: rounded half to even, nothing
// when it does not fit.
std::optional<int> toInt16(std::string_view text) {
    const double v = std::nearbyint(toNumber(text));
    if (v < INT16_MIN || v > INT16_MAX) return std::nullopt;
    return static_cast<int>(v);
}

bool onlySpaces(std::string_view s) {
    return s.find_first_not_of(' ') == std::string_view::npos;
}

Bytes toGbk(std::u16string_view text) {
    return gbk::fromUtf8(QStringView(text.data(), qsizetype(text.size())).toUtf8().toStdString());
}

}  // namespace

Faces::Faces(std::string programFolder) : folder_(std::move(programFolder)) {}

std::string Faces::keywordPath() const {
    return CIniFile::MakePath(folder_, kKeywordFile);
}

std::string Faces::facePath(int face) const {
    return CIniFile::MakePath(CIniFile::MakePath(folder_, kFaceFolder), std::to_string(face) + ".gif");
}

void Faces::LoadKeyWords() {
    const std::string path = keywordPath();
    if (!fileExists(path)) return;
    const CIniFile file(path);
    // A count that does not fit leaves the one read last, as the failing assignment did.
    if (const auto n = toInt16(file.GetIniKey("face", "num"))) faceCount_ = *n;
    for (int i = 0; i < std::min(faceCount_, kKeywordSlots); ++i)
        keywordTable_[size_t(i)] = file.GetIniKey("face", std::to_string(i));
}

void Faces::SetKeyWords(std::string_view keyword, int index) {
    if (index >= 0 && index < kKeywordSlots) keywordTable_[size_t(index)] = Bytes(keyword);
}

std::vector<FaceRun> Faces::TransForm(std::string_view text) const {
    // What the receiving box holds so far: one entry per character (its GBK bytes) or picture.
    struct Written {
        std::string_view character;
        int face = 0;
    };
    std::vector<Written> written;
    written.reserve(text.size());
    const CIniFile keywords(keywordPath());
    bool inKeyword = false;
    Bytes candidate;
    size_t candidateLength = 0;  // in characters

    for (size_t i = 0; i < text.size();) {
        const size_t width = static_cast<unsigned char>(text[i]) >= 0x80 && i + 1 < text.size() ? 2 : 1;
        const std::string_view c = text.substr(i, width);
        i += width;
        // Every character is written first; a keyword is taken out again once it is complete.
        written.push_back({c, 0});
        if (c == "/") {
            // A second slash abandons the try without opening a new one.
            inKeyword = !inKeyword;
            candidate.clear();
            candidateLength = 0;
            continue;
        }
        if (!inKeyword) continue;
        candidate += c;
        ++candidateLength;
        // Looked up after every character, so the shortest keyword wins.
        const Bytes number = onlySpaces(candidate) ? Bytes() : keywords.GetIniKey("key", candidate);
        if (number.empty()) continue;
        written.resize(written.size() - std::min(written.size(), candidateLength + 1));
        // The keyword goes even when its picture cannot be shown.
        const std::optional<int> index = toInt16(number);
        if (index && fileExists(facePath(*index + 1))) written.push_back({{}, *index + 1});
        inKeyword = false;
        candidate.clear();
        candidateLength = 0;
    }

    std::vector<FaceRun> runs;
    for (const Written& w : written) {
        if (w.face != 0)
            runs.push_back({{}, w.face});
        else if (runs.empty() || runs.back().face != 0)
            runs.push_back({Bytes(w.character), 0});
        else
            runs.back().text += w.character;
    }
    return runs;
}

void Faces::InsertFace(int face, SendBoxView before, SendBoxView after) {
    const Bytes tag = face >= 1 && face <= kKeywordSlots ? "/" + keywordTable_[size_t(face - 1)] : Bytes();
    ++faceTagCount_;
    const size_t k = size_t(std::max(faceTagCount_, 1));
    if (k == 1) {
        faceTagList_ = {tag};
        return;
    }
    std::vector<Bytes> list(faceTagList_.begin(),
                            faceTagList_.begin() + std::min(faceTagList_.size(), k - 1));
    list.resize(k);

    // A box that only grew by its last character took the face at its end.
    if (!after.text.empty() && after.text.substr(0, after.text.size() - 1) == before.text) {
        list[k - 1] = tag;
        faceTagList_ = std::move(list);
        return;
    }
    // Otherwise the tag goes behind the tags of the pictures in front of the first difference.
    // Only the first picture of a line is counted: the walk skips from it to the line's end.
    const std::vector<Unit> was = unitsOf(before), is = unitsOf(after);
    size_t place = 1;
    for (size_t i = 0; i < was.size(); ++i) {
        if (isPicture(was[i])) {
            ++place;
            i = size_t(std::find(was.begin() + std::ptrdiff_t(i) + 1, was.end(), kParagraphEnd) -
                       was.begin());
        }
        if (unitAt(is, i) != unitAt(was, i) && place <= k) {
            list.insert(list.begin() + std::ptrdiff_t(place - 1), tag);
            list.resize(k);
            break;
        }
    }
    // When no difference is found the new face keeps an empty tag at the end.
    faceTagList_ = std::move(list);
}

void Faces::onDeleteKeyDown(SendBoxSnapshot& prevFormatText, SendBoxView now) {
    const std::vector<Unit> was = unitsOf(prevFormatText.view()), is = unitsOf(now);
    if (rtfLength(was) - rtfLength(is) > kPictureGoneRtfChars) {
        if (now.text.empty()) {
            // The snapshot stays: the next key compares against the box before it emptied.
            faceTagCount_ = 0;
            return;
        }
        // The walk goes on past the first difference, and behind a lost picture the two boxes
        // stay out of step, so every later picture's tag is emptied as well.
        size_t picture = 0;
        for (size_t i = 0; i < was.size(); ++i) {
            if (isPicture(was[i])) ++picture;
            if (unitAt(is, i) != was[i] && picture >= 1 && picture <= faceTagList_.size())
                faceTagList_[picture - 1].clear();
        }
    }
    prevFormatText.text.assign(now.text);
    prevFormatText.faces.assign(now.faces.begin(), now.faces.end());
}

Bytes Faces::BuildMessageString(SendBoxView box) const {
    Bytes out;
    std::u16string text;
    size_t picture = 0;
    for (size_t i = 0; i < box.text.size(); ++i) {
        const char16_t c = box.text[i];
        if (c == kPictureMark) {
            out += toGbk(text);
            text.clear();
            if (picture < faceTagList_.size()) out += faceTagList_[picture];
            ++picture;
        } else if (c == u'\n' && (i == 0 || box.text[i - 1] != u'\r')) {
            text += u"\r\n";
        } else {
            text += c;
        }
    }
    return out + toGbk(text);
}

}  // namespace nq
