#include "release/ZipWriter.h"

#include <QByteArray>

#include <cstdint>
#include <string_view>

namespace tallywick {

namespace {

// Of the ZIP format (APPNOTE 6.3): what its fields say of our files.
constexpr std::uint32_t localSignature = 0x0403'4b50;
constexpr std::uint32_t centralSignature = 0x0201'4b50;
constexpr std::uint32_t endRecordSignature = 0x0605'4b50;
constexpr std::uint16_t versionNeeded = 20;  // 2.0, for deflated files
constexpr std::uint16_t madeOnUnix = 0x0314; // 2.0, with modes of Unix
constexpr std::uint16_t noTime = 0;          // midnight
constexpr std::uint16_t firstDay = 0x0021;   // 1980-01-01, the earliest that it can tell
constexpr std::uint32_t fileMode = 0100'644; // a regular file, for everyone to read
constexpr std::uint32_t programMode = 0100'755;
constexpr std::uint16_t methodStored = 0;
constexpr std::uint16_t methodDeflated = 8;

void append16(std::string& bytes, std::size_t value) {
    bytes += static_cast<char>(value);
    bytes += static_cast<char>(value >> 8);
}

void append32(std::string& bytes, std::size_t value) {
    append16(bytes, value);
    append16(bytes, value >> 16);
}

std::uint32_t crc32(std::string_view bytes) {
    constexpr std::uint32_t polynomial = 0xEDB8'8320;
    std::uint32_t crc = ~0U;
    for (const char byte : bytes) {
        crc ^= static_cast<unsigned char>(byte);
        for (int bit = 0; bit < 8; ++bit)
            crc = crc >> 1 ^ ((crc & 1) != 0 ? polynomial : 0);
    }
    return ~crc;
}

std::string deflated(std::string_view content) {
    constexpr int bestCompression = 9;
    constexpr qsizetype before = 6; // Qt's length, zlib's header
    constexpr qsizetype behind = 4; // zlib's checksum
    const QByteArray packed = qCompress(reinterpret_cast<const uchar*>(content.data()),
                                        static_cast<qsizetype>(content.size()), bestCompression);
    return packed.sliced(before, packed.size() - before - behind).toStdString();
}

/// The fields that both headers of a file have, in the same order.
std::string commonFields(const PackedFile& file, std::uint16_t method, std::size_t storedSize) {
    std::string fields;
    append16(fields, versionNeeded);
    append16(fields, 0); // flags
    append16(fields, method);
    append16(fields, noTime);
    append16(fields, firstDay);
    append32(fields, crc32(file.content));
    append32(fields, storedSize);
    append32(fields, file.content.size());
    append16(fields, file.name.size());
    append16(fields, 0); // extra fields
    return fields;
}

} // namespace

std::string zipArchive(const std::vector<PackedFile>& files) {
    std::string archive;
    std::string directory;
    for (const PackedFile& file : files) {
        const std::size_t place = archive.size();
        const std::string packed = deflated(file.content);
        const bool isSmaller = packed.size() < file.content.size();
        const std::string& stored = isSmaller ? packed : file.content;
        const std::string fields =
            commonFields(file, isSmaller ? methodDeflated : methodStored, stored.size());
        append32(archive, localSignature);
        archive.append(fields).append(file.name).append(stored);

        append32(directory, centralSignature);
        append16(directory, madeOnUnix);
        directory += fields;
        append16(directory, 0); // comment
        append16(directory, 0); // disk
        append16(directory, 0); // internal attributes
        append32(directory, std::size_t{file.isProgram ? programMode : fileMode} << 16);
        append32(directory, place);
        directory += file.name;
    }
    const std::size_t begin = archive.size();
    archive += directory;
    append32(archive, endRecordSignature);
    append32(archive, 0); // this disk, and that of the directory
    append16(archive, files.size());
    append16(archive, files.size());
    append32(archive, directory.size());
    append32(archive, begin);
    append16(archive, 0); // comment
    return archive;
}

} // namespace tallywick
