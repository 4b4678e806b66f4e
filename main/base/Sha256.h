#pragma once

#include <sodium/crypto_hash_sha256.h>

#include <string>
#include <string_view>

namespace tallywick {

/// SHA-256 (FIPS 180-4) of bytes given in pieces of any size.
class Sha256 {
  public:
    Sha256();

    void add(std::string_view bytes);

    /// The digest of everything added so far: 64 lower-case hexadecimal digits.
    std::string hexDigest() const;

  private:
    crypto_hash_sha256_state state{};
};

/// The digest of one piece, as `Sha256::hexDigest` writes it.
std::string sha256Hex(std::string_view bytes);

} // namespace tallywick
