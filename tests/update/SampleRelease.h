#pragma once

#include "install/AppInstallation.h"
#include "support/SampleBundle.h"

#include <QByteArray>

#include <cstdint>
#include <string>
#include <vector>

/// Release 0.7.0: its feed, a sealed copy of it, and archives built byte by byte, so that each of
/// their fields can lie.
namespace tallywick::testing {

/// As the maker publishes it, of an archive of 1,000 bytes.
inline Json sampleFeed() {
    return parseJson(R"({"schemaVersion": 1, "platform": "macos",
        "bundleIdentifier": "com.corvane.tallywick", "version": "0.7.0", "build": 42,
        "minimumSystemVersion": "1.0", "architectures": ["x86_64", "arm64"], "bytes": 1000,
        "sha256": "0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef",
        "url": "https://corvane.example/toolyard/tallywick/downloads/Corvane-Tallywick-Mac-0.7.0-App-Only.zip",
        "signing": "ad-hoc", "notarized": false, "releaseNotes": "Faster.\nQuieter."})")
        .value();
}

/// With a program that runs here. `information` replaces entries of its information dictionary.
inline std::filesystem::path makeRelease(const std::filesystem::path& parent,
                                         const Json& information = Json::object(),
                                         const std::filesystem::path& program = "/bin/cat") {
    Json release{{"CFBundleShortVersionString", "0.7.0"}, {"CFBundleVersion", "42"}};
    release.merge_patch(information);
    std::filesystem::path bundle = makeSampleBundle(parent, release);
    std::filesystem::copy_file(program, bundle / Product::executablePath,
                               std::filesystem::copy_options::overwrite_existing);
    EXPECT_TRUE(sealBundle(bundle));
    return bundle;
}

/// Fields of an entry's local header. In the directory they stand two bytes farther.
enum ZipField : std::size_t { flags = 6, method = 8, checksum = 14, stored = 18, size = 22 };

struct ZipEntry {
    std::string name = {};
    std::string content = {};
    std::uint32_t attributes = 0; ///< external; a Unix mode stands in the upper half
    bool isDeflated = false;
    std::string localExtra = {}, centralExtra = {}, comment = {};
};

/// An archive, and where its parts begin.
struct ZipArchive {
    std::string bytes = {};
    std::vector<std::size_t> locals = {}, centrals = {}; ///< the headers of the entries
    std::size_t directory = 0;
    std::size_t end = 0; ///< the record at its end

    void set(std::size_t at, std::uint64_t value, std::size_t count = 2) {
        for (std::size_t i = 0; i < count; ++i)
            bytes.at(at + i) = static_cast<char>(value >> (8 * i));
    }
    /// Sets a field in both headers of an entry.
    void tell(std::size_t entry, std::size_t field, std::uint64_t value, std::size_t count = 2) {
        set(locals[entry] + field, value, count);
        set(centrals[entry] + field + 2, value, count);
    }
};

/// CRC-32 as ZIP has it.
inline std::uint32_t crc32(std::string_view bytes) {
    std::uint32_t crc = ~0U;
    for (const char byte : bytes) {
        crc ^= static_cast<unsigned char>(byte);
        for (int bit = 0; bit < 8; ++bit)
            crc = crc >> 1 ^ (0xEDB8'8320U & (0U - (crc & 1U)));
    }
    return ~crc;
}

/// The content as ZIP's method 8 stores it: without Qt's length and the header and sum of zlib.
inline std::string deflated(std::string_view content) {
    const QByteArray packed = qCompress(reinterpret_cast<const uchar*>(content.data()),
                                        static_cast<qsizetype>(content.size()), 9);
    return packed.sliced(6, packed.size() - 10).toStdString();
}

/// `lead` stands in front of everything.
inline ZipArchive buildZip(const std::vector<ZipEntry>& entries, const std::string& lead = {}) {
    ZipArchive archive{.bytes = lead};
    std::vector<std::string> contents;
    for (const ZipEntry& entry : entries) {
        contents.push_back(entry.isDeflated ? deflated(entry.content) : entry.content);
        archive.locals.push_back(archive.bytes.size());
        archive.bytes += "PK\3\4" + std::string(26, '\0') + entry.name + entry.localExtra;
        archive.bytes += contents.back();
    }
    archive.directory = archive.bytes.size();
    for (const ZipEntry& entry : entries) {
        archive.centrals.push_back(archive.bytes.size());
        archive.bytes += "PK\1\2" + std::string(42, '\0') + entry.name + entry.centralExtra;
        archive.bytes += entry.comment;
    }
    archive.end = archive.bytes.size();
    archive.bytes += "PK\5\6" + std::string(18, '\0');
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const ZipEntry& entry = entries[i];
        archive.tell(i, 4, 20); // the version needed
        archive.tell(i, method, entry.isDeflated ? 8 : 0);
        archive.tell(i, 12, 0x21); // the first day of MS-DOS
        archive.tell(i, checksum, crc32(entry.content), 4);
        archive.tell(i, stored, contents[i].size(), 4);
        archive.tell(i, size, entry.content.size(), 4);
        archive.tell(i, 26, entry.name.size());
        archive.set(archive.locals[i] + 28, entry.localExtra.size());
        archive.set(archive.centrals[i] + 4, 0x031E); // made on Unix
        archive.set(archive.centrals[i] + 30, entry.centralExtra.size());
        archive.set(archive.centrals[i] + 32, entry.comment.size());
        archive.set(archive.centrals[i] + 38, entry.attributes, 4);
        archive.set(archive.centrals[i] + 42, archive.locals[i], 4);
    }
    archive.set(archive.end + 8, entries.size() | entries.size() << 16, 4);
    archive.set(archive.end + 12, archive.end - archive.directory, 4);
    archive.set(archive.end + 16, archive.directory, 4);
    return archive;
}

/// The entries of a plain archive: the five files, then the folders around them.
inline std::vector<ZipEntry> releaseEntries() {
    const std::string application = std::string(Product::applicationFolderName) + '/';
    std::vector<ZipEntry> entries;
    for (const char* file : AppInstallation::requiredFiles)
        entries.push_back({application + file, std::string("content of ") + file, 0x81A4'0000});
    for (const char* folder :
         {"", "Contents/", "Contents/MacOS/", "Contents/Resources/", "Contents/_CodeSignature/"})
        entries.push_back({.name = application + folder, .attributes = 0x41ED'0010});
    return entries;
}

} // namespace tallywick::testing
