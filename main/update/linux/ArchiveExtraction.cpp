#include "update/ReleaseUnpacker.h"

#include "base/Product.h"
#include "base/Sha256.h"
#include "platform/files/FilePieces.h"
#include "update/SafeUpdateArchive.h"
#include "update/UpdateFeed.h"

#include <dlfcn.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <system_error>

// Of libarchive, which is loaded when it is needed: the program does without it until then.
struct archive;
struct archive_entry;

namespace tallywick::ArchiveExtraction {

namespace fs = std::filesystem;

namespace {

constexpr const char* libraryName = "libarchive.so.13";
constexpr int ARCHIVE_OK = 0;
constexpr int ARCHIVE_EOF = 1;
constexpr std::size_t piece = 65'536;
constexpr rlim_t maximumFileBytes =
    rlim_t{32} * 1024 * 1024; // that an archive may declare of an entry

/// The functions of libarchive that are called, under its names.
class Library {
  public:
    Library() : handle(::dlopen(libraryName, RTLD_NOW | RTLD_LOCAL)) {
        find(archive_read_new, "archive_read_new");
        find(archive_read_support_format_zip_seekable, "archive_read_support_format_zip_seekable");
        find(archive_read_open_memory, "archive_read_open_memory");
        find(archive_read_next_header, "archive_read_next_header");
        find(archive_read_data, "archive_read_data");
        find(archive_entry_pathname, "archive_entry_pathname");
        find(archive_entry_filetype, "archive_entry_filetype");
        find(archive_entry_hardlink, "archive_entry_hardlink");
        find(archive_read_free, "archive_read_free");
    }
    ~Library() {
        if (handle)
            ::dlclose(handle);
    }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    bool isComplete() const { return complete; }

    archive* (*archive_read_new)() = nullptr;
    int (*archive_read_support_format_zip_seekable)(archive*) = nullptr;
    int (*archive_read_open_memory)(archive*, const void*, size_t) = nullptr;
    int (*archive_read_next_header)(archive*, archive_entry**) = nullptr;
    ssize_t (*archive_read_data)(archive*, void*, size_t) = nullptr;
    const char* (*archive_entry_pathname)(archive_entry*) = nullptr;
    mode_t (*archive_entry_filetype)(archive_entry*) = nullptr;
    const char* (*archive_entry_hardlink)(archive_entry*) = nullptr;
    int (*archive_read_free)(archive*) = nullptr;

  private:
    template <typename Function>
    void find(Function& function, const char* name) {
        if (handle)
            function = reinterpret_cast<Function>(::dlsym(handle, name));
        complete = complete && function;
    }

    void* handle;
    bool complete = true;
};

/// Reads the archive's bytes with the one format and no filter.
class Reader {
  public:
    Reader(const Library& loaded, const std::string& bytes)
        : library(loaded), reader(library.archive_read_new()) {
        isOpen =
            reader && library.archive_read_support_format_zip_seekable(reader) == ARCHIVE_OK
            && library.archive_read_open_memory(reader, bytes.data(), bytes.size()) == ARCHIVE_OK;
    }
    ~Reader() { library.archive_read_free(reader); }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    /// Unpacks exactly these entries, whatever their order.
    bool unpack(std::vector<SafeUpdateArchive::Entry> declared, const fs::path& folder) {
        while (isOpen) {
            archive_entry* entry = nullptr;
            const int outcome = library.archive_read_next_header(reader, &entry);
            if (outcome == ARCHIVE_EOF)
                return declared.empty();
            const auto found =
                outcome == ARCHIVE_OK ? declaration(declared, entry) : declared.end();
            if (found == declared.end() || !unpackEntry(*found, folder))
                return false;
            declared.erase(found);
        }
        return false;
    }

  private:
    using Declared = std::vector<SafeUpdateArchive::Entry>;

    /// The declared entry that this is, by what the library makes of all its fields.
    Declared::iterator declaration(Declared& declared, archive_entry* entry) const {
        const char* name = library.archive_entry_pathname(entry);
        const mode_t type = library.archive_entry_filetype(entry);
        if (!name || library.archive_entry_hardlink(entry))
            return declared.end();
        return std::ranges::find_if(declared, [&](const SafeUpdateArchive::Entry& candidate) {
            return candidate.name == name && type == (candidate.isFolder() ? S_IFDIR : S_IFREG);
        });
    }

    bool unpackEntry(const SafeUpdateArchive::Entry& entry, const fs::path& folder) {
        const fs::path place = (folder / entry.name).lexically_normal();
        std::error_code error;
        if (entry.isFolder()) {
            fs::create_directories(place, error);
            return !error && entry.size == 0;
        }
        fs::create_directories(place.parent_path(), error);
        auto file = NewFile::create(place);
        if (error || !file || !writeContent(*file, entry.size))
            return false;
        file->keep();
        const bool isProgram = entry.name.ends_with(Product::executablePath);
        fs::permissions(place, fs::perms(isProgram ? 0755 : 0644), error);
        return !error;
    }

    bool writeContent(NewFile& file, std::uint64_t size) {
        std::string content(piece, '\0');
        for (;;) {
            const ssize_t count = library.archive_read_data(reader, content.data(), content.size());
            if (count <= 0)
                return count == 0 && size == 0;
            const auto bytes = static_cast<std::size_t>(count);
            if (bytes > size
                || file.append(std::string_view(content).substr(0, bytes)) != WriteResult::written)
                return false;
            size -= bytes;
        }
    }

    const Library& library;
    archive* const reader;
    bool isOpen = false;
};

bool limitThisProcess() {
    const rlimit fileSize{maximumFileBytes, maximumFileBytes};
    const rlimit none{0, 0};
    return ::setrlimit(RLIMIT_FSIZE, &fileSize) == 0 && ::setrlimit(RLIMIT_CORE, &none) == 0;
}

} // namespace

bool isPossible() { return Library().isComplete(); }

int run(const fs::path& archive, std::string_view sha256, const fs::path& folder) {
    const auto bytes =
        readRegularFile(archive, static_cast<std::size_t>(UpdateFeed::maximumArchiveBytes));
    if (!limitThisProcess() || !bytes || sha256Hex(*bytes) != sha256)
        return EXIT_FAILURE;
    auto entries = SafeUpdateArchive::validate(*bytes);
    const Library library;
    if (!entries || !library.isComplete()
        || !Reader(library, *bytes).unpack(std::move(*entries), folder))
        return EXIT_FAILURE;
    return EXIT_SUCCESS;
}

} // namespace tallywick::ArchiveExtraction
