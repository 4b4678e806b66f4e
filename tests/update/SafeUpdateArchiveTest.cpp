#include "update/SafeUpdateArchive.h"
#include "update/SampleRelease.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

namespace tallywick {
namespace {

using namespace std::string_literals;
using namespace testing;
using Entries = std::vector<ZipEntry>;

constexpr std::uint32_t MiB = 1024 * 1024;

bool isAccepted(std::string_view archive) {
    const auto entries = SafeUpdateArchive::validate(archive);
    EXPECT_TRUE(entries || entries.error() == UpdateFailure::unsafeArchive);
    return entries.has_value();
}

TEST(SafeUpdateArchive, takesTheFilesOfAReleaseAndItsFolders) {
    const struct {
        const char* what;
        std::function<void(Entries&)> change;
        bool isAccepted = true;
    } rows[] = {
        {"files and folders", [](auto&) {}},
        {"the files alone", [](auto& entries) { entries.resize(5); }},
        {"in another order", [](auto& entries) { std::ranges::reverse(entries); }},
        {"deflated", [](auto& entries) { entries[1].isDeflated = true; }},
        {"extra fields", [](auto& entries) { entries[0].localExtra = "UT\5\0\1abcd"s; }},
        {"and others", [](auto& entries) { entries[0].centralExtra = "UX\1\0a"s; }},
        {"a comment like an end", [](auto& entries) { entries[9].comment = "PK\5\6"; }},
        {"no first file", [](auto& entries) { entries.erase(entries.begin()); }, false},
        {"no last file", [](auto& entries) { entries.erase(entries.begin() + 4); }, false},
    };
    for (const auto& row : rows) {
        Entries entries = releaseEntries();
        row.change(entries);
        std::vector<SafeUpdateArchive::Entry> declared;
        for (const ZipEntry& entry : entries)
            declared.push_back(
                {entry.name, std::uint16_t(entry.isDeflated ? 8 : 0), entry.content.size()});
        const auto accepted = SafeUpdateArchive::validate(buildZip(entries).bytes);
        EXPECT_EQ(accepted.has_value(), row.isAccepted) << row.what;
        EXPECT_EQ(accepted.value_or(declared), declared) << row.what;
    }
}

TEST(SafeUpdateArchive, refusesEveryOtherName) {
    const std::string application = "Corvane Tallywick.app/";
    const std::string contents = application + "Contents";
    for (const std::string& name : {""s,
                                    "Corvane Tallywick.app"s,
                                    "Other.app/Contents/Info.plist"s,
                                    "Contents/Info.plist"s,
                                    "corvane tallywick.app/"s,
                                    "Corvane\u00A0Tallywick.app/"s,
                                    "/" + application,
                                    "./" + application,
                                    "../" + application,
                                    application,
                                    contents,
                                    contents + "/PkgInfo",
                                    application + "contents/",
                                    application + "\u0421ontents/",
                                    contents + "/Info.plist",
                                    contents + "/Info.plist/",
                                    contents + "/Info.plist\0"s,
                                    contents + "/Info.plist\0x"s,
                                    contents + "\\Info.plist",
                                    contents + "/MacOS/../Info.plist"}) {
        Entries entries = releaseEntries();
        entries.push_back({.name = name});
        EXPECT_FALSE(isAccepted(buildZip(entries).bytes)) << name;
    }
}

/// Declares that the content of an entry of a plain archive ends there.
void stretch(ZipArchive& archive, std::size_t entry, std::size_t end) {
    const std::size_t header = 30 + releaseEntries()[entry].name.size();
    archive.set(archive.centrals[entry] + 20, end - archive.locals[entry] - header, 4);
}

/// Declares how large the files are.
void declare(ZipArchive& archive, const std::vector<std::uint32_t>& sizes) {
    for (std::size_t entry = 0; entry < sizes.size(); ++entry)
        archive.tell(entry, size, sizes[entry], 4);
}

/// A plain archive that is so long.
void lengthen(ZipArchive& archive, std::size_t length) {
    archive = buildZip(releaseEntries(), std::string(length - archive.bytes.size(), '\0'));
}

TEST(SafeUpdateArchive, refusesRecordsThatLieOrDisagree) {
    const struct {
        const char* what;
        std::function<void(ZipArchive&)> change; ///< of a plain archive of ten entries
        bool isAccepted = false;
    } rows[] = {
        {"another end signature", [](auto& a) { a.set(a.end, 0x0606'4b50, 4); }},
        {"on a second disk", [](auto& a) { a.set(a.end + 4, 1); }},
        {"directory on a second disk", [](auto& a) { a.set(a.end + 6, 1); }},
        {"fewer entries on this disk", [](auto& a) { a.set(a.end + 8, 9); }},
        {"fewer than there are", [](auto& a) { a.set(a.end + 8, 0x0009'0009, 4); }},
        {"ZIP64: their number elsewhere", [](auto& a) { a.set(a.end + 8, 0xFFFF'FFFF, 4); }},
        {"ZIP64: directory elsewhere", [](auto& a) { a.set(a.end + 16, 0xFFFF'FFFF, 4); }},
        {"ZIP64: a locator", [](auto& a) { a.bytes.insert(a.end, "PK\6\7" + std::string(16, 0)); }},
        {"a directory a byte late", [](auto& a) { a.set(a.end + 16, a.directory + 1, 4); }},
        {"a byte shorter", [](auto& a) { a.set(a.end + 12, a.end - a.directory - 1, 4); }},
        {"an announced comment", [](auto& a) { a.set(a.end + 20, 1); }},
        {"a byte behind the end", [](auto& a) { a.bytes.push_back('\0'); }},
        {"a byte in front of all", [](auto& a) { a.bytes.insert(0, "x"); }},
        {"a second end record", [](auto& a) { a.bytes += a.bytes.substr(a.end); }},
        {"that takes the first for a part of the directory",
         [](auto& a) {
             a.bytes += a.bytes.substr(a.end);
             a.set(a.end + 22 + 12, a.end + 22 - a.directory, 4);
         }},

        {"another central signature", [](auto& a) { a.set(a.centrals[9], 1); }},
        {"another local signature", [](auto& a) { a.set(a.locals[9], 1); }},
        {"other flags in the local header", [](auto& a) { a.set(a.locals[0] + flags, 8); }},
        {"another method there", [](auto& a) { a.set(a.locals[0] + method, 8); }},
        {"a shorter name there", [](auto& a) { a.set(a.locals[0] + 26, 20); }},
        {"another name there", [](auto& a) { a.set(a.locals[0] + 30, 0x6F63); }},
        {"another's header", [](auto& a) { a.set(a.centrals[0] + 42, a.locals[1], 4); }},
        {"one beyond the archive", [](auto& a) { a.set(a.centrals[0] + 42, ~0xFU, 4); }},
        {"a byte of the next entry", [](auto& a) { stretch(a, 0, a.locals[1] + 1); }},
        {"a byte of the directory", [](auto& a) { stretch(a, 9, a.directory + 1); }},
        {"ZIP64 sizes", [](auto& a) { a.set(a.centrals[0] + 20, 0xFFFF'FFFF, 4); }},
        {"a local extra field too long", [](auto& a) { a.set(a.locals[9] + 28, 0xFFFF); }},
        {"a name too long", [](auto& a) { a.set(a.centrals[9] + 28, 0xFFFF); }},
        {"an extra field too long", [](auto& a) { a.set(a.centrals[9] + 30, 1); }},
        {"a comment too long", [](auto& a) { a.set(a.centrals[9] + 32, 22); }},
        {"an extra field that hides the next header",
         [](auto& a) { a.set(a.centrals[8] + 30, a.end - a.centrals[9]); }},

        {"encrypted", [](auto& a) { a.tell(0, flags, 1); }},
        {"with a data descriptor", [](auto& a) { a.tell(0, flags, 8); }, true},
        {"method 9", [](auto& a) { a.tell(0, method, 9); }},
        {"no file type recorded", [](auto& a) { a.set(a.centrals[0] + 38, 0, 4); }, true},
        {"a link", [](auto& a) { a.set(a.centrals[0] + 40, 0xA1FF); }},
        {"a device", [](auto& a) { a.set(a.centrals[0] + 40, 0x21B6); }},
        {"a socket", [](auto& a) { a.set(a.centrals[0] + 40, 0xC1B6); }},
        {"32 MiB unpacked", [](auto& a) { a.tell(0, size, 32 * MiB, 4); }, true},
        {"a byte more unpacked", [](auto& a) { a.tell(0, size, 32 * MiB + 1, 4); }},
        {"64 MiB in all",
         [](auto& a) {
             declare(a, {32 * MiB, 32 * MiB, 0, 0, 0});
         },
         true},
        {"a byte more in all",
         [](auto& a) {
             declare(a, {32 * MiB, 32 * MiB, 0, 0, 1});
         }},
        {"32 MiB long", [](auto& a) { lengthen(a, 32 * MiB); }, true},
        {"a byte longer", [](auto& a) { lengthen(a, 32 * MiB + 1); }},
    };
    for (const auto& row : rows) {
        ZipArchive archive = buildZip(releaseEntries());
        row.change(archive);
        EXPECT_EQ(isAccepted(archive.bytes), row.isAccepted) << row.what;
    }
    const std::string archive = buildZip(releaseEntries()).bytes;
    for (std::size_t length = 0; length < archive.size(); ++length)
        EXPECT_FALSE(isAccepted(std::string_view(archive).substr(0, length))) << length;
}

} // namespace
} // namespace tallywick
