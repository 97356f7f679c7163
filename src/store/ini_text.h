#pragma once
// The text of a profile file, for CIniFile only: how lines are classified, how names compare
// and how a file is split into lines and put back together byte for byte. All scanning is
// DBCS-aware: a byte of 0x80 and up opens a two-byte character whose trail may be any byte,
// ASCII letters and brackets included.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace nq::ini {

// Blanks are always characters of their own (GBK trail bytes are 0x40 and up), so these strip
// either end without looking at character borders.
[[nodiscard]] std::string_view trimBlanks(std::string_view s);
[[nodiscard]] std::string_view trimSpaces(std::string_view s);

// The profile calls took C strings: everything from the first NUL on never reached them.
[[nodiscard]] std::string_view upToNul(std::string_view s);

// What a caller hands in, cut where it would have ended for the C call or where it would
// have broken into a second line of the file.
[[nodiscard]] std::string_view asOneLine(std::string_view s);

// Names compare equal when they differ only in the case of single-byte ASCII letters; the
// trail byte of a two-byte character is copied as it is, so "\x81\x41" never meets "\x81\x61".
[[nodiscard]] std::string foldName(std::string_view s);

// Largest prefix of whole characters that fits in limit bytes.
[[nodiscard]] std::string_view cutToCharacters(std::string_view s, size_t limit);

enum class LineKind { kOther, kHeader, kKey };

struct LineView {
    LineKind kind = LineKind::kOther;
    std::string_view name;   // section name or key, blanks stripped
    std::string_view value;  // for keys: the text after the first "=", blanks stripped
};

// "[name]" with the name up to the last "]" that is a character of its own; "key=value";
// anything else (comments, blank lines, junk) is carried along untouched.
[[nodiscard]] LineView classify(std::string_view text);

enum class LineEnd : uint8_t { kNone, kLf, kCrLf };

struct Line {
    std::string text;  // without its line end
    LineEnd end = LineEnd::kCrLf;
};

struct Section {
    size_t header = 0;  // index of the "[name]" line
    size_t end = 0;     // one past the section's last line: the next header or the end of file
    std::unordered_map<std::string, size_t> keys;  // folded key -> first line with it
};

// A parsed file: the lines as they were, plus an index of sections and keys. Lines before
// the first header belong to no section and are only carried along.
struct Document {
    std::vector<Line> lines;
    std::vector<Section> sections;
    std::unordered_map<std::string, size_t> firstSection;  // folded name -> sections index

    // Rebuilds sections and firstSection after lines changed.
    void reindex();

    [[nodiscard]] const Section* find(const std::string& foldedSection) const;

    // The raw value of the first key in the first section of that name, as the profile
    // call found it: blanks around it stripped, nothing else done yet.
    [[nodiscard]] std::optional<std::string_view> rawValue(const std::string& foldedSection,
                                                           const std::string& foldedKey) const;

    // The file's bytes: every line as it was read, with the line end it had.
    [[nodiscard]] std::string serialize() const;
};

[[nodiscard]] Document parse(std::string_view bytes);

// One key to write, checked: section and key trimmed and folded for lookup, the value cut to
// one line. Only names that read back as themselves get this far.
struct KeyWrite {
    std::string section;
    std::string key;
    std::string value;
    std::string foldedSection;
    std::string foldedKey;
};

// A section name as a write puts it in the file, trimmed and folded for lookup, or nothing
// for one the profile call would refuse or that would not read back as itself: empty,
// holding a line break, ending in a lone lead byte that swallows its "]".
struct SectionName {
    std::string name;
    std::string folded;
};
[[nodiscard]] std::optional<SectionName> checkSection(std::string_view section);

// The write as the profile call would make it, or nothing for a name it would refuse or that
// would not read back as itself (a key such as "[x]", ";x" or "a=b" besides the above).
[[nodiscard]] std::optional<KeyWrite> prepareWrite(const SectionName& section, std::string_view key,
                                                   std::string_view value);
[[nodiscard]] std::optional<KeyWrite> prepareWrite(std::string_view section, std::string_view key,
                                                   std::string_view value);

// Applies the writes in order, with the same result as one profile call after another: a
// key already there keeps its place and spelling, a new key follows the last non-blank line
// of the first section of its name, a new section goes to the end. The lines are rebuilt
// and indexed once for the whole list. Returns whether anything changed.
bool applyWrites(Document& doc, const std::vector<KeyWrite>& writes);

// What a read hands out for the raw value of a key (nothing: the key is missing): up to its
// first NUL, one pair of matching quotes removed, cut to whole characters within limit bytes.
[[nodiscard]] std::string profileValue(std::optional<std::string_view> raw, size_t limit);

}  // namespace nq::ini
