#include "platform/bundle/linux/CodeSignature.h"

#include "base/CanonicalPath.h"
#include "base/Ed25519.h"
#include "base/Product.h"
#include "base/PropertyList.h"
#include "base/Sha256.h"
#include "platform/bundle/CodeSignature.h"
#include "platform/files/FileAccess.h"
#include "platform/linux/Descriptors.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <string_view>
#include <system_error>
#include <vector>

namespace tallywick {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view filesKey = "files";
constexpr std::string_view signatureKey = "signature";
/// Begins what is signed, so that the signature of anything else is none of a seal.
constexpr std::string_view signedContext = "Tallywick seal, version 1";

/// The digest of a regular file of at most `allowance` bytes, which is lowered by the file's size.
std::optional<std::string> fileDigest(const fs::path& path, std::uintmax_t& allowance) {
    const UniqueFd file(
        ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY));
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)
        || static_cast<std::uintmax_t>(status.st_size) > allowance)
        return std::nullopt;
    Sha256 digest;
    std::array<char, 65'536> piece;
    for (;;) {
        const ssize_t count =
            uninterrupted([&] { return ::read(file.get(), piece.data(), piece.size()); });
        if (count < 0)
            return std::nullopt;
        if (count == 0)
            return digest.hexDigest();
        const auto length = static_cast<std::size_t>(count);
        if (length > allowance) // the file grows as it is read
            return std::nullopt;
        allowance -= length;
        digest.add({piece.data(), length});
    }
}

bool isSealableFolder(const fs::path& folder, int depth) {
    std::error_code error;
    return depth < maximumSealedDepth && !fs::is_empty(folder, error) && !error;
}

class SealCheck final : public CodeSignature {
  public:
    explicit SealCheck(std::span<const std::string_view> makerKeys)
        : keys(makerKeys.begin(), makerKeys.end()) {}

    bool isValid(const fs::path& bundle) const override {
        if (!isCanonicalPath(bundle))
            return false;
        const auto seal = readSeal(bundle);
        return seal && sealedFiles(bundle) == seal->files && (keys.empty() || isSigned(*seal));
    }

  private:
    bool isSigned(const Seal& seal) const {
        return seal.signature && std::ranges::any_of(keys, [&](const std::string& key) {
                   return isSignedWith(key, signedText(seal.files), *seal.signature);
               });
    }

    const std::vector<std::string> keys;
};

} // namespace

std::optional<SealedFiles> sealedFiles(const fs::path& bundle) {
    const fs::path root = standardisedPath(bundle);
    SealedFiles files;
    std::uintmax_t allowance = maximumSealedBytes;
    std::error_code error;
    fs::recursive_directory_iterator entry(root, error);
    for (; !error && entry != end(entry); entry.increment(error)) {
        const fs::path path = entry->path();
        const fs::file_status status = entry->symlink_status(error);
        if (error)
            break;
        if (fs::is_directory(status)) {
            if (!isSealableFolder(path, entry.depth()))
                return std::nullopt;
            continue;
        }
        if (!fs::is_regular_file(status))
            return std::nullopt;
        std::string name = path.lexically_relative(root).native();
        if (name == sealPath)
            continue;
        auto digest = fileDigest(path, allowance);
        if (!digest || files.size() == maximumSealedFiles)
            return std::nullopt;
        files.emplace(std::move(name), *std::move(digest));
    }
    if (error)
        return std::nullopt;
    return files;
}

std::optional<Seal> readSeal(const fs::path& bundle) {
    const auto text =
        readRegularFile(standardisedPath(bundle) / sealPath, maximumPropertyListBytes);
    const auto list = text ? parsePropertyList(*text) : std::nullopt;
    const Json* const listed = list ? objectMember(*list, filesKey) : nullptr;
    if (!listed)
        return std::nullopt;
    Seal seal;
    for (const auto& [path, digest] : listed->items()) {
        const auto* const digits = digest.get_ptr<const std::string*>();
        if (!digits)
            return std::nullopt;
        seal.files.emplace(path, *digits);
    }
    if (const std::string* const signature = stringMember(*list, signatureKey))
        seal.signature = *signature;
    return seal;
}

std::string signedText(const SealedFiles& files) {
    constexpr char end = '\0';
    std::string text = std::string(signedContext) + end + Product::bundleIdentifier + end;
    for (const auto& [path, digest] : files)
        text.append(digest).append("  ").append(path) += end;
    return text;
}

bool sealBundle(const fs::path& bundle, const SigningKey* key) {
    const auto files = sealedFiles(bundle);
    if (!files)
        return false;
    Json list{{filesKey, *files}};
    if (key)
        list[std::string(signatureKey)] = key->sign(signedText(*files));
    const fs::path place = standardisedPath(bundle) / sealPath;
    std::error_code error;
    fs::create_directories(place.parent_path(), error);
    std::ofstream stream(place, std::ios::binary | std::ios::trunc);
    stream << writePropertyList(list);
    stream.close();
    const auto seal = stream ? readSeal(bundle) : std::nullopt;
    return seal && seal->files == files && seal->signature.has_value() == (key != nullptr);
}

std::unique_ptr<CodeSignature> systemCodeSignature() {
    return std::make_unique<SealCheck>(std::span<const std::string_view>());
}

std::unique_ptr<CodeSignature> releaseCodeSignature(std::span<const std::string_view> makerKeys) {
    return std::make_unique<SealCheck>(makerKeys);
}

} // namespace tallywick
