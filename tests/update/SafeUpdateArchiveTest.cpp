#include "update/SafeUpdateArchive.h"
#include "support/SampleBundle.h"
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

void declareSize(ZipArchive& archive, std::size_t entry, std::uint64_t size) {
    put32(archive.bytes, archive.locals.at(entry) + 22, size);
    put32(archive.bytes, archive.centrals.at(entry) + 24, size);
}

/// Sets a field of an entry's two headers, whose offsets differ by two for most.
void putBoth(ZipArchive& archive, std::size_t inLocal, std::size_t inCentral, std::uint64_t value) {
    put16(archive.bytes, archive.locals[0] + inLocal, value);
    put16(archive.bytes, archive.centrals[0] + inCentral, value);
}

/// Declares that the entry's content ends there.
void stretch(ZipArchive& archive, std::size_t entry, std::size_t end) {
    const std::size_t begin =
        archive.locals.at(entry) + 30 + releaseEntries().at(entry).name.size();
    put32(archive.bytes, archive.centrals.at(entry) + 20, end - begin);
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
        {"extra fields and comments, different in the two headers",
         [](Entries& entries) {
             entries[0].localExtra = "UT\5\0\1abcd"s;
             entries[0].centralExtra = "UX\1\0a"s;
             entries[9].comment = "PK\5\6";
         }},
    };
    for (const auto& row : rows) {
        Entries entries = releaseEntries();
        row.change(entries);
        const ZipArchive archive = buildZip(entries);
        const auto accepted = SafeUpdateArchive::validate(archive.bytes);
        ASSERT_TRUE(accepted) << row.what;
        std::vector<SafeUpdateArchive::Entry> declared;
        for (const ZipEntry& entry : entries)
            declared.push_back({entry.name, entry.deflate ? 8U : 0U, entry.content.size()});
        EXPECT_EQ(*accepted, declared) << row.what;
    }
    EXPECT_TRUE(isAccepted(buildZip(releaseEntries(), 100, "something else in front").bytes));
}

TEST(SafeUpdateArchive, refusesANameThatIsNotAllowed) {
    const std::string names[] = {
        "",
        "Corvane Tallywick.app",
        "Other.app/",
        "Other.app/Contents/Info.plist",
        "Contents/Info.plist",
        "/" + application + "Contents/Info.plist",
        "./" + application,
        "../" + application,
        application + "Contents",
        application + "Contents//",
        application + "contents/",
        application + "Contents/PkgInfo",
        application + "Contents/Info.plist/",
        application + "Contents/info.plist",
        application + "Contents/Info.plist ",
        application + "Contents/Info.plist\0"s,
        application + "Contents/Info.plist\0x"s,
        application + "Contents\\Info.plist",
        application + "Contents/../Contents/Info.plist",
        application + "Contents/MacOS/../Info.plist",
        application + "Contents/MacOS/CorvaneUtility.sh",
        application + "Contents/\xFF",
        application + "\u0421ontents/", // a Cyrillic letter
        application + "Contents/Info.p\u200Blist",
        application + "Contents/Frameworks/",
        application + std::string(219, 'x'),
        application + std::string(220, 'x'),
        "corvane tallywick.app/",
        "Corvane\u00A0Tallywick.app/",
        application + "Contents/Info.plist", // for the second time
        application,
    };
    for (const std::string& name : names) {
        Entries entries = releaseEntries();
        entries.push_back({.name = name});
        EXPECT_FALSE(isAccepted(buildZip(entries).bytes)) << name;
    }
    for (std::size_t missing = 0; missing < 5; ++missing) {
        Entries entries = releaseEntries();
        entries.erase(entries.begin() + static_cast<std::ptrdiff_t>(missing));
        EXPECT_FALSE(isAccepted(buildZip(entries).bytes)) << "without file " << missing;
    }
}

/// What is done to a plain archive of ten entries.
struct Change {
    const char* what;
    std::function<void(ZipArchive&)> change;
    bool isAccepted = false;
};

void expectEach(const std::vector<Change>& rows) {
    for (const Change& row : rows) {
        ZipArchive archive = buildZip(releaseEntries());
        row.change(archive);
        EXPECT_EQ(isAccepted(archive.bytes), row.isAccepted) << row.what;
    }
}

TEST(SafeUpdateArchive, refusesAnEndRecordThatDoesNotFit) {
    expectEach({
        {"nothing", [](ZipArchive& a) { a.bytes.clear(); }},
        {"an end record alone", [](ZipArchive& a) { a.bytes.erase(0, a.endRecord); }},
        {"an empty archive",
         [](ZipArchive& a) {
             a.bytes.erase(0, a.endRecord);
             put32(a.bytes, 8, 0), put32(a.bytes, 12, 0), put32(a.bytes, 16, 0);
         }},
        {"another signature", [](ZipArchive& a) { put32(a.bytes, a.endRecord, 0x0606'4b50); }},
        {"on a second disk", [](ZipArchive& a) { put16(a.bytes, a.endRecord + 4, 1); }},
        {"directory on a second disk", [](ZipArchive& a) { put16(a.bytes, a.endRecord + 6, 1); }},
        {"fewer entries on this disk", [](ZipArchive& a) { put16(a.bytes, a.endRecord + 8, 9); }},
        {"one entry less than there are",
         [](ZipArchive& a) {
             put16(a.bytes, a.endRecord + 8, 9), put16(a.bytes, a.endRecord + 10, 9);
         }},
        {"one entry more than there are",
         [](ZipArchive& a) {
             put16(a.bytes, a.endRecord + 8, 11), put16(a.bytes, a.endRecord + 10, 11);
         }},
        {"ZIP64: the number of entries elsewhere",
         [](ZipArchive& a) { put32(a.bytes, a.endRecord + 8, 0xFFFF'FFFF); }},
        {"ZIP64: the directory elsewhere",
         [](ZipArchive& a) { put32(a.bytes, a.endRecord + 16, 0xFFFF'FFFF); }},
        {"ZIP64: a locator before the end record",
         [](ZipArchive& a) { a.bytes.insert(a.endRecord, "PK\6\7" + std::string(16, '\0')); }},
        {"a directory that begins a byte late",
         [](ZipArchive& a) { put32(a.bytes, a.endRecord + 16, a.directory + 1); }},
        {"a directory that tells a byte less than it has",
         [](ZipArchive& a) { put32(a.bytes, a.endRecord + 12, a.endRecord - a.directory - 1); }},
        {"a directory a byte shorter, begun a byte late",
         [](ZipArchive& a) {
             put32(a.bytes, a.endRecord + 16, a.directory + 1);
             put32(a.bytes, a.endRecord + 12, a.endRecord - a.directory - 1);
         }},
        {"an announced comment", [](ZipArchive& a) { put16(a.bytes, a.endRecord + 20, 1); }},
        {"a comment",
         [](ZipArchive& a) { put16(a.bytes, a.endRecord + 20, 1), a.bytes.push_back('c'); }},
        {"a byte behind the end", [](ZipArchive& a) { a.bytes.push_back('\0'); }},
        {"cut by a byte", [](ZipArchive& a) { a.bytes.pop_back(); }},
        {"a byte in front of all", [](ZipArchive& a) { a.bytes.insert(0, "x"); }},
        {"a second end record", [](ZipArchive& a) { a.bytes += a.bytes.substr(a.endRecord); }},
        {"a second end record that takes the first for a part of the directory",
         [](ZipArchive& a) {
             a.bytes += a.bytes.substr(a.endRecord);
             put32(a.bytes, a.endRecord + 22 + 12, a.endRecord + 22 - a.directory);
         }},
    });
}

TEST(SafeUpdateArchive, refusesHeadersThatLieOrDisagree) {
    expectEach({
        {"another central signature", [](ZipArchive& a) { put32(a.bytes, a.centrals[9], 1); }},
        {"another local signature", [](ZipArchive& a) { put32(a.bytes, a.locals[9], 1); }},
        {"encrypted", [](ZipArchive& a) { putBoth(a, 6, 8, 1); }},
        {"method 1", [](ZipArchive& a) { putBoth(a, 8, 10, 1); }},
        {"method 9", [](ZipArchive& a) { putBoth(a, 8, 10, 9); }},
        {"method 8 in both", [](ZipArchive& a) { putBoth(a, 8, 10, 8); }, true},
        {"other flags in the local header",
         [](ZipArchive& a) { put16(a.bytes, a.locals[0] + 6, 8); }},
        {"encrypted in the local header alone",
         [](ZipArchive& a) { put16(a.bytes, a.locals[0] + 6, 1); }},
        {"another method in the local header",
         [](ZipArchive& a) { put16(a.bytes, a.locals[0] + 8, 8); }},
        {"a shorter name in the local header",
         [](ZipArchive& a) { put16(a.bytes, a.locals[0] + 26, 20); }},
        {"another name in the local header",
         [](ZipArchive& a) { a.bytes[a.locals[0] + 30] = 'c'; }},
        {"a local header elsewhere",
         [](ZipArchive& a) { put32(a.bytes, a.centrals[0] + 42, a.locals[1]); }},
        {"a local header a byte off",
         [](ZipArchive& a) { put32(a.bytes, a.centrals[0] + 42, a.locals[0] + 1); }},
        {"a local header beyond the archive",
         [](ZipArchive& a) { put32(a.bytes, a.centrals[0] + 42, 0xFFFF'FFF0); }},
        {"a local header on the end record",
         [](ZipArchive& a) { put32(a.bytes, a.centrals[0] + 42, a.endRecord); }},
        {"a link", [](ZipArchive& a) { put16(a.bytes, a.centrals[0] + 40, 0xA1FF); }},
        {"a device", [](ZipArchive& a) { put16(a.bytes, a.centrals[0] + 40, 0x21B6); }},
        {"a block device", [](ZipArchive& a) { put16(a.bytes, a.centrals[0] + 40, 0x61B6); }},
        {"a FIFO", [](ZipArchive& a) { put16(a.bytes, a.centrals[0] + 40, 0x11B6); }},
        {"a socket", [](ZipArchive& a) { put16(a.bytes, a.centrals[0] + 40, 0xC1B6); }},
        {"a byte of the next entry's", [](ZipArchive& a) { stretch(a, 0, a.locals[1] + 1); }},
        {"up to the directory",
         [](ZipArchive& a) {
             a = buildZip(releaseEntries(), 100);
             stretch(a, 9, a.directory);
         },
         true},
        {"a byte of the directory", [](ZipArchive& a) { stretch(a, 9, a.directory + 1); }},
        {"ZIP64 sizes", [](ZipArchive& a) { put32(a.bytes, a.centrals[0] + 20, 0xFFFF'FFFF); }},
        {"a local extra field beyond the directory",
         [](ZipArchive& a) { put16(a.bytes, a.locals[9] + 28, 0xFFFF); }},
        {"a central name beyond the archive",
         [](ZipArchive& a) { put16(a.bytes, a.centrals[9] + 28, 0xFFFF); }},
        {"a central extra field over the end record",
         [](ZipArchive& a) { put16(a.bytes, a.centrals[9] + 30, 1); }},
        {"a central comment over the end record",
         [](ZipArchive& a) { put16(a.bytes, a.centrals[9] + 32, 22); }},
        {"a central extra field that hides the next header",
         [](ZipArchive& a) { put16(a.bytes, a.centrals[8] + 30, a.endRecord - a.centrals[9]); }},
        {"32 MiB declared", [](ZipArchive& a) { declareSize(a, 0, 32 * MiB); }, true},
        {"one byte more", [](ZipArchive& a) { declareSize(a, 0, 32 * MiB + 1); }},
        {"4 GiB declared", [](ZipArchive& a) { declareSize(a, 0, 0xFFFF'FFFF); }},
        {"64 MiB in all",
         [](ZipArchive& a) {
             for (std::size_t i = 0; i < 10; ++i)
                 declareSize(a, i, i < 2 ? 32 * MiB : 0);
         },
         true},
        {"one byte more in all",
         [](ZipArchive& a) {
             for (std::size_t i = 0; i < 10; ++i)
                 declareSize(a, i, i < 2 ? 32 * MiB : i == 9 ? 1 : 0);
         }},
    });
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

TEST(SafeUpdateArchive, acceptsWhatRealToolsMakeOfABundle) {
    const testing::TemporaryFolder folder;
    testing::makeSampleBundle(folder.path());
    const struct {
        const char* command;
        std::size_t entries;
    } rows[] = {
        {"/usr/bin/zip -qr", 10},
        {"/usr/bin/zip -qrDX0", 5},
        {"/usr/bin/bsdtar --format zip -cf", 10},
        {"/usr/bin/python3 -m zipfile -c", 10},
    };
    for (const auto& row : rows) {
        testing::runIn(folder.path(), row.command + " made.zip 'Corvane Tallywick.app'"s);
        const auto entries = SafeUpdateArchive::validate(testing::readAll(folder / "made.zip"));
        ASSERT_TRUE(entries) << row.command;
        EXPECT_EQ(entries->size(), row.entries) << row.command;
        testing::runIn(folder.path(), "rm made.zip");
    }
}

} // namespace
} // namespace tallywick
