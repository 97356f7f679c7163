// nqserver: the dispatcher and chat server of NQChat, and its admin commands.

#include <exception>
#include <iostream>
#include <string_view>
#include <vector>

#include "server/admin.h"
#include "server/cli.h"
#include "server/server_loop.h"
#include "server/sqlite_store.h"

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
            return serve(*serveOptions, line.db, log);
        }
        SqliteStore store(line.db);
        runAdmin(store, line.command, std::cout);
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
