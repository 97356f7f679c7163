#include "contacts/search.h"

#include <algorithm>
#include <string>

#include "session/session.h"
#include "store/ini_batch.h"
#include "store/ini_file.h"
#include "store/store_keys.h"
#include "wire/fields.h"
#include "wire/head_code.h"

namespace nq {

namespace {

// Fields of a profile record that a search result shows (1-based, as the record counts).
constexpr int kAccountField = 1;
constexpr int kNickField = 5;
constexpr int kHeadField = 6;
constexpr int kTripleFields = 3;

Bytes rowKey(int fieldNumber) {
    return std::to_string(fieldNumber) + "Row";
}

// Every whole triple of a body, each with the running number of its third field.
struct Triple {
    Bytes a, b, c;
    int k = 0;
};
std::vector<Triple> triples(Bytes body) {
    std::vector<Triple> out;
    int field = 0;
    for (;;) {
        auto a = cutField(body);
        auto b = a ? cutField(body) : std::nullopt;
        auto c = b ? cutField(body) : std::nullopt;
        if (!c) break;
        field += kTripleFields;
        out.push_back({*a, *b, *c, field});
    }
    return out;
}

}  // namespace

Search::Search(Session& session, QObject* parent) : QObject(parent), session_(session) {
    DispatchTable& h = session_.handlers;
    h.on(kind::kFindPerson, [this](Session&) { onPerson(kind::kFindPerson); });
    h.on(kind::kFindForBlacklist, [this](Session&) { onPerson(kind::kFindForBlacklist); });
    h.on(kind::kOnlinePage, [this](Session&) { onOnlinePage(); });
    h.on(kind::kGroupPage, [this](Session&) { onGroups(kind::kGroupPage); });
    h.on(kind::kGroupSearch, [this](Session&) { onGroups(kind::kGroupSearch); });
}

Bytes Search::ownName() const {
    return session_.myName;
}

// ---- requests ----

void Search::findPerson(FrameKind kind, bool byNick, const Bytes& text) {
    session_.queueFrame(kind, byNick ? code::kSearchByNick : code::kSearchByName,
                        joinFields({ownName(), text}));
}

void Search::findGroups(bool byName, const Bytes& text) {
    session_.queueFrame(kind::kGroupSearch, byName ? code::kGroupSearchByName : code::kGroupSearchByNumber,
                        joinFields({ownName(), text}));
}

void Search::listPage(FrameKind kind, int page) {
    const std::string first = std::to_string(page * kPageRows + 1);
    const std::string last = std::to_string((page + 1) * kPageRows);
    session_.queueFrame(kind, code::kNone, joinFields({ownName(), first, last}));
    session_.waitReply = true;
}

void Search::addFriend(const Bytes& account) {
    session_.queueFrame(kind::kAddFriend, code::kNone, joinFields({ownName(), account}));
}

void Search::addToBlacklist(const Bytes& account) {
    session_.queueFrame(kind::kAddToBlacklist, code::kNone, joinFields({ownName(), account}));
}

void Search::askToJoin(const Bytes& creator, const Bytes& group, const Bytes& text) {
    session_.queueFrame(kind::kJoinRequest, code::kNone, joinFields({ownName(), creator, group, text}));
}

bool Search::groupCardKnown(const Bytes& group) const {
    const CIniFile info(session_.userFile(store::info::kFileName));
    return !info.GetIniKey(group, store::info::kGroupId).empty();
}

void Search::requestGroupCard(const Bytes& group) {
    if (session_.queueFrameGated(kind::kGroupRecord, code::kNone, joinFields({ownName(), group})))
        session_.waitReply = true;
}

// ---- leaves ----

void Search::onPerson(FrameKind kind) {
    const float c = session_.wire.head.Code;
    if (c == code::kFailed && kind == kind::kFindPerson) {
        emit personNotFound();
        return;
    }
    if (c != code::kDone) return;
    Bytes body = session_.wire.msgBody;
    Bytes account, nick, head;
    for (int field = 1; field <= kHeadField; ++field) {
        Bytes f = cutField(body).value_or(Bytes());
        if (field == kAccountField) account = std::move(f);
        if (field == kNickField) nick = std::move(f);
        if (field == kHeadField) head = std::move(f);
    }
    // The blacklist's answer keeps only the head code's last character.
    if (kind == kind::kFindForBlacklist && !head.empty()) head = head.substr(head.size() - 1);
    emit personFound(kind, FoundRow{rowKey(1), account, nick, {}, headOnlineIndex(head)});
}

void Search::onOnlinePage() {
    session_.waitReply = false;
    const Bytes& body = session_.wire.msgBody;
    // The count goes by separators, so a torn last row still decides the button.
    const auto nuls = std::count(body.begin(), body.end(), '\0');
    std::vector<FoundRow> rows;
    for (const Triple& t : triples(body))  // nick, account, head code
        rows.push_back({rowKey(t.k), t.b, t.a, {}, headOnlineIndex(t.c)});
    emit onlinePage(rows, nuls / kTripleFields == kPageRows);
}

void Search::onGroups(FrameKind kind) {
    session_.waitReply = false;
    const float c = session_.wire.head.Code;
    if (c == code::kFailed) {
        emit groupsNotFound(kind);
        return;
    }
    if (c != code::kDone) return;
    std::vector<FoundRow> rows;
    session_.ini.setINIFileName(session_.userFile(store::user::kFileName));
    IniBatch file(session_.ini.INIFileName());
    for (const Triple& t : triples(session_.wire.msgBody)) {  // number, name, creator
        rows.push_back({rowKey(t.k), t.a, t.b, t.c, kGroupIcon});
        file.WriteIniKey(t.b, store::user::kGroupBuilder, t.c);
    }
    file.commit();
    emit groupsFound(kind, rows, rows.size() >= static_cast<size_t>(kPageRows));
}

}  // namespace nq
