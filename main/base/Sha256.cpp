#include "base/Sha256.h"

#include <sodium/utils.h>

#include <array>

namespace tallywick {

Sha256::Sha256() { crypto_hash_sha256_init(&state); }

void Sha256::add(std::string_view bytes) {
    crypto_hash_sha256_update(&state, reinterpret_cast<const unsigned char*>(bytes.data()),
                              bytes.size());
}

std::string Sha256::hexDigest() const {
    crypto_hash_sha256_state last = state;
    std::array<unsigned char, crypto_hash_sha256_BYTES> digest{};
    crypto_hash_sha256_final(&last, digest.data());
    std::array<char, 2 * digest.size() + 1> digits{};
    return sodium_bin2hex(digits.data(), digits.size(), digest.data(), digest.size());
}

std::string sha256Hex(std::string_view bytes) {
    Sha256 hash;
    hash.add(bytes);
    return hash.hexDigest();
}

} // namespace tallywick
