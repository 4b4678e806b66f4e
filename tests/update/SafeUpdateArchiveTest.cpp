#include "update/SafeUpdateArchive.h"
#include "update/ZipBuilder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

namespace tallywick {
namespace {

using namespace std::string_literals;
using testing::buildZip;
using testing::put16;
using testing::put32;
using testing::releaseEntries;
using testing::ZipArchive;
using testing::ZipEntry;
using Entries = std::vector<ZipEntry>;

const std::string application = "Corvane Tallywick.app/";
constexpr std::size_t MiB = 1024 * 1024;

bool isAccepted(std::string_view archive) {
    const auto entries = SafeUpdateArchive::validate(archive);
    EXPECT_TRUE(entries || entries.error() == UpdateFailure::unsafeArchive);
    return entries.has_value();
}

TEST(SafeUpdateArchive, acceptsEveryArchiveThatKeepsTheRules) {
    const struct {
        const char* what;
        std::function<void(Entries&)> change;
    } rows[] = {
        {"files and folders", [](Entries&) {}},
        {"the files alone", [](Entries& entries) { entries.resize(5); }},
        {"in another order", [](Entries& entries) { std::ranges::reverse(entries); }},
        {"deflated", [](Entries& entries) { entries[1].deflate = true; }},
        {"no file types recorded", [](Entries& entries) { entries[0].attributes = 0; }},
        {"with a data descriptor", [](Entries& entries) { entries[0].flags = 8; }},
        {"extra fields", [](Entries& entries) { entries[0].localExtra = "UT\5\0\1abcd"s; }},
        {"and others", [](Entries& entries) { entries[0].centralExtra = "UX\1\0a"s; }},
        {"a comment like an end", [](Entries& entries) { entries[9].comment = "PK\5\6"; }},
    };
    for (const auto& row : rows) {
        Entries entries = releaseEntries();
        row.change(entries);
        const auto accepted = SafeUpdateArchive::validate(buildZip(entries).bytes);
        ASSERT_TRUE(accepted) << row.what;
        std::vector<SafeUpdateArchive::Entry> declared;
        for (const ZipEntry& entry : entries)
            declared.push_back({entry.name, entry.deflate ? 8U : 0U, entry.content.size()});
        EXPECT_EQ(*accepted, declared) << row.what;
    }
    EXPECT_TRUE(isAccepted(buildZip(releaseEntries(), 100, "something else in front").bytes));
}

TEST(SafeUpdateArchive, refusesANameThatIsNotAllowed) {
    Entries entries = releaseEntries();
    for (const std::string& name :
         {""s, "Corvane Tallywick.app"s, "Other.app/"s, "Other.app/Contents/Info.plist"s,
          "Contents/Info.plist"s, "corvane tallywick.app/"s, "Corvane\u00A0Tallywick.app/"s,
          "/" + application, "./" + application, "../" + application}) {
        entries.resize(10);
        entries.push_back({.name = name});
        EXPECT_FALSE(isAccepted(buildZip(entries).bytes)) << name;
    }
    for (const std::string& name : {""s,
                                    "Contents/Info.plist"s, // for the second time
                                    "Contents"s,
                                    "Contents//"s,
                                    "contents/"s,
                                    "Contents/PkgInfo"s,
                                    "Contents/Info.plist/"s,
                                    "Contents/info.plist"s,
                                    "Contents/Info.plist "s,
                                    "Contents/Info.plist\0"s,
                                    "Contents/Info.plist\0x"s,
                                    "Contents\\Info.plist"s,
                                    "Contents/../Contents/Info.plist"s,
                                    "Contents/MacOS/../Info.plist"s,
                                    "Contents/MacOS/CorvaneUtility.sh"s,
                                    "Contents/\xFF"s,
                                    "\u0421ontents/"s /* a Cyrillic letter */,
                                    "Contents/Info.p\u200Blist"s,
                                    "Contents/Frameworks/"s,
                                    std::string(218, 'x'),
                                    std::string(219, 'x')}) {
        entries.resize(10);
        entries.push_back({.name = application + name});
        EXPECT_FALSE(isAccepted(buildZip(entries).bytes)) << name;
    }
    for (std::ptrdiff_t missing = 0; missing < 5; ++missing) {
        entries = releaseEntries();
        entries.erase(entries.begin() + missing);
        EXPECT_FALSE(isAccepted(buildZip(entries).bytes)) << "without file " << missing;
    }
}

/// What is done to a plain archive of ten entries.
using Change = std::function<void(ZipArchive&)>;

Change end16(std::size_t at, std::uint64_t value) {
    return [=](ZipArchive& a) { put16(a.bytes, a.endRecord + at, value); };
}
Change end32(std::size_t at, std::uint64_t value) {
    return [=](ZipArchive& a) { put32(a.bytes, a.endRecord + at, value); };
}
Change central16(std::size_t entry, std::size_t at, std::uint64_t value) {
    return [=](ZipArchive& a) { put16(a.bytes, a.centrals[entry] + at, value); };
}
Change central32(std::size_t entry, std::size_t at, std::uint64_t value) {
    return [=](ZipArchive& a) { put32(a.bytes, a.centrals[entry] + at, value); };
}
Change local16(std::size_t entry, std::size_t at, std::uint64_t value) {
    return [=](ZipArchive& a) { put16(a.bytes, a.locals[entry] + at, value); };
}
Change operator+(const Change& first, const Change& second) {
    return [=](ZipArchive& a) { first(a), second(a); };
}
/// In both headers of the first entry.
Change both16(std::size_t inLocal, std::uint64_t value) {
    return local16(0, inLocal, value) + central16(0, inLocal + 2, value);
}
/// Declares that the content ends there.
Change stretched(std::size_t entry, std::function<std::size_t(const ZipArchive&)> end) {
    return [=](ZipArchive& a) {
        const std::size_t begin = a.locals[entry] + 30 + releaseEntries()[entry].name.size();
        put32(a.bytes, a.centrals[entry] + 20, end(a) - begin);
    };
}
/// Declares these sizes of the first entries, and none of the others.
Change sized(std::vector<std::uint64_t> sizes) {
    return [=](ZipArchive& a) mutable {
        sizes.resize(a.centrals.size());
        for (std::size_t i = 0; i < sizes.size(); ++i)
            put32(a.bytes, a.centrals[i] + 24, sizes[i]);
    };
}

TEST(SafeUpdateArchive, refusesRecordsThatLieOrDisagree) {
    const struct {
        const char* what;
        Change change;
        bool isAccepted = false;
    } rows[] = {
        {"nothing", [](auto& a) { a.bytes.clear(); }},
        {"an end record alone", [](auto& a) { a.bytes.erase(0, a.endRecord); }},
        {"an empty archive", end32(8, 0) + end32(12, 0) + end32(16, 0) +
                                 [](auto& a) { a.bytes.erase(0, a.endRecord); }},
        {"another end signature", end32(0, 0x0606'4b50)},
        {"on a second disk", end16(4, 1)},
        {"directory on a second disk", end16(6, 1)},
        {"fewer entries on this disk", end16(8, 9)},
        {"one entry less than there are", end16(8, 9) + end16(10, 9)},
        {"one entry more than there are", end16(8, 11) + end16(10, 11)},
        {"ZIP64: the number of entries elsewhere", end32(8, 0xFFFF'FFFF)},
        {"ZIP64: the directory elsewhere", end32(16, 0xFFFF'FFFF)},
        {"ZIP64: a locator before the end record",
         [](auto& a) { a.bytes.insert(a.endRecord, "PK\6\7" + std::string(16, '\0')); }},
        {"a directory that begins a byte late", [](auto& a) { end32(16, a.directory + 1)(a); }},
        {"that tells a byte less than it has",
         [](auto& a) { end32(12, a.endRecord - a.directory - 1)(a); }},
        {"both at once",
         [](auto& a) {
             (end32(16, a.directory + 1) + end32(12, a.endRecord - a.directory - 1))(a);
         }},
        {"an announced comment", end16(20, 1)},
        {"a comment", end16(20, 1) + [](auto& a) { a.bytes.push_back('c'); }},
        {"a byte behind the end", [](auto& a) { a.bytes.push_back('\0'); }},
        {"a byte in front of all", [](auto& a) { a.bytes.insert(0, "x"); }},
        {"a second end record", [](auto& a) { a.bytes += a.bytes.substr(a.endRecord); }},
        {"that takes the first for a part of the directory",
         [](auto& a) {
             a.bytes += a.bytes.substr(a.endRecord);
             put32(a.bytes, a.endRecord + 22 + 12, a.endRecord + 22 - a.directory);
         }},

        {"another central signature", central32(9, 0, 1)},
        {"another local signature", local16(9, 0, 1)},
        {"encrypted", both16(6, 1)},
        {"method 1", both16(8, 1)},
        {"method 9", both16(8, 9)},
        {"method 8 in both", both16(8, 8), true},
        {"other flags in the local header", local16(0, 6, 8)},
        {"encrypted in the local header alone", local16(0, 6, 1)},
        {"another method in the local header", local16(0, 8, 8)},
        {"a shorter name in the local header", local16(0, 26, 20)},
        {"another name in the local header", local16(0, 30, 0x6F63)},
        {"a local header a byte off", central32(0, 42, 1)},
        {"elsewhere", [](auto& a) { central32(0, 42, a.locals[1])(a); }},
        {"on the end record", [](auto& a) { central32(0, 42, a.endRecord)(a); }},
        {"beyond the archive", central32(0, 42, 0xFFFF'FFF0)},
        {"a link", central16(0, 40, 0xA1FF)},
        {"a device", central16(0, 40, 0x21B6)},
        {"a block device", central16(0, 40, 0x61B6)},
        {"a FIFO", central16(0, 40, 0x11B6)},
        {"a socket", central16(0, 40, 0xC1B6)},
        {"a byte of the next entry's", stretched(0, [](auto& a) { return a.locals[1] + 1; })},
        {"up to the directory",
         [](auto& a) { a = buildZip(releaseEntries(), 100); }
             + stretched(9, [](auto& a) { return a.directory; }),
         true},
        {"a byte of the directory", stretched(9, [](auto& a) { return a.directory + 1; })},
        {"ZIP64 sizes", central32(0, 20, 0xFFFF'FFFF)},
        {"a local extra field beyond the directory", local16(9, 28, 0xFFFF)},
        {"a central name beyond the archive", central16(9, 28, 0xFFFF)},
        {"a central extra field over the end record", central16(9, 30, 1)},
        {"a central comment over the end record", central16(9, 32, 22)},
        {"a central extra field that hides the next header",
         [](auto& a) { central16(8, 30, a.endRecord - a.centrals[9])(a); }},
        {"32 MiB declared", sized({32 * MiB}), true},
        {"one byte more", sized({32 * MiB + 1})},
        {"4 GiB declared", sized({0xFFFF'FFFF})},
        {"64 MiB in all", sized({32 * MiB, 32 * MiB}), true},
        {"one byte more in all", sized({32 * MiB, 32 * MiB, 1})},
    };
    for (const auto& row : rows) {
        ZipArchive archive = buildZip(releaseEntries());
        row.change(archive);
        EXPECT_EQ(isAccepted(archive.bytes), row.isAccepted) << row.what;
    }
}

TEST(SafeUpdateArchive, hasLimitsOfItsLengthAndItsEntries) {
    const std::size_t plain = buildZip(releaseEntries()).bytes.size();
    EXPECT_TRUE(isAccepted(buildZip(releaseEntries(), 32 * MiB - plain).bytes));
    EXPECT_FALSE(isAccepted(buildZip(releaseEntries(), 32 * MiB - plain + 1).bytes));
    Entries many = releaseEntries();
    many.resize(33, many.back());
    EXPECT_FALSE(isAccepted(buildZip(many).bytes));
    Entries commented = releaseEntries();
    for (ZipEntry& entry : commented)
        entry.comment.assign(65'535, 'c');
    EXPECT_TRUE(isAccepted(buildZip(commented).bytes));
}

TEST(SafeUpdateArchive, survivesEveryCutAndEveryChangedByte) {
    const std::string archive = buildZip(releaseEntries()).bytes;
    for (std::size_t size = 0; size < archive.size(); ++size) {
        EXPECT_FALSE(isAccepted(std::string(archive, 0, size))) << size;
        std::string changed = archive;
        changed[size] = static_cast<char>(~changed[size]);
        static_cast<void>(SafeUpdateArchive::validate(changed));
    }
}

} // namespace
} // namespace tallywick
