#pragma once
// What the store keeps of a password. The client sends hex(MD5(hex(MD5(password)))), so that
// digest is all a server ever sees, and a stolen copy of it logs in as well as the password
// would. It is kept sealed with yescrypt, slow on purpose, so that a copied database is not a
// list of ready-made logins and guessing the passwords behind it costs milliseconds per guess.

#include <string>
#include <string_view>

namespace nq::server {

// "$y$...": the digest as the client sends it, sealed with a fresh salt at today's cost.
std::string sealDigest(std::string_view wireDigest);

// Whether a login's digest matches what the store kept, either today's seal or the salted MD5
// ("s1$salt$hex") of earlier databases. Compares in constant time.
bool digestMatches(std::string_view sealed, std::string_view wireDigest);

// False for a seal of an earlier kind or cost: the next login that proves the digest reseals it.
bool sealIsCurrent(std::string_view sealed);

// What a client can send: 32 lower-case hex digits. Nothing else matches any seal, so anything
// else is refused without the cost of a seal.
bool wellFormedDigest(std::string_view wireDigest);

}  // namespace nq::server
