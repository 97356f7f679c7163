#include "store/ini_text.h"

namespace nq::ini {
namespace {

bool isBlank(unsigned char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f';
}

}  // namespace

std::string_view trimBlanks(std::string_view s) {
    while (!s.empty() && isBlank(static_cast<unsigned char>(s.front()))) s.remove_prefix(1);
    while (!s.empty() && isBlank(static_cast<unsigned char>(s.back()))) s.remove_suffix(1);
    return s;
}

std::string_view trimSpaces(std::string_view s) {
    while (!s.empty() && s.front() == ' ') s.remove_prefix(1);
    while (!s.empty() && s.back() == ' ') s.remove_suffix(1);
    return s;
}

std::string_view upToNul(std::string_view s) {
    return s.substr(0, s.find('\0'));
}

std::string_view asOneLine(std::string_view s) {
    return s.substr(0, s.find_first_of(std::string_view("\0\r\n", 3)));
}

std::string foldName(std::string_view s) {
    std::string out(s);
    size_t i = 0;
    while (i < out.size()) {
        const auto c = static_cast<unsigned char>(out[i]);
        if (c >= 0x80) {
            i += 2;
            continue;
        }
        if (c >= 'A' && c <= 'Z') out[i] = static_cast<char>(c + ('a' - 'A'));
        i += 1;
    }
    return out;
}

std::string_view cutToCharacters(std::string_view s, size_t limit) {
    if (s.size() <= limit) return s;
    size_t i = 0;
    while (i < s.size()) {
        const size_t step = static_cast<unsigned char>(s[i]) >= 0x80 ? 2 : 1;
        if (i + step > limit) break;
        i += step;
    }
    return s.substr(0, i);
}

LineView classify(std::string_view text) {
    LineView v;
    const std::string_view t = trimBlanks(text);
    if (t.empty() || t.front() == ';') return v;
    if (t.front() == '[') {
        size_t close = std::string_view::npos;
        size_t i = 1;
        while (i < t.size()) {
            const auto c = static_cast<unsigned char>(t[i]);
            if (c >= 0x80) {
                i += 2;
                continue;
            }
            if (c == ']') close = i;
            i += 1;
        }
        if (close != std::string_view::npos) {
            v.kind = LineKind::kHeader;
            v.name = trimBlanks(t.substr(1, close - 1));
            return v;
        }
    }
    // "=" is below 0x40 and so never the trail of a two-byte character.
    const size_t eq = t.find('=');
    if (eq == std::string_view::npos) return v;
    v.name = trimBlanks(t.substr(0, eq));
    if (v.name.empty()) return v;
    v.kind = LineKind::kKey;
    v.value = trimBlanks(t.substr(eq + 1));
    return v;
}

void Document::reindex() {
    sections.clear();
    firstSection.clear();
    for (size_t i = 0; i < lines.size(); ++i) {
        const LineView v = classify(lines[i].text);
        if (v.kind == LineKind::kHeader) {
            if (!sections.empty()) sections.back().end = i;
            sections.push_back(Section{i, lines.size(), {}});
            firstSection.try_emplace(foldName(v.name), sections.size() - 1);
        } else if (v.kind == LineKind::kKey && !sections.empty()) {
            sections.back().keys.try_emplace(foldName(v.name), i);
        }
    }
}

const Section* Document::find(const std::string& foldedSection) const {
    const auto it = firstSection.find(foldedSection);
    return it == firstSection.end() ? nullptr : &sections[it->second];
}

std::optional<std::string_view> Document::rawValue(const std::string& foldedSection,
                                                   const std::string& foldedKey) const {
    const Section* s = find(foldedSection);
    if (!s) return std::nullopt;
    const auto k = s->keys.find(foldedKey);
    if (k == s->keys.end()) return std::nullopt;
    return classify(lines[k->second].text).value;
}

std::string Document::serialize() const {
    size_t total = 0;
    for (const Line& l : lines) total += l.text.size() + 2;
    std::string out;
    out.reserve(total);
    for (size_t i = 0; i < lines.size(); ++i) {
        out += lines[i].text;
        switch (lines[i].end) {
            case LineEnd::kCrLf:
                out += "\r\n";
                break;
            case LineEnd::kLf:
                out += '\n';
                break;
            case LineEnd::kNone:
                // Only the old last line can lack an end; once something follows it, it
                // gets the line end every written line has.
                if (i + 1 < lines.size()) out += "\r\n";
                break;
        }
    }
    return out;
}

Document parse(std::string_view bytes) {
    Document d;
    size_t pos = 0;
    while (pos < bytes.size()) {
        size_t nl = bytes.find('\n', pos);
        Line line;
        if (nl == std::string_view::npos) {
            line.text.assign(bytes.substr(pos));
            line.end = LineEnd::kNone;
            pos = bytes.size();
        } else {
            std::string_view t = bytes.substr(pos, nl - pos);
            line.end = LineEnd::kLf;
            if (!t.empty() && t.back() == '\r') {
                t.remove_suffix(1);
                line.end = LineEnd::kCrLf;
            }
            line.text.assign(t);
            pos = nl + 1;
        }
        d.lines.push_back(std::move(line));
    }
    d.reindex();
    return d;
}

}  // namespace nq::ini
