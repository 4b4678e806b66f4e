#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tallywick {

/// Splits a stream of bytes into lines that end in a line feed, whatever the pieces in which it
/// comes. Work is linear in the bytes; memory is bounded by `maximumBuffered`.
class LineBuffer {
  public:
    /// Longest line, without its line feed: the longest answers of a helper are below a tenth of
    /// it.
    static constexpr std::size_t maximumLine = 2'097'152;
    /// Most bytes that may wait, after a piece was appended.
    static constexpr std::size_t maximumBuffered = 4'194'304;

    enum class Next {
        line,       ///< a line was taken out
        incomplete, ///< the next line has not arrived yet
        oversized   ///< a limit was exceeded: the stream is of no more use
    };

    /// Appends a piece. Lines that `next` gave before are no longer valid.
    void append(std::string_view piece);

    /// Takes out the next line, without its line feed.
    Next next(std::string_view& line);

  private:
    std::string buffer;
    std::size_t lineStart = 0; ///< everything before it was taken out
    std::size_t searched = 0;  ///< no line feed stands between `lineStart` and here
};

} // namespace tallywick
