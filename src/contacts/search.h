#pragma once
// The server side of the add wizard: the searches and listings it asks for, the adds it sends,
// and the leaves that turn the answers into result rows. The rows leave as signals; what a
// window does with them depends on its own state, which the window keeps.
//
// The group rows also leave their creator in NQUser.nq ("Bilder" of the group's section), so
// that a group card opened later can name him.

#include <QObject>
#include <cstdint>
#include <vector>

#include "wire/frame_kinds.h"
#include "wire/gbk.h"

namespace nq {

class Session;

// One row of a result list: its key ("<k>Row"), the first column's text, the further columns,
// and the picture of both icons.
struct FoundRow {
    Bytes key;
    Bytes text;
    Bytes second;
    Bytes third;
    int icon = 0;
    friend bool operator==(const FoundRow&, const FoundRow&) = default;
};

class Search : public QObject {
    Q_OBJECT
  public:
    // A page of a listing holds this many rows; page p (from 0) asks rows p*10+1 to (p+1)*10.
    static constexpr int kPageRows = 10;
    // Groups have no picture of their own in the results: they show the list's first one.
    static constexpr int kGroupIcon = 1;

    explicit Search(Session& session, QObject* parent = nullptr);

    // (5,3) for a friend or (6,3) for the blacklist: a person by account or by nick.
    void findPerson(FrameKind kind, bool byNick, const Bytes& text);
    // (3,10): groups by name (Option1) or by number.
    void findGroups(bool byName, const Bytes& text);
    // (3,8) or (3,9): one page of the online users or of all groups. Sets waitReply.
    void listPage(FrameKind kind, int page);
    void addFriend(const Bytes& account);       // (5,1)
    void addToBlacklist(const Bytes& account);  // (6,1)
    // (7,5) to the group's creator with the verification text.
    void askToJoin(const Bytes& creator, const Bytes& group, const Bytes& text);
    // Whether UserInfo.dat holds the group's card ("VID" not empty).
    [[nodiscard]] bool groupCardKnown(const Bytes& group) const;
    // (3,2) for a group's card, through the gate; sets waitReply when it goes.
    void requestGroupCard(const Bytes& group);

  signals:
    // (5,3) or (6,3) code 1: the one person found, account first, nick second.
    void personFound(nq::FrameKind kind, const nq::FoundRow& row);
    // (5,3) code 2: nobody.
    void personNotFound();
    // (3,8): a page of online users; `full` when it holds exactly a page.
    void onlinePage(const std::vector<nq::FoundRow>& rows, bool full);
    // (3,9) or (3,10) code 1: groups, number first; `full` when a whole page came.
    void groupsFound(nq::FrameKind kind, const std::vector<nq::FoundRow>& rows, bool full);
    // (3,9) or (3,10) code 2: no group.
    void groupsNotFound(nq::FrameKind kind);

  private:
    void onPerson(FrameKind kind);
    void onOnlinePage();
    void onGroups(FrameKind kind);
    Bytes ownName() const;

    Session& session_;
};

}  // namespace nq
