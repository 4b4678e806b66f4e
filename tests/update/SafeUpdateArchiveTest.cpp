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
constexpr std::uint32_t MiB = 1024 * 1024;

bool isAccepted(std::string_view archive) {
    const auto entries = SafeUpdateArchive::validate(archive);
    EXPECT_TRUE(entries || entries.error() == UpdateFailure::unsafeArchive);
    return entries.has_value();
}

/// Declares these sizes of the first entries, and none of the others.
void declare(Entries& entries, std::vector<std::uint32_t> sizes) {
    sizes.resize(entries.size());
    for (std::size_t i = 0; i < sizes.size(); ++i)
        entries[i].size = sizes[i];
}

TEST(SafeUpdateArchive, takesTheEntriesOfAReleaseAndNoOthers) {
    const struct {
        const char* what;
        std::function<void(Entries&)> change;
        bool isAccepted = true;
    } rows[] = {
        {"files and folders", [](auto&) {}},
        {"the files alone", [](auto& entries) { entries.resize(5); }},
        {"in another order", [](auto& entries) { std::ranges::reverse(entries); }},
        {"deflated", [](auto& entries) { entries[1].method = 8; }},
        {"no file types recorded", [](auto& entries) { entries[0].attributes = 0; }},
        {"with a data descriptor", [](auto& entries) { entries[0].flags = 8; }},
        {"extra fields", [](auto& entries) { entries[0].localExtra = "UT\5\0\1abcd"s; }},
        {"and others", [](auto& entries) { entries[0].centralExtra = "UX\1\0a"s; }},
        {"32 MiB", [](auto& entries) { declare(entries, {32 * MiB}); }},
        {"64 MiB in all",
         [](auto& entries) {
             declare(entries, {32 * MiB, 32 * MiB});
         }},
        {"a comment like an end", [](auto& entries) { entries[9].comment = "PK\5\6"; }},

        {"a byte more", [](auto& entries) { declare(entries, {32 * MiB + 1}); }, false},
        {"a byte more in all",
         [](auto& entries) {
             declare(entries, {32 * MiB, 32 * MiB, 1});
         },
         false},
        {"encrypted", [](auto& entries) { entries[0].flags = 1; }, false},
        {"method 9", [](auto& entries) { entries[0].method = 9; }, false},
        {"a link", [](auto& entries) { entries[0].attributes = 0xA1FF'0000; }, false},
        {"a device", [](auto& entries) { entries[0].attributes = 0x21B6'0000; }, false},
        {"a socket", [](auto& entries) { entries[0].attributes = 0xC1B6'0000; }, false},
        {"no first file", [](auto& entries) { entries.erase(entries.begin()); }, false},
        {"no last file", [](auto& entries) { entries.erase(entries.begin() + 4); }, false},
        {"33 entries", [](auto& entries) { entries.resize(33, entries[9]); }, false},
    };
    for (const auto& row : rows) {
        Entries entries = releaseEntries();
        row.change(entries);
        std::vector<SafeUpdateArchive::Entry> declared;
        for (const ZipEntry& entry : entries)
            declared.push_back(
                {entry.name, entry.method, entry.size.value_or(entry.content.size())});
        const auto accepted = SafeUpdateArchive::validate(buildZip(entries).bytes);
        EXPECT_EQ(accepted.has_value(), row.isAccepted) << row.what;
        EXPECT_EQ(accepted.value_or(declared), declared) << row.what;
    }
}

TEST(SafeUpdateArchive, refusesEveryOtherName) {
    std::vector<std::string> names{"",
                                   "Corvane Tallywick.app",
                                   "Other.app/Contents/Info.plist",
                                   "Contents/Info.plist",
                                   "corvane tallywick.app/",
                                   "Corvane\u00A0Tallywick.app/",
                                   "/" + application,
                                   "./" + application,
                                   "../" + application};
    for (const std::string& inside :
         {""s, "Contents/Info.plist"s, "Contents"s, "contents/"s, "Contents/PkgInfo"s,
          "Contents/Info.plist/"s, "Contents/Info.plist\0"s, "Contents/Info.plist\0x"s,
          "Contents\\Info.plist"s, "Contents/MacOS/../Info.plist"s, "\u0421ontents/"s})
        names.push_back(application + inside);
    for (const std::string& name : names) {
        Entries entries = releaseEntries();
        entries.push_back({.name = name});
        EXPECT_FALSE(isAccepted(buildZip(entries).bytes)) << name;
    }
}

/// Declares that the content of an entry of a plain archive ends there.
void stretch(ZipArchive& archive, std::size_t entry, std::size_t end) {
    const std::size_t header = 30 + releaseEntries()[entry].name.size();
    put32(archive.bytes, archive.centrals[entry] + 20, end - archive.locals[entry] - header);
}

TEST(SafeUpdateArchive, refusesRecordsThatLieOrDisagree) {
    const struct {
        const char* what;
        std::function<void(ZipArchive&)> change; ///< of a plain archive of ten entries
        bool isAccepted = false;
    } rows[] = {
        {"another end signature", [](auto& a) { put32(a.bytes, a.end, 0x0606'4b50); }},
        {"on a second disk", [](auto& a) { put16(a.bytes, a.end + 4, 1); }},
        {"directory on a second disk", [](auto& a) { put16(a.bytes, a.end + 6, 1); }},
        {"fewer entries on this disk", [](auto& a) { put16(a.bytes, a.end + 8, 9); }},
        {"fewer than there are", [](auto& a) { put32(a.bytes, a.end + 8, 0x0009'0009); }},
        {"ZIP64: their number elsewhere", [](auto& a) { put32(a.bytes, a.end + 8, 0xFFFF'FFFF); }},
        {"ZIP64: directory elsewhere", [](auto& a) { put32(a.bytes, a.end + 16, 0xFFFF'FFFF); }},
        {"ZIP64: a locator", [](auto& a) { a.bytes.insert(a.end, "PK\6\7" + std::string(16, 0)); }},
        {"a directory a byte late", [](auto& a) { put32(a.bytes, a.end + 16, a.directory + 1); }},
        {"a byte shorter", [](auto& a) { put32(a.bytes, a.end + 12, a.end - a.directory - 1); }},
        {"a byte late and a byte shorter",
         [](auto& a) {
             put32(a.bytes, a.end + 16, a.directory + 1);
             put32(a.bytes, a.end + 12, a.end - a.directory - 1);
         }},
        {"an announced comment", [](auto& a) { put16(a.bytes, a.end + 20, 1); }},
        {"a byte behind the end", [](auto& a) { a.bytes.push_back('\0'); }},
        {"a byte in front of all", [](auto& a) { a.bytes.insert(0, "x"); }},
        {"a second end record", [](auto& a) { a.bytes += a.bytes.substr(a.end); }},
        {"that takes the first for a part of the directory",
         [](auto& a) {
             a.bytes += a.bytes.substr(a.end);
             put32(a.bytes, a.end + 22 + 12, a.end + 22 - a.directory);
         }},

        {"another central signature", [](auto& a) { put32(a.bytes, a.centrals[9], 1); }},
        {"another local signature", [](auto& a) { put32(a.bytes, a.locals[9], 1); }},
        {"other flags in the local header", [](auto& a) { put16(a.bytes, a.locals[0] + 6, 8); }},
        {"another method there", [](auto& a) { put16(a.bytes, a.locals[0] + 8, 8); }},
        {"a shorter name there", [](auto& a) { put16(a.bytes, a.locals[0] + 26, 20); }},
        {"another name there", [](auto& a) { put16(a.bytes, a.locals[0] + 30, 0x6F63); }},
        {"another's header", [](auto& a) { put32(a.bytes, a.centrals[0] + 42, a.locals[1]); }},
        {"one beyond the archive", [](auto& a) { put32(a.bytes, a.centrals[0] + 42, ~0xFU); }},
        {"a byte of the next entry", [](auto& a) { stretch(a, 0, a.locals[1] + 1); }},
        {"a byte of the directory", [](auto& a) { stretch(a, 9, a.directory + 1); }},
        {"ZIP64 sizes", [](auto& a) { put32(a.bytes, a.centrals[0] + 20, 0xFFFF'FFFF); }},
        {"a local extra field too long", [](auto& a) { put16(a.bytes, a.locals[9] + 28, 0xFFFF); }},
        {"a name too long", [](auto& a) { put16(a.bytes, a.centrals[9] + 28, 0xFFFF); }},
        {"an extra field too long", [](auto& a) { put16(a.bytes, a.centrals[9] + 30, 1); }},
        {"a comment too long", [](auto& a) { put16(a.bytes, a.centrals[9] + 32, 22); }},
        {"an extra field that hides the next header",
         [](auto& a) { put16(a.bytes, a.centrals[8] + 30, a.end - a.centrals[9]); }},
        {"32 MiB long",
         [](auto& a) { a = buildZip(releaseEntries(), std::string(32 * MiB - a.bytes.size(), 0)); },
         true},
        {"a byte longer",
         [](auto& a) {
             a = buildZip(releaseEntries(), std::string(32 * MiB - a.bytes.size() + 1, 0));
         }},
    };
    for (const auto& row : rows) {
        ZipArchive archive = buildZip(releaseEntries());
        row.change(archive);
        EXPECT_EQ(isAccepted(archive.bytes), row.isAccepted) << row.what;
    }
    const std::string archive = buildZip(releaseEntries()).bytes;
    for (std::size_t size = 0; size < archive.size(); ++size)
        EXPECT_FALSE(isAccepted(std::string_view(archive).substr(0, size))) << size;
}

} // namespace
} // namespace tallywick
