#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace tallywick {

// Signatures with Ed25519 (RFC 8032). Keys and signatures are written as lower-case hexadecimal
// digits; no other spelling of one is accepted.

/// Whether the message was signed with the private key that belongs to this public key. False when
/// one of the two is malformed.
bool isSignedWith(std::string_view publicKey, std::string_view message, std::string_view signature);

/// A private key. The program itself has none: what it contains of this the linker leaves out.
class SigningKey {
  public:
    /// A new key, made of the system's random numbers. Throws `std::runtime_error` without any.
    static SigningKey make();

    /// The key with this secret; absent when the text is none.
    static std::optional<SigningKey> ofSecret(std::string_view secret);

    /// All that there is to keep, and to keep to oneself: 64 digits.
    std::string secret() const;

    std::string publicKey() const; ///< 64 digits

    /// The signature of the message: 128 digits, the same ones every time.
    std::string sign(std::string_view message) const;

  private:
    SigningKey() = default;

    std::array<unsigned char, 64> bytes{}; ///< the secret, then the public key
};

} // namespace tallywick
