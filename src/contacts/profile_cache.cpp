#include "contacts/profile_cache.h"

#include <cmath>
#include <cstdio>

#include "contacts/contacts.h"
#include "session/session.h"
#include "store/ini_batch.h"
#include "store/ini_file.h"
#include "store/store_keys.h"
#include "wire/fields.h"
#include "wire/head_code.h"

namespace nq {

namespace info = store::info;
namespace user = store::user;

namespace {

// A cached view reads the home telephone under this key, which nothing ever writes: such a
// view always shows that box empty, and installations in use rely on nothing else.
constexpr std::string_view kCachedPhoneKey = "UphoneUcellPhone";
constexpr std::string_view kHomeCountry =
    "\xD6\xD0\xBB\xAA\xC8\xCB\xC3\xF1\xB9\xB2\xBA\xCD\xB9\xFA";  // 中华人民共和国

constexpr int kRecordFields = 25;

// Where each key of a person's section comes from in the record, 0-based, in file order.
constexpr std::array<int, info::kPersonKeys.size()> kRecordIndexOfKey = {
    0, 1, 2, 3, 4, 5, 6, 7, 10, 11, 12, 13, 14, 8, 15, 16, 17, 18, 19, 20, 21, 22, 23, 9};
constexpr int kCoinsField = 3;
constexpr int kHeadField = 5;
constexpr int kAgeField = 7;
constexpr int kSexField = 8;
constexpr int kSettingField = 23;

// A 16-bit field: a number that does not fit is not taken, and the field keeps its 0.
std::string int16Text(std::string_view text) {
    const double v = std::nearbyint(toNumber(text));
    return std::to_string(v < -32768 || v > 32767 ? 0 : static_cast<int>(v));
}

// A 64-bit float in decimal, with no more digits than the number holds.
std::string doubleText(std::string_view text) {
    char out[32];
    std::snprintf(out, sizeof out, "%.15g", toNumber(text));
    return out;
}

int headOf(std::string_view stored) {
    const double v = toNumber(stored);
    return v < -32768 || v > 32767 ? 0 : static_cast<int>(v);
}

}  // namespace

ProfileCache::ProfileCache(Session& session, Contacts& contacts, QObject* parent)
    : QObject(parent), session_(session), contacts_(contacts) {
    session_.handlers.on(kind::kProfile, [this](Session&) { onProfileRecord(); });
    session_.handlers.on(kind::kProfileRecord, [this](Session&) { onProfileRecord(); });
}

std::string ProfileCache::infoFile() const {
    return session_.userFile(info::kFileName);
}

std::string ProfileCache::userFile() const {
    return session_.userFile(user::kFileName);
}

void ProfileCache::ShowProfile(Bytes name, int mode, bool readOnly) {
    profileWanted = true;
    if (mode == kByNick) {
        const Bytes account = CIniFile(userFile()).GetIniKey(name, user::kItsName);
        if (!account.empty()) {
            name = account;
            mode = kByAccount;
        }
    }
    if (CIniFile(infoFile()).GetIniKey(name, info::kUserName).empty()) {
        (void)session_.queueFrameGated(kind::kProfile, static_cast<uint16_t>(mode),
                                       joinFields({session_.myName, name}));
        session_.waitReply = true;
        return;
    }
    emit profileDue(fromCache(name, readOnly));
}

ProfileShown ProfileCache::fromCache(const Bytes& name, bool readOnly) const {
    const CIniFile file(infoFile());
    const auto get = [&](std::string_view key) { return file.GetIniKey(name, key); };
    ProfileShown p;
    p.readOnly = readOnly;
    p.name = get(info::kUserName);
    p.dearName = get(info::kDearName);
    p.realName = get(info::kRealName);
    p.male = toNumber(get(info::kSex)) == 1;
    p.age = get(info::kAge);
    p.area = get(info::kArea);
    if (p.area.empty()) p.area = kHomeCountry;
    p.province = get(info::kProvince);
    p.city = get(info::kCity);
    // The picture comes from the contact file's section of the same name, which is a nick's
    // section only when the name could not be resolved to an account.
    p.head = headOf(CIniFile(userFile()).GetIniKey(name, user::kNickHeadId));
    if (p.head > Contacts::kOfflineShift + 1) p.head -= Contacts::kOfflineShift;
    if (p.head == 0) p.head = Contacts::kDefaultFriendHead;
    p.signature = get(info::kNotation);
    p.starSign = get(info::kStarSign);
    p.zodiacAnimal = get(info::kZodiacAnimal);
    p.bloodType = get(info::kBloodType);
    p.job = get(info::kJob);
    p.school = get(info::kSchool);
    p.address = get(info::kAddress);
    p.postCode = get(info::kPostCode);
    p.call = get(kCachedPhoneKey);
    p.mobile = get(info::kCellPhone);
    p.email = get(info::kEmail);
    return p;
}

// The record's road fills the same boxes from the section just written, all locked, with the
// two telephone numbers each in the other's box.
ProfileShown ProfileCache::fromReply(const Bytes& account) const {
    ProfileShown p = fromCache(account, true);
    p.fromReply = true;
    const CIniFile file(infoFile());
    p.call = file.GetIniKey(account, info::kCellPhone);
    p.mobile = file.GetIniKey(account, info::kPhone);
    p.head = headOf(file.GetIniKey(account, info::kImageId));
    if (p.head > Contacts::kOfflineShift + 1) p.head -= Contacts::kOfflineShift;
    return p;
}

void ProfileCache::onProfileRecord() {
    if (session_.wire.head.Code != code::kDone) return;
    session_.waitReply = false;
    Bytes& body = session_.wire.msgBody;
    std::array<Bytes, kRecordFields> f;
    for (Bytes& field : f) field = cutField(body).value_or(Bytes());
    const Bytes& account = f[0];
    const Bytes& nick = f[4];
    const int head = headOnlineIndex(f[kHeadField]);
    f[kHeadField] = std::to_string(head);
    f[kCoinsField] = doubleText(f[kCoinsField]);
    for (int i : {kAgeField, kSexField, kSettingField})
        f[static_cast<size_t>(i)] = int16Text(f[static_cast<size_t>(i)]);

    // A friend online under his account is one the user has just added: his row learns the
    // nick and the head, and the contact file both directions of the mapping.
    {
        IniBatch contactsFile(userFile());
        if (contactsFile.GetIniKey(account, user::kOnline) == "1") {
            ItemList& friends = contacts_.MyList(Contacts::kFriends);
            if (const int at = friends.find(account)) {
                friends.SetIcon(at, head);
                friends.SetCaption(at, nick);
                friends.Redraw();
                contactsFile.WriteIniKey(account, user::kDearName, nick);
                contactsFile.WriteIniKey(nick, user::kNickHeadId, std::to_string(head));
                contactsFile.WriteIniKey(nick, user::kItsName, account);
                contactsFile.commit();
                contacts_.saveTofile(Contacts::kSaveFriends);
            }
        }
    }
    {
        IniBatch infoFile(this->infoFile());
        for (size_t k = 0; k < info::kPersonKeys.size(); ++k)
            infoFile.WriteIniKey(account, info::kPersonKeys[k], f[static_cast<size_t>(kRecordIndexOfKey[k])]);
    }
    emit profileStored(account);
    if (profileWanted) {
        profileWanted = false;
        emit profileDue(fromReply(account));
    }
}

Bytes ProfileCache::headCodeOf(int imageId) {
    return imageId > 10 ? "w" + std::to_string(imageId - 10) : "m" + std::to_string(imageId - 1);
}

Bytes ProfileCache::cutTo(std::string_view text, int maxBytes) {
    size_t end = 0;
    while (end < text.size()) {
        const size_t step = static_cast<unsigned char>(text[end]) >= 0x80 ? 2 : 1;
        if (end + step > static_cast<size_t>(maxBytes)) break;
        end += step;
    }
    return Bytes(text.substr(0, std::min(end, text.size())));
}

Bytes ProfileCache::saveBody(const Bytes& own, const Bytes& headCode, const OwnProfileEdits& e) {
    using L = Limits;
    return joinFields({own,
                       cutTo(e.dearName, L::kNick),
                       headCode,
                       cutTo(e.signature, L::kSignature),
                       cutTo(e.age, L::kAge),
                       e.male ? "1" : "0",
                       cutTo(e.area, L::kArea),
                       cutTo(e.province, L::kProvince),
                       cutTo(e.city, L::kCity),
                       cutTo(e.email, L::kEmail),
                       cutTo(e.address, L::kAddress),
                       cutTo(e.postCode, L::kPostCode),
                       cutTo(e.call, L::kPhone),
                       cutTo(e.mobile, L::kPhone),
                       cutTo(e.realName, L::kRealName),
                       cutTo(e.school, L::kSchool),
                       cutTo(e.job, L::kJob),
                       cutTo(e.zodiacAnimal, L::kListItem),
                       cutTo(e.bloodType, L::kListItem),
                       cutTo(e.starSign, L::kListItem),
                       "0",
                       "0"});
}

void ProfileCache::saveOwnProfile(const OwnProfileEdits& edits) {
    const Bytes& own = session_.myName;
    const int imageId = headOf(CIniFile(infoFile()).GetIniKey(own, info::kImageId));
    session_.queueFrame(kind::kSaveProfile, code::kNone, saveBody(own, headCodeOf(imageId), edits));
}

bool ProfileCache::requestOwnRecord() {
    return session_.queueFrameGated(kind::kProfile, code::kProfileRefreshOwn,
                                    joinFields({session_.myName, session_.myNick}));
}

}  // namespace nq
