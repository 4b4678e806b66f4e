#include "update/HttpResponse.h"

#include "base/WholeNumber.h"

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

namespace tallywick {

namespace {

using Outcome = tl::expected<void, UpdateFailure>;
using Failure = tl::unexpected<UpdateFailure>;

constexpr int statusOk = 200;
constexpr int redirects[] = {301, 302, 303, 307, 308};
constexpr std::size_t maximumChunkLineBytes = 256; // a number, and extensions that nobody uses

constexpr std::string_view tokenCharacters =
    "!#$%&'*+-.^_`|~0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";

std::string lowerCase(std::string_view text) {
    std::string lower(text);
    for (char& letter : lower) {
        if (letter >= 'A' && letter <= 'Z')
            letter = static_cast<char>(letter - 'A' + 'a');
    }
    return lower;
}

std::string_view trimmed(std::string_view text) {
    const std::size_t begin = std::min(text.find_first_not_of(" \t"), text.size());
    const std::size_t end = text.find_last_not_of(" \t") + 1;
    return text.substr(begin, std::max(begin, end) - begin);
}

/// Carriage returns, line feeds and NULs of which another reader might make something else.
bool holdsControls(std::string_view text) {
    return std::ranges::any_of(text, [](char character) {
        const auto code = static_cast<unsigned char>(character);
        return (code < 0x20 && character != '\t') || code == 0x7F;
    });
}

/// The lines of a head. A number that does not fit is as good as the largest that does.
class Head {
  public:
    /// False when the first line is not one of HTTP/1, or another is no header.
    bool parse(std::string_view lines) {
        const auto takeLine = [&] {
            const std::string_view line = lines.substr(0, lines.find('\n'));
            lines.remove_prefix(line.size() + 1);
            return line;
        };
        if (lines.empty() || !parseStatus(takeLine()))
            return false;
        while (!lines.empty()) {
            if (!parseHeader(takeLine()))
                return false;
        }
        return true;
    }

    /// The first line: "HTTP/1.1 200 OK", with or without the words.
    bool parseStatus(std::string_view line) {
        constexpr std::size_t codeBegin = 9, codeEnd = 12;
        if (!line.starts_with("HTTP/1.") || line.size() < codeEnd || line[codeBegin - 1] != ' '
            || (line.size() > codeEnd && line[codeEnd] != ' '))
            return false;
        isFirstVersion = line[codeBegin - 2] == '0';
        const auto code = wholeNumber<std::uint64_t>(line.substr(codeBegin, codeEnd - codeBegin));
        status = static_cast<int>(code.value_or(0));
        return status >= 100;
    }

    bool isInterim() const { return status < statusOk && status != 101; }

    bool isRedirect() const {
        return std::ranges::count(redirects, status) > 0 && !values("location").empty();
    }
    bool isOk() const { return status == statusOk; }

    /// How the body is sent; false when that contradicts itself or is not understood.
    bool parseFraming() {
        const auto codings = values("transfer-encoding");
        const auto lengths = values("content-length");
        isChunked = !codings.empty();
        if (isChunked)
            return codings.size() == 1 && lowerCase(codings[0]) == "chunked" && lengths.empty()
                   && !isFirstVersion;
        if (lengths.empty())
            return true;
        const std::string_view digits = lengths[0];
        if (digits.empty() || digits.find_first_not_of("0123456789") != std::string_view::npos
            || std::ranges::any_of(lengths, [&](auto other) { return other != digits; }))
            return false;
        length = wholeNumber<std::uint64_t>(digits).value_or(UINT64_MAX);
        return true;
    }

    bool isEncoded() const {
        return std::ranges::any_of(values("content-encoding"), [](std::string_view coding) {
            return lowerCase(coding) != "identity";
        });
    }

    bool isChunked = false;
    std::optional<std::uint64_t> length; ///< as announced

  private:
    bool parseHeader(std::string_view line) {
        const std::size_t colon = line.find(':');
        const std::string_view name = line.substr(0, colon);
        if (colon == std::string_view::npos || name.empty()
            || name.find_first_not_of(tokenCharacters) != std::string_view::npos)
            return false;
        headers.emplace_back(lowerCase(name), trimmed(line.substr(colon + 1)));
        return true;
    }

    std::vector<std::string_view> values(std::string_view name) const {
        std::vector<std::string_view> found;
        for (const auto& [header, value] : headers) {
            if (header == name)
                found.push_back(value);
        }
        return found;
    }

    int status = 0;
    bool isFirstVersion = false; ///< HTTP/1.0
    std::vector<std::pair<std::string, std::string_view>> headers;
};

} // namespace

HttpResponse::HttpResponse(std::int64_t maximumBody, BodySink sink)
    : maximum(static_cast<std::uint64_t>(std::max<std::int64_t>(maximumBody, 0))),
      takeBody(std::move(sink)) {}

Outcome HttpResponse::read(std::string_view bytes) {
    while (!bytes.empty() && !isComplete()) {
        const bool isBody = expected == Part::knownLength || expected == Part::untilClose
                            || expected == Part::chunk;
        if (const Outcome outcome = isBody ? readBody(bytes) : readLine(bytes); !outcome)
            return outcome;
    }
    return {};
}

Outcome HttpResponse::endOfInput() {
    if (expected == Part::untilClose)
        expected = Part::nothing;
    return isComplete() ? Outcome{} : Failure(UpdateFailure::offline);
}

Outcome HttpResponse::readLine(std::string_view& bytes) {
    const bool isOfHead = expected == Part::head || expected == Part::trailers;
    const std::size_t end = bytes.find('\n');
    const std::string_view piece = bytes.substr(0, end == std::string_view::npos ? end : end + 1);
    line += piece;
    bytes.remove_prefix(piece.size());
    if (isOfHead)
        headBytes += piece.size();
    if (headBytes > maximumHeadBytes)
        return Failure(UpdateFailure::oversized);
    if (!isOfHead && line.size() > maximumChunkLineBytes)
        return Failure(UpdateFailure::server);
    if (end == std::string_view::npos)
        return {};
    std::string text = std::exchange(line, {});
    if (!text.ends_with("\r\n"))
        return Failure(UpdateFailure::server);
    text.resize(text.size() - 2);
    if (holdsControls(text))
        return Failure(UpdateFailure::server);
    return acceptLine(text);
}

Outcome HttpResponse::acceptLine(const std::string& text) {
    switch (expected) {
    case Part::chunkSize:
        return acceptChunkSize(text);
    case Part::chunkEnd:
        expected = Part::chunkSize;
        return text.empty() ? Outcome{} : Failure(UpdateFailure::server);
    case Part::trailers:
        if (text.empty())
            expected = Part::nothing;
        return {};
    default:
        break;
    }
    if (text.empty())
        return acceptHead(std::exchange(head, {}));
    if (head.empty() && !Head().parseStatus(text)) // rather than wait for more of it
        return Failure(UpdateFailure::server);
    head += text + '\n';
    return {};
}

Outcome HttpResponse::acceptHead(const std::string& lines) {
    Head parsed;
    if (!parsed.parse(lines))
        return Failure(UpdateFailure::server);
    if (parsed.isInterim())
        return {};
    if (parsed.isRedirect())
        return Failure(UpdateFailure::redirect);
    if (!parsed.isOk() || parsed.isEncoded() || !parsed.parseFraming())
        return Failure(UpdateFailure::server);
    if (parsed.length.value_or(0) > maximum)
        return Failure(UpdateFailure::oversized);
    partBytes = parsed.length.value_or(0);
    expected = parsed.isChunked ? Part::chunkSize
               : !parsed.length ? Part::untilClose
               : partBytes == 0 ? Part::nothing
                                : Part::knownLength;
    return {};
}

Outcome HttpResponse::acceptChunkSize(std::string_view text) {
    constexpr int hexadecimal = 16;
    const std::string_view digits = trimmed(text.substr(0, text.find(';')));
    if (digits.empty() || digits.find_first_not_of("0123456789abcdefABCDEF") != digits.npos)
        return Failure(UpdateFailure::server);
    partBytes = wholeNumber<std::uint64_t>(digits, hexadecimal).value_or(UINT64_MAX);
    if (partBytes > maximum - bodyBytes)
        return Failure(UpdateFailure::oversized);
    expected = partBytes == 0 ? Part::trailers : Part::chunk;
    return {};
}

Outcome HttpResponse::readBody(std::string_view& bytes) {
    const bool hasEnd = expected != Part::untilClose;
    const std::string_view piece = bytes.substr(0, hasEnd ? partBytes : bytes.size());
    if (piece.size() > maximum - bodyBytes)
        return Failure(UpdateFailure::oversized);
    bodyBytes += piece.size();
    if (const Outcome outcome = takeBody(piece); !outcome)
        return outcome;
    bytes.remove_prefix(piece.size());
    if (!hasEnd)
        return {};
    partBytes -= piece.size();
    if (partBytes == 0)
        expected = expected == Part::chunk ? Part::chunkEnd : Part::nothing;
    return {};
}

} // namespace tallywick
