#include "base/MachOArchitectures.h"

#include "base/ByteReading.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace tallywick::MachOArchitectures {

namespace {

constexpr std::uint32_t FAT_MAGIC = 0xcafebabe;    // big-endian
constexpr std::uint32_t FAT_MAGIC_64 = 0xcafebabf; // big-endian
constexpr std::uint32_t MH_MAGIC_64 = 0xfeedfacf;  // little-endian
constexpr std::uint32_t CPU_TYPE_X86_64 = 0x01000007;
constexpr std::uint32_t CPU_TYPE_ARM64 = 0x0100000c;

constexpr std::size_t fatHeaderSize = 8;
constexpr std::size_t fatArchSize = 20;
constexpr std::size_t fatArch64Size = 32;

/// More than any real file has, and few enough for all entries to lie near the beginning.
constexpr std::uint32_t maximumFatArchitectures = 8;

void insertName(std::set<std::string>& names, std::optional<std::uint32_t> cpuType) {
    if (cpuType == CPU_TYPE_ARM64)
        names.insert("arm64");
    else if (cpuType == CPU_TYPE_X86_64)
        names.insert("x86_64");
}

std::set<std::string> universalArchitectures(std::string_view bytes, std::size_t entrySize) {
    std::set<std::string> names;
    const auto count = bigEndian32(bytes, 4);
    if (!count || *count > maximumFatArchitectures)
        return names;
    for (std::size_t entry = 0; entry < *count; ++entry)
        insertName(names, bigEndian32(bytes, fatHeaderSize + entry * entrySize));
    return names;
}

} // namespace

std::set<std::string> architectures(std::string_view bytes) {
    const auto fatMagic = bigEndian32(bytes, 0);
    if (fatMagic == FAT_MAGIC)
        return universalArchitectures(bytes, fatArchSize);
    if (fatMagic == FAT_MAGIC_64)
        return universalArchitectures(bytes, fatArch64Size);
    std::set<std::string> names;
    if (littleEndian32(bytes, 0) == MH_MAGIC_64)
        insertName(names, littleEndian32(bytes, 4));
    return names;
}

} // namespace tallywick::MachOArchitectures
