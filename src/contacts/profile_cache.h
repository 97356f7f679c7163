#pragma once
// Profiles of people: the one road to a profile (`ShowProfile`), the leaf of the profile
// record that is the only writer of a person's section in UserInfo.dat, and the own profile's
// save message. The window that shows a profile is the application's: this model says when
// it is due and hands it the texts, GBK, ready to show.
//
// Group cards share UserInfo.dat but not this class: a person's section is named by his
// account, a group's by its name, and each has its own writer.

#include <QObject>
#include <array>
#include <cstdint>
#include <string_view>

#include "wire/gbk.h"

namespace nq {

class Contacts;
class IniBatch;
class Session;

// What the profile window shows, as it comes out of the cache. The two phone boxes are kept
// apart from their meaning on purpose: which number lands in which box depends on the road
// the profile came by.
struct ProfileShown {
    Bytes name, dearName, realName, age, area, province, city, signature;
    Bytes starSign, zodiacAnimal, bloodType, job, school, address, postCode, call, mobile, email;
    bool male = false;
    int head = 0;            // 1..20, the picture of imgHead
    bool readOnly = true;    // every box locked and greyed
    bool fromReply = false;  // shown because the server's record came in
};

// The own profile as the window's boxes hold it, in the order the save message sends them.
struct OwnProfileEdits {
    Bytes dearName, signature, age;
    bool male = false;
    Bytes area, province, city, email, address, postCode, call, mobile;
    Bytes realName, school, job, zodiacAnimal, bloodType, starSign;
};

class ProfileCache : public QObject {
    Q_OBJECT
  public:
    // How a request names the person: by account, or by nick still to be resolved.
    static constexpr int kByAccount = 3;
    static constexpr int kByNick = 4;

    // The longest text, in GBK bytes, each box of the own profile may send. With the fixed
    // fields and the 22 NULs the save message stays well inside one 999-byte body.
    struct Limits {
        static constexpr int kNick = 20, kSignature = 100, kAge = 3, kArea = 16, kProvince = 8, kCity = 20;
        static constexpr int kEmail = 40, kAddress = 80, kPostCode = 10, kPhone = 20, kRealName = 20;
        static constexpr int kSchool = 40, kJob = 40, kListItem = 10;
    };

    ProfileCache(Session& session, Contacts& contacts, QObject* parent = nullptr);

    // The one road to a profile: from UserInfo.dat when the person's section is there, else a
    // request to the server whose record then shows the window. mode is kByAccount or kByNick.
    void ShowProfile(Bytes name, int mode, bool readOnly);

    // The profile window is wanted: the next profile record to arrive shows it.
    bool profileWanted = false;

    // comSave: the own profile as one (4,1) message. No reply is awaited.
    void saveOwnProfile(const OwnProfileEdits& edits);
    // comUpdate: asks for the own record again, through the gate; false when it was shut.
    bool requestOwnRecord();

    // The head code a stored online head index goes out as: 11..20 are w1..w10, 1..10 m0..m9.
    [[nodiscard]] static Bytes headCodeOf(int imageId);
    // The (4,1) body: own name, the boxes in their order with the stored head code, two zeros.
    [[nodiscard]] static Bytes saveBody(const Bytes& own, const Bytes& headCode,
                                        const OwnProfileEdits& edits);
    // text cut to at most maxBytes without splitting a two-byte character.
    [[nodiscard]] static Bytes cutTo(std::string_view text, int maxBytes);

  signals:
    // A profile is to be shown in the profile window.
    void profileDue(const nq::ProfileShown& shown);
    // A person's record has been stored (his conversation window may show part of it).
    void profileStored(const nq::Bytes& account);

  private:
    void onProfileRecord();
    [[nodiscard]] ProfileShown fromCache(const Bytes& account, bool readOnly) const;
    [[nodiscard]] ProfileShown fromReply(const Bytes& account) const;
    [[nodiscard]] std::string infoFile() const;
    [[nodiscard]] std::string userFile() const;

    Session& session_;
    Contacts& contacts_;
};

}  // namespace nq
