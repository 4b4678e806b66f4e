#include "base/ExecutableFormats.h"

#include <gtest/gtest.h>

#include <vector>

namespace tallywick {
namespace {

using namespace std::string_literals;
using Names = std::set<std::string>;

/// Gives the bytes in memory of just their size, so that a sanitizer sees a read beyond them.
Names read(Names (*reader)(std::string_view), const std::string& bytes) {
    const std::vector<char> exact(bytes.begin(), bytes.end());
    return reader({exact.data(), exact.size()});
}

TEST(MachOArchitectures, areTheKnownOnesThatLieInsideTheBytes) {
    const std::string arm = "\1\0\0\x0C"s + std::string(16, 'x');
    const std::string x86 = "\1\0\0\7"s + std::string(16, 'x');
    const std::string two = "\xCA\xFE\xBA\xBE\0\0\0\2"s + arm + x86;
    const std::string more(12, 'x'); // what an entry with 64-bit offsets has more
    const struct {
        std::string bytes;
        Names names;
    } rows[] = {
        {"\xCF\xFA\xED\xFE\x0C\0\0\1"s, {"arm64"}},
        {"\xCF\xFA\xED\xFE\7\0\0\1"s, {"x86_64"}},
        {"\xCF\xFA\xED\xFE\x12\0\0\1"s, {}}, // another processor
        {"\xFE\xED\xFA\xCF\1\0\0\x0C"s, {}}, // byte-swapped
        {two, {"arm64", "x86_64"}},
        {"\xCA\xFE\xBA\xBF\0\0\0\2"s + arm + more + x86, {"arm64", "x86_64"}},
        {"\xCA\xFE\xBA\xBE\0\0\0\x08"s + std::string(140, 'x') + arm, {"arm64"}},
        {"\xCA\xFE\xBA\xBE\0\0\0\x09"s + arm, {}},
        {"\xCA\xFE\xBA\xBE\xFF\xFF\xFF\xFF" + arm, {}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(read(machOArchitectures, row.bytes), row.names) << &row - rows;
    for (std::size_t length = 0; length < two.size(); ++length) {
        const Names names = read(machOArchitectures, two.substr(0, length));
        EXPECT_EQ(names.contains("arm64"), length >= 12) << length;
        EXPECT_EQ(names.contains("x86_64"), length >= 32) << length;
    }
}

TEST(ElfArchitectures, areThoseOfAWholeHeaderWithTheRightFields) {
    // 64-bit, little-endian; a position-independent program for x86_64.
    const std::string header = "\177ELF\2\1\1\0\0\0\0\0\0\0\0\0\3\0\x3E\0\1"s
                               + std::string(31, '\0') + "\x40" + std::string(11, '\0');
    const auto with = [&](std::size_t offset, int value) {
        std::string changed = header + "more";
        changed[offset] = static_cast<char>(value);
        return read(elfArchitectures, changed);
    };
    EXPECT_EQ(read(elfArchitectures, header), Names{"x86_64"});
    EXPECT_EQ(with(18, 183), Names{"arm64"});
    EXPECT_EQ(with(16, 2), Names{"x86_64"}) << "a program at a fixed address";
    EXPECT_EQ(with(16, 1), Names{}) << "an object file";
    EXPECT_EQ(with(16, 4), Names{}) << "a core dump";
    for (std::size_t offset = 0; offset < 64; ++offset) {
        EXPECT_EQ(read(elfArchitectures, header.substr(0, offset)), Names{});
        const bool decides = offset <= 6 || (offset >= 16 && offset <= 23) || offset / 2 == 26;
        EXPECT_EQ(with(offset, header[offset] ^ 0x40).empty(), decides) << offset;
    }
}

} // namespace
} // namespace tallywick
