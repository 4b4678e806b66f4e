#include "base/Ed25519.h"

#include <sodium/core.h>
#include <sodium/crypto_sign.h>
#include <sodium/utils.h>

#include <span>
#include <stdexcept>

namespace tallywick {

namespace {

template <std::size_t count>
using Bytes = std::array<unsigned char, count>;

/// To be asked before anything else of the library; any thread, any number of times. It cannot be
/// used when the system gives no random numbers.
bool isLibraryReady() { return sodium_init() >= 0; }

template <std::size_t count>
std::optional<Bytes<count>> bytesOf(std::string_view digits) {
    Bytes<count> bytes;
    if (digits.size() != 2 * count
        || digits.find_first_not_of("0123456789abcdef") != std::string_view::npos
        || sodium_hex2bin(bytes.data(), count, digits.data(), digits.size(), nullptr, nullptr,
                          nullptr)
               != 0)
        return std::nullopt;
    return bytes;
}

std::string digitsOf(std::span<const unsigned char> bytes) {
    std::string digits(2 * bytes.size() + 1, '\0'); // the library ends it with a zero
    sodium_bin2hex(digits.data(), digits.size(), bytes.data(), bytes.size());
    digits.pop_back();
    return digits;
}

const unsigned char* bytesIn(std::string_view text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

} // namespace

bool isSignedWith(std::string_view publicKey, std::string_view message,
                  std::string_view signature) {
    const auto key = bytesOf<crypto_sign_PUBLICKEYBYTES>(publicKey);
    const auto signedBytes = bytesOf<crypto_sign_BYTES>(signature);
    return key && signedBytes && isLibraryReady()
           && crypto_sign_verify_detached(signedBytes->data(), bytesIn(message), message.size(),
                                          key->data())
                  == 0;
}

SigningKey SigningKey::make() {
    if (!isLibraryReady())
        throw std::runtime_error("no random numbers");
    SigningKey key;
    Bytes<crypto_sign_PUBLICKEYBYTES> publicKey;
    crypto_sign_keypair(publicKey.data(), key.bytes.data());
    return key;
}

std::optional<SigningKey> SigningKey::ofSecret(std::string_view secret) {
    const auto seed = bytesOf<crypto_sign_SEEDBYTES>(secret);
    if (!seed || !isLibraryReady())
        return std::nullopt;
    SigningKey key;
    Bytes<crypto_sign_PUBLICKEYBYTES> publicKey;
    crypto_sign_seed_keypair(publicKey.data(), key.bytes.data(), seed->data());
    return key;
}

std::string SigningKey::secret() const {
    return digitsOf(std::span(bytes).first<crypto_sign_SEEDBYTES>());
}

std::string SigningKey::publicKey() const {
    return digitsOf(std::span(bytes).last<crypto_sign_PUBLICKEYBYTES>());
}

std::string SigningKey::sign(std::string_view message) const {
    Bytes<crypto_sign_BYTES> signature;
    crypto_sign_detached(signature.data(), nullptr, bytesIn(message), message.size(), bytes.data());
    return digitsOf(signature);
}

} // namespace tallywick
