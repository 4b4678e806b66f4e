#pragma once

#include "update/UpdateFailure.h"

#include <tl/expected.hpp>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace tallywick {

/// Reads the answer to one GET (RFC 9112, HTTP/1.1) as its bytes come in, in pieces of any size.
/// One thread; it knows no socket.
///
/// Only a plain 200 is taken. A redirect is `redirect`; another status, and whatever is no HTTP,
/// contradicts itself or is encoded, is `server`. More than `maximumHeadBytes` of headers, and a
/// body that announces or brings more than it may, are `oversized`. After a failure nothing more is
/// to be read.
class HttpResponse {
  public:
    /// Of all headers together: those of interim answers and behind the body count too.
    static constexpr std::size_t maximumHeadBytes = 65'536;

    /// Takes a piece of the body, never an empty one. Its failure ends the reading.
    using BodySink = std::function<tl::expected<void, UpdateFailure>(std::string_view)>;

    /// The body may have `maximumBody` bytes. A piece that goes beyond reaches no sink.
    HttpResponse(std::int64_t maximumBody, BodySink sink);

    /// Reads the next bytes. What follows the end of the answer is not looked at.
    tl::expected<void, UpdateFailure> read(std::string_view bytes);

    /// The connection has ended, and brings no more. An answer that is not whole is `offline`. A
    /// body of unknown length ends here: whether all of it came, only its reader can tell.
    tl::expected<void, UpdateFailure> endOfInput();

    /// Whether the answer was read to its end.
    bool isComplete() const { return expected == Part::nothing; }

  private:
    using Outcome = tl::expected<void, UpdateFailure>;
    enum class Part {
        head,
        knownLength,
        untilClose,
        chunkSize,
        chunk,
        chunkEnd,
        trailers,
        nothing
    };

    Outcome readLine(std::string_view& bytes);
    Outcome acceptLine(const std::string& text);
    Outcome acceptHead(const std::string& lines);
    Outcome acceptChunkSize(std::string_view text);
    Outcome readBody(std::string_view& bytes);

    Part expected = Part::head;  ///< what comes next
    std::string line;            ///< its beginning, as far as it came
    std::string head;            ///< its lines, as far as they came
    std::size_t headBytes = 0;   ///< of all headers so far
    std::uint64_t bodyBytes = 0; ///< of the body so far
    std::uint64_t partBytes = 0; ///< that the body, or its chunk, still has to bring
    const std::uint64_t maximum; ///< of the body
    const BodySink takeBody;
};

} // namespace tallywick
