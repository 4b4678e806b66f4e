#pragma once

#include "install/AppInstallation.h"
#include "support/SampleBundle.h"

#include <QByteArray>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// Releases, and archives built byte by byte, so that each of their fields can lie.
namespace tallywick::testing {

inline void put(std::string& bytes, std::size_t at, std::uint64_t value, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        bytes.at(at + i) = static_cast<char>(value >> (8 * i));
}
inline void put16(std::string& bytes, std::size_t at, std::uint64_t value) {
    put(bytes, at, value, 2);
}
inline void put32(std::string& bytes, std::size_t at, std::uint64_t value) {
    put(bytes, at, value, 4);
}

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

/// The content as ZIP's method 8 stores it.
inline std::string deflated(std::string_view content) {
    const QByteArray packed = qCompress(reinterpret_cast<const uchar*>(content.data()),
                                        static_cast<qsizetype>(content.size()), 9);
    constexpr qsizetype lengthAndHeader = 6; // Qt's length, zlib's header
    constexpr qsizetype checksum = 4;
    return packed.sliced(lengthAndHeader, packed.size() - lengthAndHeader - checksum).toStdString();
}

struct ZipEntry {
    std::string name = {};
    std::string content = {};
    std::uint32_t attributes = 0; ///< external; a Unix mode stands in the upper half
    std::uint16_t flags = 0;
    std::uint16_t method = 0; ///< 8: the content is deflated
    std::string localExtra = {}, centralExtra = {}, comment = {};
    // What both headers tell, and what lies behind the local one, in place of the truth.
    std::optional<std::uint32_t> checksum = {}, size = {};
    std::optional<std::string> stored = {};
};

/// An archive, and where its parts begin.
struct ZipArchive {
    std::string bytes = {};
    std::vector<std::size_t> locals = {}, centrals = {}; ///< the headers of the entries
    std::size_t directory = 0;
    std::size_t end = 0; ///< the record at its end
};

inline std::string zipHeader(std::size_t size, std::uint32_t signature, std::size_t common,
                             const ZipEntry& entry, const std::string& stored) {
    std::string header(size, '\0');
    put32(header, 0, signature);
    put16(header, common - 2, 20); // the version needed
    put16(header, common, entry.flags);
    put16(header, common + 2, entry.method);
    put16(header, common + 6, 0x21); // the first day of MS-DOS
    put32(header, common + 8, entry.checksum.value_or(crc32(entry.content)));
    put32(header, common + 12, stored.size());
    put32(header, common + 16, entry.size.value_or(entry.content.size()));
    put16(header, common + 20, entry.name.size());
    return header;
}

/// `lead` stands in front of everything.
inline ZipArchive buildZip(const std::vector<ZipEntry>& entries, const std::string& lead = {}) {
    ZipArchive archive{.bytes = lead};
    std::string directory;
    for (const ZipEntry& entry : entries) {
        const std::string packed = entry.method == 8 ? deflated(entry.content) : entry.content;
        const std::string stored = entry.stored.value_or(packed);
        std::string local = zipHeader(30, 0x0403'4b50, 6, entry, stored);
        put16(local, 28, entry.localExtra.size());
        std::string central = zipHeader(46, 0x0201'4b50, 8, entry, stored);
        put16(central, 4, 0x031E); // made on Unix
        put16(central, 30, entry.centralExtra.size());
        put16(central, 32, entry.comment.size());
        put32(central, 38, entry.attributes);
        put32(central, 42, archive.bytes.size());
        archive.locals.push_back(archive.bytes.size());
        archive.centrals.push_back(directory.size());
        archive.bytes += local + entry.name + entry.localExtra + stored;
        directory += central + entry.name + entry.centralExtra + entry.comment;
    }
    archive.directory = archive.bytes.size();
    for (std::size_t& at : archive.centrals)
        at += archive.directory;
    archive.bytes += directory;
    archive.end = archive.bytes.size();
    archive.bytes.resize(archive.end + 22);
    put32(archive.bytes, archive.end, 0x0605'4b50);
    put16(archive.bytes, archive.end + 8, entries.size());
    put16(archive.bytes, archive.end + 10, entries.size());
    put32(archive.bytes, archive.end + 12, directory.size());
    put32(archive.bytes, archive.end + 16, archive.directory);
    return archive;
}

/// The entries of a plain release: the five files, then the folders around them.
inline std::vector<ZipEntry> releaseEntries() {
    const std::string application = std::string(Product::applicationFolderName) + '/';
    std::vector<ZipEntry> entries;
    for (const char* file : AppInstallation::requiredFiles)
        entries.push_back({.name = application + file,
                           .content = std::string("content of ") + file,
                           .attributes = 0x81A4'0000});
    for (const char* folder :
         {"", "Contents/", "Contents/MacOS/", "Contents/Resources/", "Contents/_CodeSignature/"})
        entries.push_back({.name = application + folder, .attributes = 0x41ED'0010});
    return entries;
}

/// A sealed copy of release 0.7.0, with a program that runs here. `information` replaces entries of
/// its information dictionary.
inline std::filesystem::path makeRelease(const std::filesystem::path& parent,
                                         const Json& information = Json::object()) {
    Json release{{"CFBundleShortVersionString", "0.7.0"}, {"CFBundleVersion", "42"}};
    release.merge_patch(information);
    std::filesystem::path bundle = makeSampleBundle(parent, release);
    std::filesystem::copy_file("/bin/cat", bundle / Product::executablePath,
                               std::filesystem::copy_options::overwrite_existing);
    EXPECT_TRUE(sealBundle(bundle));
    return bundle;
}

} // namespace tallywick::testing
