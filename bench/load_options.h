#pragma once
// bench_load's command line. Parsing only: a bad argument throws LoadUsageError with one line
// for the user, which main prints before exiting with status 2.

#include <stdexcept>
#include <string>
#include <vector>

namespace nq::bench {

class LoadUsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

enum class Flood { None, BadLogin, KeepAlive, Offline };
enum class Engine { Sqlite, Postgresql };

struct LoadOptions {
    int clients = 10000;
    double seconds = 20;  // measured per step, after a warm-up
    // Without rates: each client sends once per interval. With them: one measured step per rate
    // (messages a second from all clients together), in the order given.
    int intervalMs = 500;
    std::vector<double> rates;
    double keepAliveSeconds = 10.5;  // the client's keep-alive: every 21 ticks
    Engine engine = Engine::Sqlite;
    int servers = 1;         // chat servers, each its own process
    double cross = 0;        // share of the messages whose receiver sits on another chat server
    double p99LimitMs = 10;  // a step whose p99 reaches this ends the sweep
    std::string nqserver;
    std::string pgCluster;  // the script that makes and removes a throwaway PostgreSQL cluster
    std::vector<std::string> serverArgs;  // given to every nqserver after the bench's own
    Flood flood = Flood::None;
    int floodRate = 0;  // datagrams a second; 0: as fast as one thread sends
};

// argv[0] is skipped; options given twice take the later value.
LoadOptions parseLoadOptions(int argc, char** argv, LoadOptions defaults);
const char* loadUsage();

}  // namespace nq::bench
