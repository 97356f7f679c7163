#include "store/ini_text.h"

#include <algorithm>
#include <deque>
#include <map>

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

std::optional<SectionName> checkSection(std::string_view section) {
    const std::string_view sec = trimBlanks(upToNul(section));
    // A line break inside a name would split its line in two.
    if (sec.empty() || sec.find_first_of("\r\n") != std::string_view::npos) return std::nullopt;
    SectionName s{std::string(sec), foldName(sec)};
    const std::string header = "[" + s.name + "]";
    const LineView h = classify(header);
    if (h.kind != LineKind::kHeader || foldName(h.name) != s.folded) return std::nullopt;
    return s;
}

namespace {
// Letters, digits and "_" only: such a key reads back as itself whatever the value.
bool plainKey(std::string_view k) {
    return std::all_of(k.begin(), k.end(), [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
    });
}
}  // namespace

std::optional<KeyWrite> prepareWrite(const SectionName& section, std::string_view key,
                                     std::string_view value) {
    const std::string_view k = trimBlanks(upToNul(key));
    if (k.empty() || k.find_first_of("\r\n") != std::string_view::npos) return std::nullopt;
    KeyWrite w{section.name, std::string(k), std::string(asOneLine(value)), section.folded, foldName(k)};
    if (!plainKey(k)) {
        const std::string line = w.key + "=" + w.value;
        const LineView kv = classify(line);
        if (kv.kind != LineKind::kKey || foldName(kv.name) != w.foldedKey) return std::nullopt;
    }
    return w;
}

std::optional<KeyWrite> prepareWrite(std::string_view section, std::string_view key, std::string_view value) {
    const std::optional<SectionName> s = checkSection(section);
    if (!s) return std::nullopt;
    return prepareWrite(*s, key, value);
}

namespace {

// Sets the value of a key line that is already there; false when it already holds that value.
// The key keeps the spelling the file has; blanks around "=" go, as when the profile call
// rewrote a line.
bool rewriteKeyLine(Line& line, const std::string& value) {
    const LineView old = classify(line.text);
    if (old.value == trimBlanks(value)) return false;
    std::string replaced;
    replaced.reserve(old.name.size() + 1 + value.size());
    replaced.append(old.name).append("=").append(value);
    line.text = std::move(replaced);
    line.end = LineEnd::kCrLf;
    return true;
}

// After the section's last non-blank line, so that blank lines separating it from the next
// section stay where they are.
size_t appendPoint(const Document& doc, const Section& s) {
    for (size_t i = s.end; i > s.header + 1; --i) {
        if (!trimBlanks(doc.lines[i - 1].text).empty()) return i;
    }
    return s.header + 1;
}

}  // namespace

bool applyWrites(Document& doc, const std::vector<KeyWrite>& writes) {
    bool changed = false;
    // New lines are collected first and put in place in one rebuild: per existing section
    // (by index), and per new section in the order the sections were first written.
    std::map<size_t, std::vector<Line>> appended;
    std::deque<std::vector<Line>> created;  // a deque keeps the places Added points at
    std::unordered_map<std::string, size_t> createdIndex;
    struct Added {
        std::vector<Line>* lines;
        size_t at;
    };
    std::unordered_map<std::string, Added> added;

    const std::string* lastFolded = nullptr;
    const Section* s = nullptr;
    for (const KeyWrite& w : writes) {
        // Writes come in runs of one section: its lookup is done once a run.
        if (!lastFolded || *lastFolded != w.foldedSection) {
            s = doc.find(w.foldedSection);
            lastFolded = &w.foldedSection;
        }
        // A key the file had is changed in place; only keys this pass added are looked up.
        if (s) {
            if (const auto k = s->keys.find(w.foldedKey); k != s->keys.end()) {
                changed |= rewriteKeyLine(doc.lines[k->second], w.value);
                continue;
            }
        }
        std::string id = w.foldedSection;
        id.append(1, '\0').append(w.foldedKey);
        if (const auto a = added.find(id); a != added.end()) {
            changed |= rewriteKeyLine((*a->second.lines)[a->second.at], w.value);
            continue;
        }
        std::vector<Line>* into = nullptr;
        if (s) {
            into = &appended[static_cast<size_t>(s - doc.sections.data())];
        } else {
            const auto [it, fresh] = createdIndex.try_emplace(w.foldedSection, created.size());
            if (fresh) created.push_back({Line{"[" + w.section + "]", LineEnd::kCrLf}});
            into = &created[it->second];
        }
        into->push_back(Line{w.key + "=" + w.value, LineEnd::kCrLf});
        added.emplace(std::move(id), Added{into, into->size() - 1});
        changed = true;
    }
    if (appended.empty() && created.empty()) return changed;

    std::multimap<size_t, std::vector<Line>*> at;
    for (auto& [section, lines] : appended) at.emplace(appendPoint(doc, doc.sections[section]), &lines);
    std::vector<Line> out;
    out.reserve(doc.lines.size() + added.size() + created.size());
    auto next = at.begin();
    for (size_t i = 0; i <= doc.lines.size(); ++i) {
        for (; next != at.end() && next->first == i; ++next) {
            for (Line& l : *next->second) out.push_back(std::move(l));
        }
        if (i < doc.lines.size()) out.push_back(std::move(doc.lines[i]));
    }
    for (auto& lines : created) {
        for (Line& l : lines) out.push_back(std::move(l));
    }
    doc.lines = std::move(out);
    doc.reindex();
    return true;
}

std::string profileValue(std::optional<std::string_view> raw, size_t limit) {
    if (!raw) return {};
    std::string_view v = upToNul(*raw);
    if (v.size() > 1 && (v.front() == '"' || v.front() == '\'') && v.back() == v.front()) {
        v = v.substr(1, v.size() - 2);
    }
    return std::string(cutToCharacters(v, limit));
}

}  // namespace nq::ini
