#pragma once
// The shared store: one PostgreSQL database that chat servers on several machines use at once.
// It speaks libpq directly rather than through libpqxx: the store needs prepared statements,
// transactions and SQLSTATE codes, all of which the C library gives without another dependency,
// and the SQLite store's shape (prepare, bind, step) maps onto it one to one.
//
// Every data statement is prepared once per connection and cached by its text. A lost connection
// is opened again by the next call, no sooner than a back-off that doubles from 100 ms to 5 s;
// until then each call throws StoreUnavailable at once, so that the loop goes on serving and the
// write queue keeps what it holds.

#include <chrono>
#include <memory>
#include <string>
#include <unordered_map>

#include "server/schema.h"
#include "server/store.h"

struct pg_conn;
struct pg_result;

namespace nq::server {

class PgStore : public Store {
  public:
    // Connects to uri (postgresql://...) and brings the schema up to date. Throws StoreError with
    // a readable reason when the database cannot be reached or belongs to a newer server.
    explicit PgStore(std::string uri);
    ~PgStore() override;
    PgStore(const PgStore&) = delete;
    PgStore& operator=(const PgStore&) = delete;

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
    std::vector<int64_t> storeMessages(std::span<const NewMessage> messages) override;
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
    std::unique_ptr<BusFeed> busFeed() override;
    BusRead eventsAfter(int64_t id, const std::string& exceptOrigin) override;
    int64_t lastEventId() override;
    void pruneEvents(int64_t olderThanSeconds) override;

    std::vector<std::string> writeBatch(size_t count, const std::function<void(size_t)>& write,
                                        bool waitForLock) override;
    void setPatience(std::chrono::milliseconds patience) override;

    // Runs one statement of any kind without parameters or cache: schema work and the migration.
    void execute(const std::string& sql);
    // For the migration from SQLite: one prepared statement with its arguments, each text, bytes
    // (binary) or NULL (no value).
    struct RawValue {
        std::optional<std::string> value;
        bool binary = false;
    };
    void executeWith(const std::string& sql, const std::vector<RawValue>& values);
    // Every row of a query, every value as text.
    std::vector<std::vector<std::string>> query(const std::string& sql);

    class Rows;
    struct Arg;

  private:
    void connect();
    void dropConnection();
    void ensureConnected();
    Rows run(const char* sql, std::initializer_list<Arg> args);
    Rows run(const char* sql, std::span<const Arg> args);
    int64_t changed(const char* sql, std::initializer_list<Arg> args);
    void control(const char* sql);
    void migrate();
    template <typename Body>
    auto transaction(Body&& body);
    [[noreturn]] void fail(pg_result* result);
    bool putOnList(const Bytes& owner, const Bytes& other, const char* takeOff, const char* putOn);
    std::optional<Account> accountWhere(const char* sql, const Bytes& key);
    std::vector<Group> groupsOf(Rows rows);
    std::vector<JoinRequest> joinRequestsWhere(const char* sql, const Bytes& key);

    std::string uri_;
    pg_conn* conn_ = nullptr;
    std::unordered_map<std::string, std::string> prepared_;  // SQL text -> statement name
    bool inTransaction_ = false;
    // The bus lock is held by the transaction on its way: a second event in it need not ask.
    bool busLocked_ = false;
    // Inside writeBatch events wait here and go in one statement just before the commit, so that
    // the bus lock, which orders the commits of every server's events, is held for two round
    // trips and the commit instead of from the first event to the end of the batch.
    bool holdEvents_ = false;
    bool waitingForLock_ = false;
    std::vector<BusEvent> heldEvents_;
    void publishHeld();
    int patienceMs_ = 2000;
    std::chrono::steady_clock::duration backoff_{};
    std::chrono::steady_clock::time_point nextConnect_{};
};

}  // namespace nq::server
