#include "base/ElfArchitectures.h"
#include "base/MachOArchitectures.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace tallywick {
namespace {

using Names = std::set<std::string>;

constexpr std::uint32_t arm64Type = 0x0100000c;
constexpr std::uint32_t x86Type = 0x01000007;

std::string bigEndian(std::uint32_t value) {
    std::string bytes;
    for (const unsigned shift : {24U, 16U, 8U, 0U})
        bytes.push_back(static_cast<char>(value >> shift & 0xff));
    return bytes;
}

std::string littleEndian(std::uint32_t value) {
    const std::string bytes = bigEndian(value);
    return {bytes.rbegin(), bytes.rend()};
}

std::string universal(std::uint32_t magic, std::size_t entrySize,
                      const std::vector<std::uint32_t>& types) {
    std::string bytes = bigEndian(magic) + bigEndian(static_cast<std::uint32_t>(types.size()));
    for (const std::uint32_t type : types)
        bytes += bigEndian(type) + std::string(entrySize - 4, '\x01');
    return bytes;
}

std::string thin(std::uint32_t type) { return littleEndian(0xfeedfacf) + littleEndian(type); }

/// The header of a position-independent program.
std::string elf(char machine) {
    std::string header(64, '\0');
    header.replace(0, 7, "\177ELF\x02\x01\x01");
    header[16] = 3;
    header[18] = machine;
    header[20] = 1;
    header[52] = 64;
    return header;
}
constexpr char elfX86 = 62;
constexpr char elfArm64 = static_cast<char>(183);

/// Gives the bytes in memory of just their size, so that a sanitizer sees a read beyond them.
template <class Reader>
Names read(Reader reader, const std::string& bytes) {
    const std::vector<char> exact(bytes.begin(), bytes.end());
    return reader(std::string_view(exact.data(), exact.size()));
}

TEST(MachOArchitectures, readsTheHeadersThatAreKnown) {
    const struct {
        const char* name;
        std::string bytes;
        Names names;
    } rows[] = {
        {"a thin arm64 file", thin(arm64Type), {"arm64"}},
        {"a thin x86_64 file", thin(x86Type), {"x86_64"}},
        {"a thin file for another processor", thin(0x01000012), {}},
        {"a universal file", universal(0xcafebabe, 20, {x86Type, arm64Type}), {"arm64", "x86_64"}},
        {"a universal file with long entries",
         universal(0xcafebabf, 32, {arm64Type, x86Type}),
         {"arm64", "x86_64"}},
        {"a universal file with unknown and repeated types",
         universal(0xcafebabe, 20, {7, arm64Type, arm64Type}),
         {"arm64"}},
        {"eight architectures",
         universal(0xcafebabe, 20, {7, 7, 7, 7, 7, 7, 7, arm64Type}),
         {"arm64"}},
        {"nine architectures", universal(0xcafebabe, 20, std::vector(9, arm64Type)), {}},
        {"a count near the largest number", bigEndian(0xcafebabe) + bigEndian(0xffffffff), {}},
        {"no architecture", universal(0xcafebabe, 20, {}), {}},
        {"a thin byte-swapped file", bigEndian(0xfeedfacf) + bigEndian(arm64Type), {}},
        {"a byte-swapped universal file",
         littleEndian(0xcafebabe) + littleEndian(1) + littleEndian(arm64Type),
         {}},
        {"no bytes", "", {}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(read(MachOArchitectures::architectures, row.bytes), row.names) << row.name;
}

TEST(MachOArchitectures, namesOfAHeaderCutShortOnlyWhatLiesInside) {
    const struct {
        std::string bytes;
        std::size_t armFrom; ///< length from which the type of the processor is inside
        std::size_t x86From;
    } rows[] = {{universal(0xcafebabe, 20, {arm64Type, x86Type}), 12, 32},
                {universal(0xcafebabf, 32, {arm64Type, x86Type}), 12, 44},
                {thin(arm64Type), 8, 9}};
    for (const auto& row : rows)
        for (std::size_t length = 0; length <= row.bytes.size(); ++length) {
            const Names names =
                read(MachOArchitectures::architectures, row.bytes.substr(0, length));
            EXPECT_EQ(names.contains("arm64"), length >= row.armFrom) << length;
            EXPECT_EQ(names.contains("x86_64"), length >= row.x86From) << length;
        }
}

TEST(ElfArchitectures, readsTheWholeHeaderOfAProgram) {
    for (const auto& [machine, name] :
         {std::pair{elfX86, "x86_64"}, std::pair{elfArm64, "arm64"}}) {
        const std::string header = elf(machine);
        for (std::size_t length = 0; length < header.size(); ++length)
            EXPECT_EQ(read(ElfArchitectures::architectures, header.substr(0, length)), Names{})
                << length;
        EXPECT_EQ(read(ElfArchitectures::architectures, header), Names{name});
        EXPECT_EQ(read(ElfArchitectures::architectures, header + "more"), Names{name});
    }
}

TEST(ElfArchitectures, refusesAChangeOfAnyFieldThatDecides) {
    // Identification up to its version, type, machine, version; size of the header.
    const auto decides = [](std::size_t offset) {
        return offset <= 6 || (offset >= 16 && offset <= 23) || offset == 52 || offset == 53;
    };
    for (std::size_t offset = 0; offset < 64; ++offset) {
        std::string header = elf(elfX86);
        header[offset] = static_cast<char>(header[offset] ^ 0x40);
        EXPECT_EQ(read(ElfArchitectures::architectures, header),
                  decides(offset) ? Names{} : Names{"x86_64"})
            << offset;
    }
    for (const char type : {'\0', '\1', '\2', '\4'}) { // none, object, program, core dump
        std::string header = elf(elfX86);
        header[16] = type;
        EXPECT_EQ(read(ElfArchitectures::architectures, header),
                  type == 2 ? Names{"x86_64"} : Names{})
            << int(type);
    }
}

} // namespace
} // namespace tallywick
