#pragma once

#include <openssl/types.h>

#include <string>

namespace world {

/// A key and its certificate, in PEM.
struct Pair {
    std::string key;
    std::string certificate;
};

/// All that is made at the start; the RSA pair of the server comes from its resources.
struct Certificates {
    Pair authority; ///< that the host trusts, where it asks clients for a certificate
    Pair client; ///< from that authority
    Pair stranger; ///< from itself
    Pair ellipticServer;
};

const Certificates& certificates();

/// A context of a client with \a version "12" or "13" and \a certificate "none", "good" or "strange". Never freed.
SSL_CTX* clientContext(const std::string& version, const std::string& certificate);

} // namespace world
