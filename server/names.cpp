#include "server/names.h"

#include <algorithm>
#include <array>

namespace nq::server {
namespace {

// Characters that break an INI line on the client, its folder names, or the "$" fields of the
// hall's command line.
constexpr std::string_view kIniSpecial = "[]=;";
constexpr std::string_view kPathSpecial = "\\/:*?\"<>|$";

bool contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

bool endsWith(std::string_view text, std::string_view tail) {
    return text.size() >= tail.size() && text.substr(text.size() - tail.size()) == tail;
}

// Rules that accounts and nicks share.
std::optional<std::string> commonProblem(std::string_view name, std::string_view what,
                                         size_t maxBytes = kMaxNameBytes) {
    const std::string w(what);
    if (name.empty()) return w + " is empty";
    if (name.size() > maxBytes) return w + " is longer than " + std::to_string(maxBytes) + " bytes in GBK";
    if (name.front() == ' ' || name.back() == ' ') return w + " begins or ends with a space";
    for (size_t i = 0; i < name.size(); ++i) {
        const auto c = static_cast<unsigned char>(name[i]);
        if (c >= 0x80) {
            ++i;  // a two-byte character: its trail byte may look like anything
            continue;
        }
        if (c < 0x20 || c == 0x7F) return w + " holds a control character";
        if (kIniSpecial.find(static_cast<char>(c)) != std::string_view::npos)
            return w + " holds one of [ ] = ; which the client's INI files cannot keep";
    }
    if (contains(name, gbk::fromUtf8("其验证信息")))
        return w + " holds \"其验证信息\", a key of the client's files";
    if (endsWith(name, gbk::fromUtf8("(庄主)"))) return w + " ends in \"(庄主)\", the client's owner mark";
    if (cutGbk(name, name.size()).size() != name.size()) return w + " ends in half a character";
    return std::nullopt;
}

}  // namespace

std::optional<std::string> accountProblem(std::string_view account) {
    if (auto p = commonProblem(account, "account")) return p;
    for (char c : account) {
        if (static_cast<unsigned char>(c) < 0x80 && kPathSpecial.find(c) != std::string_view::npos)
            return "account holds one of \\ / : * ? \" < > | $, which cannot stand in a folder name";
        if (c == ' ') return "account holds a space";
    }
    return std::nullopt;
}

std::optional<std::string> nickProblem(std::string_view nick) {
    return commonProblem(nick, "nick");
}

std::optional<std::string> groupNameProblem(std::string_view name) {
    size_t chars = 0;
    for (size_t i = 0; i < name.size(); i += static_cast<unsigned char>(name[i]) >= 0x80 ? 2 : 1) ++chars;
    if (chars > kMaxGroupNameChars)
        return "group name is longer than " + std::to_string(kMaxGroupNameChars) + " characters";
    return commonProblem(name, "group name", 2 * kMaxGroupNameChars);
}

bool isHeadCode(std::string_view code) {
    if (code.size() == 2 && code[0] == 'm') return code[1] >= '0' && code[1] <= '9';
    if (code.size() == 2 && code[0] == 'w') return code[1] >= '1' && code[1] <= '9';
    return code == "w10";
}

Bytes levelTitle(int level) {
    static constexpr std::array<std::string_view, 8> kTitles = {
        "新手上路", "初级会员", "中级会员", "高级会员", "资深会员", "元老会员", "荣誉会员", "传奇会员"};
    if (level < 1) level = 1;
    return gbk::fromUtf8(kTitles[std::min<size_t>(level - 1, kTitles.size() - 1)]);
}

std::optional<Bytes> gbkExactly(std::string_view utf8) {
    Bytes out = gbk::fromUtf8(utf8);
    // fromUtf8 writes "?" for what GBK lacks; a round trip tells a real "?" from a lost character.
    if (gbk::toUtf8(out) != utf8) return std::nullopt;
    return out;
}

std::string_view cutGbk(std::string_view text, size_t maxBytes) {
    size_t i = 0;
    while (i < text.size()) {
        const size_t step = static_cast<unsigned char>(text[i]) >= 0x80 ? 2 : 1;
        if (i + step > text.size() || i + step > maxBytes) break;
        i += step;
    }
    return text.substr(0, i);
}

}  // namespace nq::server
