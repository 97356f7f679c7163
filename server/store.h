#pragma once
// What the server keeps between runs: accounts with their profile, friend lists, blacklists,
// messages waiting for their receiver, notices from the admin command, and the load of each
// chat server for the dispatcher. Every text crosses this interface in GBK, the wire's
// encoding, whatever the engine keeps inside.

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "wire/frame_kinds.h"
#include "wire/gbk.h"

namespace nq::server {

class BusFeed;

// A person as the profile record shows him, plus the password digest.
struct Account {
    Bytes name;
    std::string digest;  // the login digest as sealDigest keeps it, never the password
    Bytes nick;
    Bytes head = "m0";
    int level = 1;
    int64_t coins = 0;
    Bytes signature;
    int age = 0;
    int sex = 1;  // 1 male, 0 female
    Bytes country;
    Bytes province;
    Bytes city;
    Bytes email;
    Bytes address;
    Bytes postcode;
    Bytes phone;
    Bytes mobile;
    Bytes realName;
    Bytes school;
    Bytes work;
    Bytes zodiacAnimal;
    Bytes bloodType;
    Bytes starSign;
    int setting = 0;

    // The fourteen free texts of the profile from country to star sign, in the order the
    // profile frame and the table's columns keep them.
    template <class Self>
    static auto profileTextsOf(Self& a) {
        return std::array{&a.country,  &a.province,     &a.city,      &a.email,    &a.address,
                          &a.postcode, &a.phone,        &a.mobile,    &a.realName, &a.school,
                          &a.work,     &a.zodiacAnimal, &a.bloodType, &a.starSign};
    }
    [[nodiscard]] auto profileTexts() { return profileTextsOf(*this); }
    [[nodiscard]] auto profileTexts() const { return profileTextsOf(*this); }
};

// One entry of a friend list or a blacklist, in roster order.
struct Contact {
    Bytes account;
    Bytes nick;
    Bytes head;
};

// A group as its rosters show it. Members are people as in a roster: account, nick, head.
struct Group {
    int64_t id = 0;  // the group number the client shows and searches by
    Bytes name;
    Bytes creator;  // an account; he is a member too, the first
    Bytes intro;
};

// The group's card: what (3,2) shows. The four roles name accounts, or nobody.
struct GroupCard {
    Group group;
    Bytes host;
    Bytes hostess;
    Bytes deputy;
    Bytes butler;
    int kind = 0;
    int available = 1;
};

// A request to join a group, from the asking to the creator's answer and the requester's
// confirmation. Kept in the store so that neither side needs to be online when the other acts.
enum class JoinState {
    Asked = 0,    // not yet shown to the creator
    Shown = 1,    // sent to the creator; his answer is awaited
    Agreed = 2,   // the creator agreed; the requester has not been told
    Told = 3,     // the requester was told; his confirmation is awaited
    Refused = 4,  // the creator refused; the requester has not been told
};

struct JoinRequest {
    int64_t groupId = 0;
    Bytes group;    // filled by reads
    Bytes creator;  // filled by reads
    Bytes requester;
    Bytes text;  // the verification text, or the refusal's reason once refused
    JoinState state = JoinState::Asked;
};

struct WaitingMessage {
    int64_t id = 0;
    Bytes body;                      // sender, receiver, text record: the frame's body as it will go out
    uint16_t sub = kind::kChat.sub;  // of family 2: one to one, or to a group member
};

// GroupGone: the admin dissolved a group; the text is its name and then its members' accounts,
// each on a line of its own.
enum class NoticeKind { Box = 1, Toast = 2, GroupGone = 3 };

struct Notice {
    int64_t id = 0;
    NoticeKind kind = NoticeKind::Toast;
    Bytes text;
};

struct ServerLoad {
    std::string server;  // "host:port" as the dispatcher names it
    int sessions = 0;
    int64_t heartbeat = 0;  // Unix seconds
};

// The public room of the deployment, as the admin names it: one room shared by every chat
// server on the database. Staff are accounts, the room's customer service.
struct Room {
    Bytes name;
    std::vector<Bytes> staff;
};

// A session as the store keeps it from its login to its end, so that a chat server started again
// after a stop or a crash takes it up and its client carries on unaware.
struct KeptSession {
    uint32_t number = 0;
    Bytes account;
    uint32_t address = 0;  // the client's IPv4 address, host order
    uint16_t port = 0;
    bool ready = false;  // it had asked for its waiting messages
};

// What one chat server tells the others that share its store.
enum class BusKind {
    Presence = 1,     // account came online (code 1) or went offline (code 2)
    Kick = 2,         // account logged in at origin: its session elsewhere ends
    Waiting = 3,      // messages for account wait in the store; target holds his session
    GroupLine = 4,    // account said body, a (2,2) body, to his group's members online there
    RoomEnter = 5,    // account came into the public room
    RoomLeave = 6,    // account left it
    RoomLine = 7,     // account said body, a (2,7) code 3 body, in the room
    Membership = 8,   // account joined (code 1) or left (code 2) a group; body: the frame's body
    JoinTraffic = 9,  // a join request or answer waits for account; target holds his session
    // A one-to-one message for account, whose session target holds: code is its sub of family 2,
    // body its waiting row's id and the frame's body (messageEventBody). The row is written in the
    // same transaction, so the message outlives target; target deletes it once sent.
    Message = 10,
};
inline constexpr int kBusKindMax = static_cast<int>(BusKind::Message);

struct BusEvent {
    int64_t id = 0;
    std::string origin;  // the chat server that wrote it
    BusKind kind = BusKind::Presence;
    Bytes account;
    int code = 0;
    std::string target;  // Waiting: the one server meant; others ignore it
    Bytes body;          // GroupLine: the frame body as it goes out
};

// A refused change (a duplicate account, an unknown name): the message is for the user.
class StoreError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Nothing was written, and the same writes may succeed later: another connection holds the write
// lock (StoreBusy itself), or the database cannot be reached (StoreUnavailable). A write is made
// only when its call returned without throwing; a caller never reports as made what threw.
class StoreBusy : public StoreError {
  public:
    using StoreError::StoreError;
};

// The connection to a database server was lost or cannot be opened now; the store opens it again
// by itself, after a back-off. When the loss came while a commit was on its way, the commit may
// have been made all the same: a caller that tries again writes at least once, never zero times.
class StoreUnavailable : public StoreBusy {
  public:
    using StoreBusy::StoreBusy;
};

class Store {
  public:
    virtual ~Store() = default;

    // Accounts. Names and nicks match exactly, byte for byte.
    virtual std::optional<Account> account(const Bytes& name) = 0;
    virtual std::optional<Account> accountByNick(const Bytes& nick) = 0;
    virtual void createAccount(const Account& account) = 0;  // StoreError when name or nick is taken
    virtual void setDigest(const Bytes& name, const std::string& digest) = 0;  // StoreError if unknown
    // Replaces the seal only while it still reads `from`, so that a login resealing an old seal
    // never undoes a password changed meanwhile. False when it did not.
    virtual bool resealDigest(const Bytes& name, const std::string& from, const std::string& to) = 0;
    virtual std::vector<Account> accounts() = 0;  // ordered by name
    // The fields a user edits himself: everything but name, digest, level and coins.
    virtual void saveProfile(const Account& account) = 0;
    virtual void setCoins(const Bytes& name, int64_t coins) = 0;  // StoreError if unknown
    // People online on this server or on one that reported since freshSince (Unix seconds), by
    // account: those after `after` (all when empty), skipping `skip` of them, `limit` at most.
    virtual std::vector<Contact> onlinePage(const Bytes& after, int64_t skip, int limit,
                                            const std::string& self, int64_t freshSince) = 0;

    // Friend lists are one-way: owner lists friend. Blacklists are kept apart from them.
    virtual std::vector<Contact> friends(const Bytes& owner) = 0;
    virtual std::vector<Bytes> ownersListing(const Bytes& friendName) = 0;    // who has him as a friend
    virtual bool addFriend(const Bytes& owner, const Bytes& friendName) = 0;  // false: already there
    virtual bool removeFriend(const Bytes& owner, const Bytes& friendName) = 0;
    virtual std::vector<Contact> blacklist(const Bytes& owner) = 0;
    virtual bool isBlacklisted(const Bytes& owner, const Bytes& target) = 0;
    // Adding to the blacklist takes the target off the owner's friend list in the same step.
    virtual bool addToBlacklist(const Bytes& owner, const Bytes& target) = 0;
    virtual bool removeFromBlacklist(const Bytes& owner, const Bytes& target) = 0;

    // Groups and their members. A group is made with its creator as its first member.
    virtual std::optional<Group> group(const Bytes& name) = 0;
    virtual std::vector<Group> groups() = 0;                         // by number
    virtual std::vector<Group> groupsOf(const Bytes& member) = 0;    // in the order he joined them
    virtual std::vector<Contact> groupMembers(int64_t groupId) = 0;  // creator first, then as they came
    // Everybody who shares a group with account, each once, account himself not.
    virtual std::vector<Bytes> coMembers(const Bytes& account) = 0;
    virtual int64_t createGroup(const Group& group) = 0;  // its number; StoreError when the name is taken
    virtual bool addMember(int64_t groupId, const Bytes& member) = 0;  // false: a member already
    virtual bool removeMember(int64_t groupId, const Bytes& member) = 0;
    virtual int memberCount(int64_t groupId) = 0;
    virtual std::optional<Group> groupById(int64_t id) = 0;
    virtual std::optional<GroupCard> groupCard(const Bytes& name) = 0;
    // role is one of "host", "hostess", "deputy", "butler"; an empty account clears it.
    virtual void setRole(int64_t groupId, const std::string& role, const Bytes& account) = 0;
    // Groups by number after afterId, skipping `skip`, `limit` at most.
    virtual std::vector<Group> groupsPage(int64_t afterId, int64_t skip, int limit) = 0;
    // Groups whose name holds text (all for an empty text), by number, `limit` at most.
    virtual std::vector<Group> groupsNamed(const Bytes& text, int limit) = 0;
    // The group, its members, its roles and its join requests go; its members are returned.
    virtual std::vector<Bytes> dissolveGroup(int64_t groupId) = 0;

    // Join requests: one per group and requester, the newest replacing an older one.
    virtual void putJoinRequest(const JoinRequest& request) = 0;
    virtual void dropJoinRequest(int64_t groupId, const Bytes& requester) = 0;
    virtual std::optional<JoinRequest> joinRequest(int64_t groupId, const Bytes& requester) = 0;
    // Those addressed to creator's groups, or made by requester, in the order they were made.
    virtual std::vector<JoinRequest> joinRequestsTo(const Bytes& creator) = 0;
    virtual std::vector<JoinRequest> joinRequestsBy(const Bytes& requester) = 0;

    // Messages for a receiver who was away, oldest first.
    virtual int64_t storeMessage(const Bytes& receiver, const Bytes& body,
                                 uint16_t sub = kind::kChat.sub) = 0;
    // Several at once, their ids in the same order.
    struct NewMessage {
        Bytes receiver;
        Bytes body;
        uint16_t sub = kind::kChat.sub;
    };
    virtual std::vector<int64_t> storeMessages(std::span<const NewMessage> messages);
    virtual std::vector<WaitingMessage> waitingMessages(const Bytes& receiver, int64_t afterId,
                                                        int limit) = 0;
    virtual void deleteMessages(std::span<const int64_t> ids) = 0;
    // How many wait for receiver, counted up to upTo at most (a bound is all that is asked).
    virtual int countWaiting(const Bytes& receiver, int upTo) = 0;
    // Deletes those stored before wallSeconds (Unix seconds); returns how many.
    virtual int dropWaitingBefore(int64_t wallSeconds) = 0;

    // Notices travel from the admin command to running servers through the store.
    virtual int64_t queueNotice(NoticeKind kind, const Bytes& text) = 0;
    virtual std::vector<Notice> noticesAfter(int64_t id) = 0;
    virtual int64_t lastNoticeId() = 0;

    // Chat servers report their session counts; the dispatcher reads them.
    virtual void reportLoad(const std::string& server, int sessions, int64_t now) = 0;
    virtual void withdrawLoad(const std::string& server) = 0;
    virtual std::vector<ServerLoad> loads() = 0;

    // Where accounts are online, with their sessions. A session is stored as it opens (setOnline,
    // one row per account) and removed as it ends (setOffline, only while the row is still that
    // session's: a later login's row stays whatever order the two writes take); nothing is
    // written at a stop, so a crash leaves the same rows as a stop. onlineElsewhere names a
    // server other than self that holds the account and has reported within freshSeconds.
    virtual void setOnline(const KeptSession& session, const std::string& server) = 0;
    virtual void setReady(const Bytes& account, const std::string& server) = 0;
    virtual void setOffline(const Bytes& account, const std::string& server, uint32_t number) = 0;
    virtual std::optional<std::string> onlineElsewhere(const Bytes& account, const std::string& self,
                                                       int64_t freshSeconds) = 0;
    // The accounts whose sessions server holds, or held when it stopped or died.
    virtual std::vector<Bytes> onlineAt(const std::string& server) = 0;
    // A graceful stop notes its time (Unix seconds); a crash leaves its last load report.
    virtual void markStopped(const std::string& server, int64_t now) = 0;
    // The sessions the server held when it last stopped or crashed, if that was at most
    // maxAgeSeconds before now: after that their clients have given up. Older ones are removed.
    virtual std::vector<KeptSession> heldSessions(const std::string& server, int64_t now,
                                                  int64_t maxAgeSeconds) = 0;

    // The public room: none until the admin names it. Who is in it is kept by chat server, as
    // the online rows are, so that each server lists those of the others that still report.
    virtual std::optional<Room> room() = 0;
    virtual void setRoom(const Room& room) = 0;
    virtual void enterRoom(const Bytes& account, const std::string& server) = 0;
    virtual void leaveRoom(const Bytes& account, const std::string& server) = 0;
    // Those in the room at server, in the order they came.
    virtual std::vector<Bytes> roomMembersAt(const std::string& server) = 0;
    // Those in the room at servers other than self that reported since freshSince (Unix
    // seconds), in the order they came, limit at most.
    virtual std::vector<Bytes> roomMembersElsewhere(const std::string& self, int64_t freshSince,
                                                    int limit) = 0;

    // Events between chat servers, read by each in order of id. lastId is the highest id read,
    // own events included, from where the next read goes on.
    struct BusRead {
        std::vector<BusEvent> events;
        int64_t lastId = 0;
    };
    virtual void publish(const BusEvent& event) = 0;
    // How the chat servers on this store hear of each other's events: the bus table read on a
    // timer (bus_feed.h), unless the engine has a better way.
    virtual std::unique_ptr<BusFeed> busFeed();
    virtual BusRead eventsAfter(int64_t id, const std::string& exceptOrigin) = 0;
    virtual int64_t lastEventId() = 0;
    virtual void pruneEvents(int64_t olderThanSeconds) = 0;

    // Runs write(0) .. write(count - 1) in order as one transaction, each undone alone if it
    // fails; returns the failures' reasons by index (empty for those written). Without
    // waitForLock it throws StoreBusy at once, having written nothing, if another connection
    // holds the write lock; StoreUnavailable when the database cannot be reached. StoreError:
    // the transaction was lost as a whole, nothing written.
    virtual std::vector<std::string> writeBatch(size_t count, const std::function<void(size_t)>& write,
                                                bool waitForLock) = 0;
    // How long a statement waits for another connection's lock before it throws StoreBusy.
    virtual void setPatience(std::chrono::milliseconds patience) = 0;
};

}  // namespace nq::server
