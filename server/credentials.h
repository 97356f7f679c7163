#pragma once
// What the store keeps of a password. The client sends hex(MD5(hex(MD5(password)))), so that
// digest is all a server ever sees. It is kept salted, so that a copied database is not a list
// of ready-made logins.

#include <string>
#include <string_view>

namespace nq::server {

// "s1$<salt>$<hex MD5 of salt and digest>", from the digest as the client sends it.
std::string sealDigest(std::string_view wireDigest);

// Whether a login's digest matches what the store kept. Compares in constant time.
bool digestMatches(std::string_view sealed, std::string_view wireDigest);

}  // namespace nq::server
