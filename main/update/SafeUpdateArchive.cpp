#include "update/SafeUpdateArchive.h"

#include "base/ByteReading.h"
#include "base/Product.h"
#include "install/AppInstallation.h"
#include "update/UpdateFeed.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>

namespace tallywick::SafeUpdateArchive {

namespace {

// Of the ZIP format: signatures, sizes of the fixed parts, and where their fields stand.
constexpr std::uint32_t endRecordSignature = 0x0605'4b50;
constexpr std::size_t endRecordSize = 22;
constexpr std::uint32_t centralSignature = 0x0201'4b50;
constexpr std::size_t centralHeaderSize = 46;
constexpr std::uint32_t localSignature = 0x0403'4b50;
constexpr std::size_t localHeaderSize = 30;
constexpr std::uint16_t encryptedFlag = 1;
constexpr std::uint16_t methodStored = 0;
constexpr std::uint16_t methodDeflated = 8;

// The upper half of the external attributes is a Unix mode.
constexpr std::uint32_t fileTypeMask = 0xF000;
constexpr std::uint32_t regularFile = 0x8000;
constexpr std::uint32_t folder = 0x4000;

constexpr std::size_t maximumEntries = 32; // ten are allowed names, and no name comes twice
constexpr std::size_t maximumNameBytes = 240;
constexpr std::uint64_t maximumEntrySize = std::uint64_t{32} * 1024 * 1024;
constexpr std::uint64_t maximumTotalSize = std::uint64_t{64} * 1024 * 1024;

constexpr std::array allowedFolders{"", "Contents/", "Contents/MacOS/", "Contents/Resources/",
                                    "Contents/_CodeSignature/"};

/// Where the archive's directory lies.
struct Directory {
    std::size_t entries = 0;
    std::size_t begin = 0;
    std::size_t end = 0; ///< where the end record begins, the archive's last 22 bytes
};

/// One header of the directory, with the bytes of the entry that it points to.
struct CentralHeader {
    std::uint16_t flags = 0;
    std::uint16_t method = 0;
    std::uint64_t compressedSize = 0;
    std::uint64_t size = 0;
    std::uint32_t attributes = 0;
    std::size_t localHeader = 0;
    std::string_view name;
    std::size_t next = 0; ///< where the next header begins
};

struct Range {
    std::size_t begin = 0;
    std::size_t end = 0;
};

std::optional<Directory> findDirectory(std::string_view archive) {
    if (archive.size() < endRecordSize
        || archive.size() > std::size_t{UpdateFeed::maximumArchiveBytes})
        return std::nullopt;
    const std::size_t record = archive.size() - endRecordSize;
    const auto entries = littleEndian16(archive, record + 10);
    const auto size = littleEndian32(archive, record + 12);
    const auto begin = littleEndian32(archive, record + 16);
    const bool isEndRecord = littleEndian32(archive, record) == endRecordSignature;
    const bool isOneDisk = littleEndian16(archive, record + 4) == 0
                           && littleEndian16(archive, record + 6) == 0
                           && littleEndian16(archive, record + 8) == entries;
    const bool hasNoComment = littleEndian16(archive, record + 20) == 0;
    if (!isEndRecord || !isOneDisk || !hasNoComment || *entries < 1 || *entries > maximumEntries
        || std::uint64_t{*begin} + *size != record)
        return std::nullopt;
    return Directory{*entries, *begin, record};
}

std::optional<CentralHeader> centralHeader(std::string_view archive, std::size_t at,
                                           std::size_t directoryEnd) {
    if (at > directoryEnd || directoryEnd - at < centralHeaderSize
        || littleEndian32(archive, at) != centralSignature)
        return std::nullopt;
    const std::size_t nameLength = *littleEndian16(archive, at + 28);
    const std::size_t extraLength = *littleEndian16(archive, at + 30);
    const std::size_t commentLength = *littleEndian16(archive, at + 32);
    const std::size_t nameEnd = at + centralHeaderSize + nameLength;
    const std::size_t next = nameEnd + extraLength + commentLength;
    if (nameLength < 1 || nameLength > maximumNameBytes || next > directoryEnd)
        return std::nullopt;
    return CentralHeader{.flags = *littleEndian16(archive, at + 8),
                         .method = *littleEndian16(archive, at + 10),
                         .compressedSize = *littleEndian32(archive, at + 20),
                         .size = *littleEndian32(archive, at + 24),
                         .attributes = *littleEndian32(archive, at + 38),
                         .localHeader = *littleEndian32(archive, at + 42),
                         .name = archive.substr(at + centralHeaderSize, nameLength),
                         .next = next};
}

/// The path inside the application folder; absent when the name is not allowed. Allowed names are
/// compared byte by byte, so no other spelling of one passes.
std::optional<std::string_view> allowedRemainder(std::string_view name) {
    constexpr std::string_view application = Product::applicationFolderName;
    if (!name.starts_with(application) || !name.substr(application.size()).starts_with('/'))
        return std::nullopt;
    const std::string_view remainder = name.substr(application.size() + 1);
    if (std::ranges::count(allowedFolders, remainder) == 0
        && std::ranges::count(AppInstallation::requiredFiles, remainder) == 0)
        return std::nullopt;
    return remainder;
}

bool isAllowedKind(const CentralHeader& header) {
    const std::uint32_t type = (header.attributes >> 16) & fileTypeMask;
    return (header.flags & encryptedFlag) == 0
           && (header.method == methodStored || header.method == methodDeflated)
           && (type == 0 || type == regularFile || type == folder);
}

/// What the entry occupies, its local header included; absent when that header is another than the
/// directory tells, or when not all of it lies before the directory.
std::optional<Range> entryRange(std::string_view archive, const CentralHeader& header,
                                std::size_t directoryBegin) {
    const std::size_t at = header.localHeader;
    const auto extraLength = littleEndian16(archive, at + 28);
    if (!extraLength || littleEndian32(archive, at) != localSignature
        || littleEndian16(archive, at + 6) != header.flags
        || littleEndian16(archive, at + 8) != header.method
        || littleEndian16(archive, at + 26) != header.name.size()
        || bytesAt(archive, at + localHeaderSize, header.name.size()) != header.name)
        return std::nullopt;
    const std::uint64_t dataBegin =
        std::uint64_t{at} + localHeaderSize + header.name.size() + *extraLength;
    const std::uint64_t dataEnd = dataBegin + header.compressedSize;
    if (dataEnd > directoryBegin)
        return std::nullopt;
    return Range{at, static_cast<std::size_t>(dataEnd)};
}

/// Takes one entry after another and knows what those before have taken.
class EntryRules {
  public:
    EntryRules(std::string_view archiveBytes, const Directory& archiveDirectory)
        : archive(archiveBytes), directory(archiveDirectory) {}

    bool accept(const CentralHeader& header) {
        const auto remainder = allowedRemainder(header.name);
        const auto range = entryRange(archive, header, directory.begin);
        totalSize += header.size;
        if (!isAllowedKind(header) || !remainder || !range || header.size > maximumEntrySize
            || totalSize > maximumTotalSize || isTaken(header.name) || overlaps(*range))
            return false;
        filesFound += !header.name.ends_with('/') ? 1U : 0U;
        ranges.push_back(*range);
        entries.push_back({std::string(header.name), header.method, header.size});
        return true;
    }

    bool hasEveryFile() const { return filesFound == AppInstallation::requiredFiles.size(); }
    std::vector<Entry> takeEntries() { return std::move(entries); }

  private:
    bool isTaken(std::string_view name) const {
        return std::ranges::any_of(entries, [&](const Entry& entry) { return entry.name == name; });
    }
    bool overlaps(const Range& range) const {
        return std::ranges::any_of(ranges, [&](const Range& earlier) {
            return range.begin < earlier.end && earlier.begin < range.end;
        });
    }

    std::string_view archive;
    Directory directory;
    std::uint64_t totalSize = 0;
    std::size_t filesFound = 0;
    std::vector<Range> ranges;
    std::vector<Entry> entries;
};

std::optional<std::vector<Entry>> readEntries(std::string_view archive) {
    const auto directory = findDirectory(archive);
    if (!directory)
        return std::nullopt;
    EntryRules rules(archive, *directory);
    std::size_t at = directory->begin;
    for (std::size_t i = 0; i < directory->entries; ++i) {
        const auto header = centralHeader(archive, at, directory->end);
        if (!header || !rules.accept(*header))
            return std::nullopt;
        at = header->next;
    }
    if (at != directory->end || !rules.hasEveryFile())
        return std::nullopt;
    return rules.takeEntries();
}

} // namespace

tl::expected<std::vector<Entry>, UpdateFailure> validate(std::string_view archive) {
    auto entries = readEntries(archive);
    if (!entries)
        return tl::unexpected(UpdateFailure::unsafeArchive);
    return std::move(*entries);
}

} // namespace tallywick::SafeUpdateArchive
