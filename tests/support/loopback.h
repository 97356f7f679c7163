#pragma once
// Loopback addresses for tests that put real sockets on the fixed ports (the dispatcher's 4000,
// the chat server's 8000). ctest runs test programs in parallel, so every test that binds them
// claims an address of its own instead of using one from a hand-kept table.

#include <string>

namespace nq::test {

// A 127.0.0.N on which both fixed ports were just bound and released, held for the rest of this
// process by a lock that no other test process can take. Each call claims another address.
// Throws when every candidate is taken.
std::string claimLoopbackAddress();

}  // namespace nq::test
