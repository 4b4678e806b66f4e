#include "base/ElfArchitectures.h"

#include "base/ByteReading.h"

#include <cstddef>
#include <cstdint>

namespace tallywick::ElfArchitectures {

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

std::set<std::string> architectures(std::string_view bytes) {
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

} // namespace tallywick::ElfArchitectures
