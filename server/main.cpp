// nqserver: the dispatcher and chat server of NQChat, and its admin commands.

#include <signal.h>
#include <unistd.h>

#include <exception>
#include <iostream>
#include <string_view>
#include <vector>

#include "server/admin.h"
#include "server/cli.h"
#include "server/migrate_store.h"
#include "server/open_store.h"
#include "server/server_loop.h"

namespace {

// The loop reopens the database when another process damages its shared index between two
// turns; damage inside a turn still faults. Say what most likely happened, then die of the
// signal as before (returning re-runs the faulting access under the default action), so that a
// supervisor restarts us and a core dump still shows where.
void onBusError(int) {
    static const char kWhy[] =
        "nqserver: SIGBUS: a file mapped into memory was cut short, most likely the database's -shm "
        "file by another process; the sessions and messages stored so far come back at the next start\n";
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, kWhy, sizeof kWhy - 1);
    signal(SIGBUS, SIG_DFL);
}

}  // namespace

int main(int argc, char** argv) {
    using namespace nq::server;
    const std::vector<std::string_view> args(argv + 1, argv + argc);
    try {
        const CommandLine line = parseCommandLine(args);
        if (std::holds_alternative<ShowHelp>(line.command)) {
            std::cout << usageText();
            return 0;
        }
        if (const auto* serveOptions = std::get_if<ServeOptions>(&line.command)) {
            Logger log;
            signal(SIGBUS, onBusError);
            return serve(*serveOptions, line.db, log);
        }
        if (const auto* m = std::get_if<Migrate>(&line.command))
            return migrateStore(m->from, m->to, std::cout) ? 0 : 1;
        const auto store = openStore(line.db);
        runAdmin(*store, line.command, std::cout);
        return 0;
    } catch (const UsageError& e) {
        std::cerr << "nqserver: " << e.what() << " (see nqserver --help)\n";
        return 2;
    } catch (const StoreError& e) {
        std::cerr << "nqserver: " << e.what() << "\n";
        return 2;
    } catch (const std::exception& e) {
        std::cerr << "nqserver: " << e.what() << "\n";
        return 1;
    }
}
