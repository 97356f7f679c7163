#pragma once
// The servers under load: one nqserver on a SQLite file, or several chat servers as separate
// processes on one PostgreSQL database, each on a loopback address of its own. A PostgreSQL
// cluster is made for the run in the bench's folder (the tests' pg_cluster.sh, which as root runs
// PostgreSQL as postgres) and removed afterwards with everything else in that folder.
//
// Failures throw std::runtime_error with a message for the user; whatever was started by then is
// stopped by the destructor.

#include <sys/types.h>

#include <string>
#include <utility>
#include <vector>

#include "load_options.h"

namespace nq::bench {

struct ServerProcess {
    pid_t pid = -1;
    std::string address;  // 127.0.0.N, claimed for the life of the bench
    std::string id;       // "address:port", as the server reports its load
    std::string log;
};

class LoadServers {
  public:
    static constexpr uint16_t kChatPort = 8000;
    static constexpr uint16_t kDispatcherPort = 4000;

    explicit LoadServers(const LoadOptions& options);
    ~LoadServers();
    LoadServers(const LoadServers&) = delete;
    LoadServers& operator=(const LoadServers&) = delete;

    // The --db of the servers: a SQLite file, or the URI of a cluster made now.
    const std::string& database();
    // Starts the servers and returns once each has bound its port.
    void start();
    void stop();

    const std::vector<ServerProcess>& servers() const { return servers_; }
    // CPU seconds of the PostgreSQL cluster's processes together; 0 on SQLite.
    double databaseCpuSeconds() const;
    // Bytes of the database on disk: SQLite's file and WAL, or PostgreSQL's data folders.
    int64_t databaseBytes() const;
    int64_t logBytes() const;

  private:
    void startCluster();
    bool runClusterScript(const char* command);
    ServerProcess spawn(int index);
    void waitUntilBound(const ServerProcess& s);

    const LoadOptions& o_;
    std::string folder_;
    std::string database_;
    std::string clusterDir_;  // empty while no cluster runs
    bool clusterStarted_ = false;
    std::vector<ServerProcess> servers_;
};

// Resident and peak memory of a process in MB, from /proc.
std::pair<double, double> memoryOf(pid_t pid);
// CPU seconds (user and system) a process has used; 0 once it is gone.
double cpuSecondsOf(pid_t pid);
void pinTo(pid_t pid, int cpu);

// SIGINT and SIGTERM set a flag that the bench's loops look at, so that it stops its servers and
// removes its cluster instead of leaving them behind.
void stopOnSignals();
bool stopAsked();

}  // namespace nq::bench
