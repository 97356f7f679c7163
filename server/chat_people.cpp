// Finding people and groups: searches by account, nick, group name and number; the online
// listing and the group listing paged by rows; profiles saved by their owners; group cards.

#include <algorithm>
#include <charconv>

#include "server/chat_service.h"
#include "server/names.h"
#include "server/records.h"

namespace nq::server {
namespace {

// The client shows ten rows a page and enables its "more" button on exactly ten.
constexpr int64_t kPageRows = 10;
// A chat server that has not reported its load for this long is taken for gone, and so are the
// people it held.
constexpr int64_t kServerFreshSeconds = 15;

std::optional<int64_t> decimal(std::string_view text) {
    int64_t v = 0;
    auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), v);
    if (ec != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return v;
}

// Rows first..last as the client asks them: both decimal, first from 1, ten at most.
struct RowRange {
    int64_t first = 0;
    int64_t count = 0;
};
std::optional<RowRange> rowRange(FieldReader& fields) {
    const auto first = fields.next();
    const auto last = fields.next();
    if (!first || !last) return std::nullopt;
    const auto f = decimal(*first);
    const auto l = decimal(*last);
    if (!f || !l || *f < 1 || *l < *f) return std::nullopt;
    return RowRange{*f, std::min(*l - *f + 1, kPageRows)};
}

// Text the client keeps as one line of an INI file: a control character would end the line, so
// it becomes a space; then the text is cut to its limit on a character border.
Bytes profileText(std::string_view text, size_t maxBytes) {
    Bytes out(cutGbk(text, maxBytes));
    for (char& c : out)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = ' ';
    return out;
}

}  // namespace

// Group triples for (3,9) and (3,10), as many as one frame takes.
Bytes ChatService::groupRows(std::span<const Group> groups, size_t& taken) {
    size_t size = 0;
    taken = 0;
    while (taken < groups.size() && size + groupEntrySize(groups[taken]) <= kMaxBody)
        size += groupEntrySize(groups[taken++]);
    return groupRoster(groups.first(taken));
}

void ChatService::onFindPerson(Session& s, const FrameHeader& h, FieldReader& fields) {
    const auto text = fields.next();
    if (!text) return dropShort(s, h);
    const FrameKind kind{h.type, h.sub};
    // The user chose how to search: by account or by nick, not both.
    const Bytes key(*text);
    const auto found = h.code == code::kSearchByNick ? store_.accountByNick(key) : store_.account(key);
    if (found) return void(sendTo(s, kind, code::kDone, profileRecord(*found)));
    // The blacklist search's failure carries a field the client ignores; the friend search's none.
    sendTo(s, kind, code::kFailed, kind == kind::kFindForBlacklist ? joinFields({*text}) : Bytes());
}

// A page continues where the session's last page of the same listing ended, by key rather than
// by position, so that people logging in or out meanwhile never make it repeat or skip a row.
// Another first row (the client went back, or asks out of turn) is counted from the start.
void ChatService::onOnlinePage(Session& s, const FrameHeader& h, FieldReader& fields) {
    const auto range = rowRange(fields);
    if (!range) return dropShort(s, h);
    const bool goesOn = range->first == s.onlinePage.nextRow && range->first > 1;
    const std::vector<Contact> rows =
        store_.onlinePage(goesOn ? s.onlinePage.afterAccount : Bytes(), goesOn ? 0 : range->first - 1,
                          static_cast<int>(range->count), config_.serverId, wall_() - kServerFreshSeconds);
    s.onlinePage.nextRow = range->first + static_cast<int64_t>(rows.size());
    if (!rows.empty()) s.onlinePage.afterAccount = rows.back().account;
    Bytes body;
    for (const Contact& c : rows) {
        appendField(body, c.nick);
        appendField(body, c.account);
        appendField(body, c.head);
    }
    sendTo(s, kind::kOnlinePage, rows.empty() ? code::kFailed : code::kDone, body);
}

void ChatService::onGroupPage(Session& s, const FrameHeader& h, FieldReader& fields) {
    const auto range = rowRange(fields);
    if (!range) return dropShort(s, h);
    const bool goesOn = range->first == s.groupPage.nextRow && range->first > 1;
    const std::vector<Group> groups = store_.groupsPage(
        goesOn ? s.groupPage.afterId : 0, goesOn ? 0 : range->first - 1, static_cast<int>(range->count));
    size_t taken = 0;
    const Bytes body = groupRows(groups, taken);
    s.groupPage.nextRow = range->first + static_cast<int64_t>(taken);
    if (taken > 0) s.groupPage.afterId = groups[taken - 1].id;
    sendTo(s, kind::kGroupPage, taken ? code::kDone : code::kFailed, taken ? body : Bytes());
}

void ChatService::onGroupSearch(Session& s, const FrameHeader& h, FieldReader& fields) {
    const auto text = fields.next();
    if (!text) return dropShort(s, h);
    std::vector<Group> groups;
    if (h.code == code::kGroupSearchByNumber) {
        if (auto id = decimal(*text))
            if (auto g = store_.groupById(*id)) groups.push_back(std::move(*g));
    } else {
        // An empty name finds every group, the first page of them.
        groups = store_.groupsNamed(Bytes(*text), static_cast<int>(kPageRows));
    }
    size_t taken = 0;
    const Bytes body = groupRows(groups, taken);
    sendTo(s, kind::kGroupSearch, taken ? code::kDone : code::kFailed, taken ? body : Bytes());
}

// The card is public: the client asks for it from search results, before the user joins.
void ChatService::onGroupCard(Session& s, const FrameHeader& h, FieldReader& fields) {
    const auto name = fields.next();
    if (!name) return dropShort(s, h);
    const auto card = store_.groupCard(Bytes(*name));
    if (!card) {
        // No failure reply exists: the client's wait runs out.
        NQ_LOG_CAPPED(log_, Refused, now_, Info, "no group card of %s for %s", printable(*name).c_str(),
                      printable(s.account).c_str());
        return;
    }
    const std::string number = std::to_string(card->group.id);
    const std::string kindText = std::to_string(card->kind);
    const std::string available = std::to_string(card->available);
    sendTo(s, kind::kGroupRecord, code::kDone,
           joinFields({number, card->group.name, card->group.intro, card->host, card->hostess, card->deputy,
                       card->butler, kindText, available}));
}

// The user's own profile, in the order his form sends it; field 1, his account, was checked
// against his session already, so nobody writes another's profile. Each text is cut to a limit
// that keeps the whole record within one frame. A nick or head that may not be used keeps the
// old one; the rest is saved. No reply exists.
void ChatService::onSaveProfile(Session& s, const FrameHeader& h, FieldReader& fields) {
    auto current = store_.account(s.account);
    if (!current) return;
    Account a = *current;
    std::vector<std::string_view> f;
    for (auto v = fields.next(); v && f.size() < 19; v = fields.next()) f.push_back(*v);
    if (f.size() < 19) return dropShort(s, h);

    const Bytes nick = profileText(f[0], kMaxNameBytes);
    const bool nickFree = !nickProblem(nick) && !store_.group(nick) && [&] {
        auto byName = store_.account(nick);
        auto byNick = store_.accountByNick(nick);
        return (!byName || byName->name == s.account) && (!byNick || byNick->name == s.account);
    }();
    if (nickFree)
        a.nick = nick;
    else if (nick != a.nick)
        NQ_LOG_CAPPED(log_, Refused, now_, Info, "%s keeps his nick: %s may not be used",
                      printable(s.account).c_str(), printable(nick).c_str());
    if (isHeadCode(f[1])) a.head = Bytes(f[1]);
    a.signature = profileText(f[2], kProfileLimits.signature);
    if (auto age = decimal(f[3])) a.age = static_cast<int>(std::clamp<int64_t>(*age, 0, 150));
    a.sex = f[4] == "1" ? 1 : 0;
    const auto texts = a.profileTexts();
    for (size_t i = 0; i < std::size(texts); ++i) *texts[i] = profileText(f[5 + i], kProfileLimits.text[i]);
    store_.saveProfile(a);
    s.nick = a.nick;
    s.head = a.head;
}

}  // namespace nq::server
