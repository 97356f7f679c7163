#pragma once
// The embedded store: one SQLite file, created on first use, in WAL mode so that the admin
// command and several server processes can share it. Text is kept as UTF-8 so that the file
// reads well in the sqlite3 shell; message bodies are kept as the GBK bytes that will go out.

#include <chrono>
#include <memory>
#include <string>

#include <sys/types.h>

#include "server/schema.h"
#include "server/store.h"

struct sqlite3;
struct sqlite3_stmt;

namespace nq::server {

class SqliteStore : public Store {
  public:
    // Opens or creates the database and brings its schema up to date. Throws StoreError with a
    // readable reason when the file cannot be opened or belongs to a newer server.
    explicit SqliteStore(const std::string& path);
    ~SqliteStore() override;
    SqliteStore(const SqliteStore&) = delete;
    SqliteStore& operator=(const SqliteStore&) = delete;

    static constexpr int kSchemaVersion = server::kSchemaVersion;
    int schemaVersion();

    std::optional<Account> account(const Bytes& name) override;
    std::optional<Account> accountByNick(const Bytes& nick) override;
    void createAccount(const Account& account) override;
    void setDigest(const Bytes& name, const std::string& digest) override;
    bool resealDigest(const Bytes& name, const std::string& from, const std::string& to) override;
    std::vector<Account> accounts() override;
    void saveProfile(const Account& account) override;
    void setCoins(const Bytes& name, int64_t coins) override;
    std::vector<Contact> onlinePage(const Bytes& after, int64_t skip, int limit, const std::string& self,
                                    int64_t freshSince) override;

    std::vector<Contact> friends(const Bytes& owner) override;
    std::vector<Bytes> ownersListing(const Bytes& friendName) override;
    bool addFriend(const Bytes& owner, const Bytes& friendName) override;
    bool removeFriend(const Bytes& owner, const Bytes& friendName) override;
    std::vector<Contact> blacklist(const Bytes& owner) override;
    bool isBlacklisted(const Bytes& owner, const Bytes& target) override;
    bool addToBlacklist(const Bytes& owner, const Bytes& target) override;
    bool removeFromBlacklist(const Bytes& owner, const Bytes& target) override;

    std::optional<Group> group(const Bytes& name) override;
    std::vector<Group> groups() override;
    std::vector<Group> groupsOf(const Bytes& member) override;
    std::vector<Contact> groupMembers(int64_t groupId) override;
    std::vector<Bytes> coMembers(const Bytes& account) override;
    int64_t createGroup(const Group& group) override;
    bool addMember(int64_t groupId, const Bytes& member) override;
    bool removeMember(int64_t groupId, const Bytes& member) override;
    int memberCount(int64_t groupId) override;
    std::optional<Group> groupById(int64_t id) override;
    std::optional<GroupCard> groupCard(const Bytes& name) override;
    void setRole(int64_t groupId, const std::string& role, const Bytes& account) override;
    std::vector<Group> groupsPage(int64_t afterId, int64_t skip, int limit) override;
    std::vector<Group> groupsNamed(const Bytes& text, int limit) override;
    std::vector<Bytes> dissolveGroup(int64_t groupId) override;
    void putJoinRequest(const JoinRequest& request) override;
    void dropJoinRequest(int64_t groupId, const Bytes& requester) override;
    std::optional<JoinRequest> joinRequest(int64_t groupId, const Bytes& requester) override;
    std::vector<JoinRequest> joinRequestsTo(const Bytes& creator) override;
    std::vector<JoinRequest> joinRequestsBy(const Bytes& requester) override;

    int64_t storeMessage(const Bytes& receiver, const Bytes& body, uint16_t sub = kind::kChat.sub) override;
    std::vector<WaitingMessage> waitingMessages(const Bytes& receiver, int64_t afterId, int limit) override;
    void deleteMessages(std::span<const int64_t> ids) override;
    int countWaiting(const Bytes& receiver, int upTo) override;
    int dropWaitingBefore(int64_t wallSeconds) override;

    int64_t queueNotice(NoticeKind kind, const Bytes& text) override;
    std::vector<Notice> noticesAfter(int64_t id) override;
    int64_t lastNoticeId() override;

    void reportLoad(const std::string& server, int sessions, int64_t now) override;
    void withdrawLoad(const std::string& server) override;
    std::vector<ServerLoad> loads() override;

    void setOnline(const KeptSession& session, const std::string& server) override;
    void setReady(const Bytes& account, const std::string& server) override;
    void setOffline(const Bytes& account, const std::string& server, uint32_t number) override;
    std::optional<std::string> onlineElsewhere(const Bytes& account, const std::string& self,
                                               int64_t freshSeconds) override;
    std::vector<Bytes> onlineAt(const std::string& server) override;
    void markStopped(const std::string& server, int64_t now) override;
    std::vector<KeptSession> heldSessions(const std::string& server, int64_t now,
                                          int64_t maxAgeSeconds) override;

    std::optional<Room> room() override;
    void setRoom(const Room& room) override;
    void enterRoom(const Bytes& account, const std::string& server) override;
    void leaveRoom(const Bytes& account, const std::string& server) override;
    std::vector<Bytes> roomMembersAt(const std::string& server) override;
    std::vector<Bytes> roomMembersElsewhere(const std::string& self, int64_t freshSince, int limit) override;

    void publish(const BusEvent& event) override;
    BusRead eventsAfter(int64_t id, const std::string& exceptOrigin) override;
    int64_t lastEventId() override;
    void pruneEvents(int64_t olderThanSeconds) override;

    std::vector<std::string> writeBatch(size_t count, const std::function<void(size_t)>& write,
                                        bool waitForLock) override;

    // 2 s at first.
    void setPatience(std::chrono::milliseconds patience) override;
    // Caps the file at this many pages (of 4 KiB), so that a full disk can be tried on any disk.
    void limitPages(int64_t pages);
    // Every change fails as on a file made read-only, so that one can be tried as root.
    void refuseChanges(bool refuse);
    // True when the database had to be opened again because another process damaged its
    // shared-memory index; call it between transactions.
    bool reopenIfSharedMemoryDamaged();

  private:
    struct SharedMemoryFile {
        ino_t inode = 0;  // 0: no such file
        off_t bytes = 0;
    };
    void open();
    SharedMemoryFile sharedMemoryFile() const;
    class Statement;
    Statement& prepare(const char* sql);
    void exec(const char* sql);
    void rollback(const char* sql);
    void migrate();
    template <typename Body>
    auto transaction(Body&& body);
    bool putOnList(const Bytes& owner, const Bytes& other, const char* takeOff, const char* putOn);
    std::optional<Account> accountWhere(const char* sql, const Bytes& key);
    std::vector<Group> groupsWhere(const char* sql, const Bytes* key);
    std::vector<JoinRequest> joinRequestsWhere(const char* sql, const Bytes& key);

    sqlite3* db_ = nullptr;
    std::string path_;
    int patienceMs_ = 2000;
    struct Cache;
    std::unique_ptr<Cache> cache_;
    SharedMemoryFile sharedMemory_;
};

}  // namespace nq::server
