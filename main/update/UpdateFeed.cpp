#include "update/UpdateFeed.h"

#include "base/Json.h"

#include <QList>
#include <QString>
#include <QStringDecoder>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <system_error>

namespace tallywick {

namespace {

constexpr std::size_t maximumVersionBytes = 32;
constexpr std::int64_t maximumComponent = 999'999;

std::optional<std::int64_t> component(std::string_view digits) {
    if (digits.empty() || digits.find_first_not_of("0123456789") != std::string_view::npos
        || (digits.size() > 1 && digits.front() == '0'))
        return std::nullopt;
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (error != std::errc{} || value > maximumComponent)
        return std::nullopt;
    return value;
}

using Form = ReleaseVersion::Form;

constexpr std::int64_t schemaVersion = 1;
constexpr std::int64_t maximumBuild = 999'999;
constexpr std::size_t sha256Digits = 64;
constexpr std::size_t maximumNotesBytes = 2'000; // a few lines under the buttons

bool isSha256(std::string_view text) {
    return text.size() == sha256Digits
           && text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

/// Formatting characters count as control characters: they can turn round what the user reads.
bool isControl(char32_t character) {
    const QChar::Category category = QChar::category(character);
    return category == QChar::Other_Control || category == QChar::Other_Format;
}

bool areReleaseNotes(std::string_view text) {
    if (text.size() > maximumNotesBytes)
        return false;
    // A byte order mark is a formatting character like any other, at the beginning too.
    QStringDecoder decode(QStringConverter::Utf8, QStringConverter::Flag::ConvertInitialBom);
    const QString notes = decode(QByteArrayView(text.data(), qsizetype(text.size())));
    return std::ranges::none_of(notes.toUcs4(), [](char32_t character) {
        return character != U'\n' && isControl(character);
    });
}

/// Takes the members of a feed one after another. The first that breaks its rule is remembered;
/// what is taken after it has no meaning.
class FeedReader {
  public:
    explicit FeedReader(const Json& feed) : members(feed) {}

    bool isValid() const { return valid; }

    std::string text(std::string_view key, auto&& isAllowed) {
        const std::string* value = stringMember(members, key);
        valid = valid && value && isAllowed(std::string_view(*value));
        return valid ? *value : std::string();
    }

    std::string version(std::string_view key, Form form) {
        return text(key, [&](std::string_view value) {
            return ReleaseVersion::parse(value, form).has_value();
        });
    }

    void fixedText(std::string_view key, std::string_view expected) {
        text(key, [&](std::string_view value) { return value == expected; });
    }

    std::int64_t integer(std::string_view key, std::int64_t least, std::int64_t most) {
        const auto value = integerValue(member(members, key));
        valid = valid && value && *value >= least && *value <= most;
        return value.value_or(0);
    }

    void isFalse(std::string_view key) { valid = valid && boolMember(members, key) == false; }

    std::vector<std::string> architectures(std::string_view key) {
        const Json* list = member(members, key);
        valid = valid && list && list->is_array() && !list->empty();
        std::vector<std::string> names;
        for (std::size_t i = 0; valid && i < list->size(); ++i) {
            const auto* name = (*list)[i].get_ptr<const std::string*>();
            valid = name && (*name == "arm64" || *name == "x86_64")
                    && std::ranges::find(names, *name) == names.end();
            if (valid)
                names.push_back(*name);
        }
        return names;
    }

  private:
    const Json& members;
    bool valid = true;
};

/// The feed as JSON; absent when something of it would be overlooked.
std::optional<Json> readFeed(std::string_view body) {
    if (body.size() > std::size_t{UpdateFeed::maximumFeedBytes})
        return std::nullopt;
    auto feed = parseJson(body);
    if (!feed || !feed->is_object() || repeatsMemberName(body))
        return std::nullopt;
    return feed;
}

/// A decimal number with or without a sign.
std::optional<std::int64_t> signedInteger(std::string_view text) {
    if (text.starts_with('+')) {
        text.remove_prefix(1);
        if (text.starts_with('-'))
            return std::nullopt;
    }
    std::int64_t value = 0;
    const char* const textEnd = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), textEnd, value);
    if (error != std::errc{} || end != textEnd)
        return std::nullopt;
    return value;
}

} // namespace

std::optional<ReleaseVersion> ReleaseVersion::parse(std::string_view text, Form form) {
    if (text.size() > maximumVersionBytes)
        return std::nullopt;
    ReleaseVersion version;
    std::size_t count = 0;
    for (std::size_t begin = 0; begin <= text.size(); ++count) {
        const std::size_t end = std::min(text.find('.', begin), text.size());
        const auto value = component(text.substr(begin, end - begin));
        if (!value || count == version.components.size())
            return std::nullopt;
        version.components[count] = *value;
        begin = end + 1;
    }
    if (count < (form == Form::threeNumbers ? 3U : 2U))
        return std::nullopt;
    return version;
}

tl::expected<UpdateManifest, UpdateFailure> UpdateManifest::parse(std::string_view body) {
    const auto feed = readFeed(body);
    if (!feed)
        return tl::unexpected(UpdateFailure::invalidFeed);
    FeedReader reader(*feed);
    UpdateManifest manifest;
    reader.integer("schemaVersion", schemaVersion, schemaVersion);
    reader.fixedText("platform", "macos");
    reader.fixedText("bundleIdentifier", Product::bundleIdentifier);
    manifest.version = reader.version("version", Form::threeNumbers);
    manifest.build = reader.integer("build", 1, maximumBuild);
    manifest.minimumSystemVersion = reader.version("minimumSystemVersion", Form::twoOrThreeNumbers);
    manifest.architectures = reader.architectures("architectures");
    manifest.url = UpdateFeed::expectedArchiveURL(manifest.version);
    reader.fixedText("url", manifest.url);
    manifest.bytes = reader.integer("bytes", 1, UpdateFeed::maximumArchiveBytes);
    manifest.sha256 = reader.text("sha256", isSha256);
    reader.fixedText("signing", "ad-hoc");
    reader.isFalse("notarized");
    manifest.releaseNotes = reader.text("releaseNotes", areReleaseNotes);
    if (!reader.isValid())
        return tl::unexpected(UpdateFailure::invalidFeed);
    return manifest;
}

bool UpdateManifest::isCompatible(std::string_view systemVersion,
                                  std::string_view architecture) const {
    const auto minimum = ReleaseVersion::parse(minimumSystemVersion, Form::twoOrThreeNumbers);
    const auto system = ReleaseVersion::parse(systemVersion, Form::twoOrThreeNumbers);
    return minimum && system && *minimum <= *system
           && std::ranges::find(architectures, architecture) != architectures.end();
}

tl::expected<UpdateAssessment, UpdateFailure>
assess(const UpdateManifest& manifest, const RunningCopy& copy, const RunningSystem& system) {
    constexpr auto form = ReleaseVersion::Form::threeNumbers;
    const auto running = ReleaseVersion::parse(copy.version.value_or("0.0.0"), form);
    const auto published = ReleaseVersion::parse(manifest.version, form);
    if (!running || !published)
        return tl::unexpected(UpdateFailure::invalidFeed);
    if (*published < *running)
        return UpdateAssessment::newerInstalled;
    if (*published > *running) {
        if (!manifest.isCompatible(system.version, system.architecture))
            return tl::unexpected(UpdateFailure::incompatible);
        return UpdateAssessment::available;
    }
    const auto runningBuild = signedInteger(copy.build.value_or("0"));
    if (!runningBuild || manifest.build > *runningBuild)
        return tl::unexpected(UpdateFailure::invalidFeed);
    return UpdateAssessment::upToDate;
}

} // namespace tallywick
