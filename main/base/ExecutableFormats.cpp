#include "base/ExecutableFormats.h"

#include "base/ByteReading.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace tallywick {

// Mach-O

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

std::set<std::string> machOArchitectures(std::string_view bytes) {
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

// ELF

namespace {

constexpr std::string_view ELFMAG = "\177ELF";
constexpr std::size_t EI_CLASS = 4;
constexpr char ELFCLASS64 = 2;
constexpr std::size_t EI_DATA = 5;
constexpr char ELFDATA2LSB = 1;
constexpr std::size_t EI_VERSION = 6;
constexpr std::uint32_t EV_CURRENT = 1;
constexpr std::uint16_t ET_EXEC = 2;
constexpr std::uint16_t ET_DYN = 3;
constexpr std::uint16_t EM_X86_64 = 62;
constexpr std::uint16_t EM_AARCH64 = 183;

// Where the fields of Elf64_Ehdr stand, and its size.
constexpr std::size_t e_type = 16;
constexpr std::size_t e_machine = 18;
constexpr std::size_t e_version = 20;
constexpr std::size_t e_ehsize = 52;
constexpr std::size_t headerSize = 64;

bool isProgramHeader(std::string_view header) {
    if (!header.starts_with(ELFMAG) || header[EI_CLASS] != ELFCLASS64
        || header[EI_DATA] != ELFDATA2LSB || header[EI_VERSION] != EV_CURRENT
        || littleEndian32(header, e_version) != EV_CURRENT
        || littleEndian16(header, e_ehsize) != headerSize)
        return false;
    const std::uint16_t type = littleEndian16(header, e_type).value_or(0);
    return type == ET_EXEC || type == ET_DYN;
}

} // namespace

std::set<std::string> elfArchitectures(std::string_view bytes) {
    const std::string_view header = bytesAt(bytes, 0, headerSize);
    if (!isProgramHeader(header))
        return {};
    switch (*littleEndian16(header, e_machine)) {
    case EM_X86_64:
        return {"x86_64"};
    case EM_AARCH64:
        return {"arm64"};
    default:
        return {};
    }
}

} // namespace tallywick
