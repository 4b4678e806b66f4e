#include "codex/HelperProtocol.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tallywick {
namespace {

/// The lengths of the lines in a stream that comes in pieces; -1 where a limit ends it.
std::vector<long> lengths(const std::vector<std::string>& pieces) {
    LineBuffer buffer;
    std::vector<long> found;
    std::string_view line;
    for (const std::string& piece : pieces) {
        buffer.append(piece);
        LineBuffer::Next next = LineBuffer::Next::line;
        while ((next = buffer.next(line)) == LineBuffer::Next::line)
            found.push_back(static_cast<long>(line.size()));
        if (next == LineBuffer::Next::oversized)
            found.push_back(-1);
    }
    return found;
}

TEST(LineBuffer, GivesTheSameLinesWhereverTheStreamIsCut) {
    const std::string stream = "1\n\n333\r\n4444\nunfinished";
    for (std::size_t first = 0; first <= stream.size(); ++first)
        for (std::size_t length = 0; length <= stream.size() - first; ++length)
            ASSERT_EQ(lengths({stream.substr(0, first), stream.substr(first, length),
                               stream.substr(first + length)}),
                      (std::vector<long>{1, 0, 4, 4}))
                << first << ", " << length;
}

TEST(LineBuffer, LimitsTheLengthOfALineAndWhatMayWait) {
    const long limit = 2'097'152;
    const std::string longest(limit, 'x');
    EXPECT_EQ(lengths({longest, "\n"}), std::vector{limit});
    EXPECT_EQ(lengths({"a\n" + longest}), std::vector{1L});
    EXPECT_EQ(lengths({"a\n" + longest, "x"}), (std::vector{1L, -1L}));
    EXPECT_EQ(lengths({"a\n" + longest + "x\n"}), (std::vector{1L, -1L}));
    EXPECT_EQ(lengths({longest + "\n" + longest.substr(1)}), std::vector{limit});
    EXPECT_EQ(lengths({longest + "\n" + longest}), std::vector{-1L});
}

} // namespace
} // namespace tallywick
