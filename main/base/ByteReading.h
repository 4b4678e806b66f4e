#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace tallywick {

/// The bytes from `offset` on, `count` of them; empty when they do not all lie inside `bytes`.
constexpr std::string_view bytesAt(std::string_view bytes, std::size_t offset, std::size_t count) {
    if (offset > bytes.size() || bytes.size() - offset < count)
        return {};
    return bytes.substr(offset, count);
}

/// The unsigned numbers of binary formats. Absent when a number does not lie wholly inside `bytes`;
/// any offset may be asked for.
constexpr std::optional<std::uint32_t> bigEndian32(std::string_view bytes, std::size_t offset) {
    const std::string_view field = bytesAt(bytes, offset, 4);
    if (field.empty())
        return std::nullopt;
    std::uint32_t value = 0;
    for (const char byte : field)
        value = value << 8 | static_cast<unsigned char>(byte);
    return value;
}

constexpr std::optional<std::uint16_t> littleEndian16(std::string_view bytes, std::size_t offset) {
    const std::string_view field = bytesAt(bytes, offset, 2);
    if (field.empty())
        return std::nullopt;
    return static_cast<std::uint16_t>(static_cast<unsigned char>(field[1]) << 8
                                      | static_cast<unsigned char>(field[0]));
}

constexpr std::optional<std::uint32_t> littleEndian32(std::string_view bytes, std::size_t offset) {
    const auto low = littleEndian16(bytes, offset);
    const auto high = littleEndian16(bytes, offset + 2);
    if (!low || !high)
        return std::nullopt;
    return std::uint32_t{*high} << 16 | *low;
}

} // namespace tallywick
