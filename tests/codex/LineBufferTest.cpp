#include "codex/LineBuffer.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tallywick {
namespace {

constexpr std::size_t limit = LineBuffer::maximumLine;

/// Takes out every complete line; the last outcome tells why there is no further one.
LineBuffer::Next takeLines(LineBuffer& buffer, std::vector<std::string>& lines) {
    std::string_view line;
    LineBuffer::Next next = buffer.next(line);
    for (; next == LineBuffer::Next::line; next = buffer.next(line))
        lines.emplace_back(line);
    return next;
}

TEST(LineBuffer, GivesTheSameLinesWhereverTheStreamIsCut) {
    const std::string stream = "{\"id\":1}\n\n{\"é\":\"\\n\"}\r\nlast\nunfinished";
    const std::vector<std::string> expected{"{\"id\":1}", "", "{\"é\":\"\\n\"}\r", "last"};
    for (std::size_t first = 0; first <= stream.size(); ++first) {
        for (std::size_t second = first; second <= stream.size(); ++second) {
            LineBuffer buffer;
            std::vector<std::string> lines;
            for (const auto& piece : {stream.substr(0, first), stream.substr(first, second - first),
                                      stream.substr(second)}) {
                buffer.append(piece);
                ASSERT_EQ(takeLines(buffer, lines), LineBuffer::Next::incomplete);
            }
            ASSERT_EQ(lines, expected) << "cut at " << first << " and " << second;
        }
    }
}

TEST(LineBuffer, LimitsTheLengthOfALine) {
    struct Case {
        const char* name;
        std::vector<std::string> pieces;
        std::vector<std::size_t> lineLengths;
        LineBuffer::Next end;
    };
    const std::string longest(limit, 'x');
    const Case cases[] = {
        {"the longest line", {longest + "\n"}, {limit}, LineBuffer::Next::incomplete},
        {"one byte more", {longest + "x\n"}, {}, LineBuffer::Next::oversized},
        {"the longest line without its end", {longest}, {}, LineBuffer::Next::incomplete},
        {"one byte more without its end", {longest, "x"}, {}, LineBuffer::Next::oversized},
        {"a long line behind a short one",
         {"a\n" + longest + "x\n"},
         {1},
         LineBuffer::Next::oversized},
        {"a long unfinished line behind a short one",
         {"a\n" + longest, "x"},
         {1},
         LineBuffer::Next::oversized},
        {"many lines that together exceed what may wait",
         {longest + "\n" + longest + "\n"},
         {},
         LineBuffer::Next::oversized},
    };
    for (const Case& row : cases) {
        SCOPED_TRACE(row.name);
        LineBuffer buffer;
        std::vector<std::string> lines;
        LineBuffer::Next end = LineBuffer::Next::incomplete;
        for (const std::string& piece : row.pieces) {
            buffer.append(piece);
            end = takeLines(buffer, lines);
        }
        std::vector<std::size_t> lengths;
        for (const std::string& line : lines)
            lengths.push_back(line.size());
        EXPECT_EQ(lengths, row.lineLengths);
        EXPECT_EQ(end, row.end);
    }
}

} // namespace
} // namespace tallywick
