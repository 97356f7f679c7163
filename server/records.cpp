#include "server/records.h"

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "server/names.h"
#include "wire/fields.h"

namespace nq::server {
namespace {

// The client reads these fields into 16-bit integers; anything wider would abandon the leaf.
std::string int16Text(int64_t v) {
    return std::to_string(std::clamp<int64_t>(v, -32768, 32767));
}

// The fields one contact takes in each roster.
using RosterFields = std::vector<std::string_view> (*)(const Contact&);
std::vector<std::string_view> friendFields(const Contact& c) {
    return {c.account, c.head, c.nick};
}
std::vector<std::string_view> onlineFields(const Contact& c) {
    return {c.account, c.head};
}
std::vector<std::string_view> blacklistFields(const Contact& c) {
    return {c.nick, c.head};
}

size_t entrySize(const Contact& c, RosterFields fieldsOf) {
    size_t n = 0;
    for (auto f : fieldsOf(c)) n += f.size() + 1;
    return n;
}

// As many whole entries as one frame carries, in order.
Bytes roster(std::span<const Contact> contacts, RosterFields fieldsOf) {
    Bytes body;
    for (const Contact& c : contacts) {
        if (body.size() + entrySize(c, fieldsOf) > kMaxBody) break;
        for (auto f : fieldsOf(c)) appendField(body, f);
    }
    return body;
}

}  // namespace

size_t rosterEntrySize(const Contact& c) {
    return entrySize(c, friendFields);
}
size_t blacklistEntrySize(const Contact& c) {
    return entrySize(c, blacklistFields);
}

Bytes friendRoster(std::span<const Contact> friends) {
    return roster(friends, friendFields);
}
Bytes onlineRoster(std::span<const Contact> online) {
    return roster(online, onlineFields);
}
Bytes blacklistRoster(std::span<const Contact> entries) {
    return roster(entries, blacklistFields);
}

size_t groupEntrySize(const Group& group) {
    return std::to_string(group.id).size() + group.name.size() + group.creator.size() + 3;
}

Bytes groupRoster(std::span<const Group> groups) {
    Bytes body;
    for (const Group& group : groups) {
        if (body.size() + groupEntrySize(group) > kMaxBody) break;
        appendField(body, std::to_string(group.id));
        appendField(body, group.name);
        appendField(body, group.creator);
    }
    return body;
}

std::vector<Bytes> memberRosters(std::string_view group, std::span<const Contact> members) {
    std::vector<Bytes> frames;
    const Bytes head = joinFields({group});
    for (const Contact& c : members) {
        if (frames.empty() || frames.back().size() + entrySize(c, onlineFields) > kMaxBody)
            frames.push_back(head);
        appendField(frames.back(), c.account);
        appendField(frames.back(), c.head);
    }
    return frames;
}

Bytes profileRecord(const Account& a) {
    std::array<std::string_view, 25> fields;
    const std::string level = std::to_string(a.level);
    const Bytes title = levelTitle(a.level);
    const std::string coins = std::to_string(a.coins);
    const std::string age = int16Text(a.age);
    const std::string sex = int16Text(a.sex);
    const std::string setting = int16Text(a.setting);
    fields = {a.name,      level,      title,     coins,      a.nick,   a.head,  a.signature,
              age,         sex,        a.country, a.province, a.city,   a.email, a.address,
              a.postcode,  a.phone,    a.mobile,  a.realName, a.school, a.work,  a.zodiacAnimal,
              a.bloodType, a.starSign, setting,   "0"};
    // Free texts, which may be shortened; the rest identifies the person and stays whole. The
    // longest text gives way first, down to the length of the next longest, so that several
    // long texts end up shortened alike rather than one of them vanishing.
    constexpr std::array<int, 15> kFree = {6, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22};
    auto total = [&] {
        size_t n = 0;
        for (auto f : fields) n += f.size() + 1;
        return n;
    };
    for (size_t size = total(); size > kMaxBody; size = total()) {
        int longest = kFree[0];
        size_t second = 0;
        for (int i : kFree) {
            if (fields[i].size() > fields[longest].size()) longest = i;
        }
        for (int i : kFree)
            if (i != longest) second = std::max(second, fields[i].size());
        const size_t length = fields[longest].size();
        if (length == 0) break;  // nothing left to shorten; names alone never fill a frame
        const size_t over = size - kMaxBody;
        size_t keep = std::max(length > over ? length - over : 0, second);
        if (keep >= length) keep = length - 1;
        fields[longest] = cutGbk(fields[longest], keep);
    }
    Bytes body;
    for (auto f : fields) appendField(body, f);
    return body;
}

Bytes chatBody(std::string_view sender, std::string_view receiver, std::string_view text) {
    const size_t fixed = sender.size() + receiver.size() + 3;
    const size_t room = kMaxBody > fixed ? kMaxBody - fixed : 0;
    return joinFields({sender, receiver, cutGbk(text, room)});
}

Bytes updateOrder(std::string_view minimumVersion, int minimumCode, int clientCode,
                  std::string_view updateTarget) {
    const std::string code = std::to_string(minimumCode);
    const std::string client = versionTextOf(clientCode);
    return joinFields({minimumVersion, code, client, "", "", "", "", updateTarget});
}

std::optional<int> versionCodeOf(std::string_view v) {
    if (v.size() != 3 || v[1] != '.' || v[0] < '0' || v[0] > '9' || v[2] < '0' || v[2] > '9')
        return std::nullopt;
    return (v[0] - '0') * 256 + (v[2] - '0');
}

std::string versionTextOf(int code) {
    return std::to_string(code / 256) + "." + std::to_string(code % 256);
}

}  // namespace nq::server
