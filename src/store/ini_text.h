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

}  // namespace nq::ini
