#include "history/UsageHistory.h"

#include <gtest/gtest.h>

#include <limits>
#include <map>

namespace tallywick {
namespace {

using Samples = std::vector<UsageSample>;

constexpr Timestamp now = 1'800'000'000; // the start of a slot
constexpr Timestamp weekEnd = now + 100'000;
constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

std::string account(char digit) { return std::string(64, digit); }

UsageSample at(Timestamp time, double used = 40, char digit = 'a') {
    return {now + time, used, weekEnd, account(digit), std::nullopt};
}
UsageSample marked(UsageSample sample, bool starts) {
    sample.startsSegment = starts;
    return sample;
}
UsageSample resetting(UsageSample sample, Timestamp reset) {
    sample.reset = reset;
    return sample;
}
UsageSample of(std::string accountHash) { return {now, 40, weekEnd, std::move(accountHash), {}}; }

/// One word for each sample: its account's digit, its time, and "!" where a segment starts.
std::string describe(const Samples& samples) {
    std::string text;
    for (const UsageSample& sample : samples) {
        text += (text.empty() ? "" : " ") + sample.accountHash.substr(0, 1)
                + std::to_string(static_cast<long>(sample.timestamp - now));
        if (sample.startsSegment)
            text += *sample.startsSegment ? "!" : "?";
    }
    return text;
}

TEST(NormalisedHistory, keepsWhatIsWorthKeeping) {
    const struct {
        const char* what;
        Samples samples;
        const char* kept;
    } rows[] = {
        {"nothing", {}, ""},
        {"the last fourteen days, both ends included",
         {at(-1'209'601), at(-1'209'600), at(0), at(0.5), at(3'600)},
         "a-1209600! a0!"},
        {"usage from 0 to 100",
         {at(-9, -0.1), at(-8, 0), at(-7, 100), at(-6, 100.1), at(-5, nan), at(-4, inf)},
         "a-8! a-7"},
        {"resets of the years 2000 to 3000",
         {resetting(at(-9), 946'684'799), resetting(at(-8), 946'684'800),
          resetting(at(-7), 32'503'680'000), resetting(at(-6), 32'503'680'001),
          resetting(at(-5), nan), resetting(at(-4), -inf)},
         "a-8! a-7!"},
        {"times that are numbers", {at(nan), at(-inf), at(inf), at(-1)}, "a-1!"},
        {"hashes of 64 hexadecimal digits",
         {of(std::string(63, 'a')), of(std::string(65, 'a')), of(""), of(account('g')),
          of(account('f')), of(account('F')), of(account('9')), of(account('\0')),
          of(std::string(62, 'a') + "\xC3\xA9")},
         "f0! F0! 90!"},
        {"samples in order, whatever their order was", {at(-1), at(-3), at(-2)}, "a-3! a-1"},
        {"the first of readings with the same account and time",
         {at(-5, 40), at(-5, 40, 'b'), at(-5, 10), at(-5, 41, 'b'), at(-5, 42)},
         "a-5! b-5!"},
        {"a gap of 30 minutes as a line, a longer one as a break",
         {at(-5'401), at(-3'601), at(-1'800), at(0)},
         "a-5401! a-3601 a-1800! a0"},
        {"a fall in usage as a break, a rise as a line",
         {at(-3, 40), at(-2, 39.5), at(-1, 41)},
         "a-3! a-2! a-1"},
        {"any other reset as a break",
         {at(-3), resetting(at(-2), weekEnd + 0.5), resetting(at(-1), weekEnd + 0.5)},
         "a-3! a-2! a-1"},
        {"a break that was one before, and only true as such",
         {marked(at(-3), false), marked(at(-2), true), marked(at(-1), false)},
         "a-3! a-2! a-1"},
        {"the segments of each account for itself",
         {at(-1'900), at(-1'800, 10, 'b'), at(-1'200), at(-1'100, 20, 'b'), at(-600, 30),
          at(-500, 30, 'b')},
         "a-1900! b-1800! a-1200 b-1100 a-600! b-500"},
        {"the first and the last of a slot",
         {at(-9), at(-8), at(-7), at(-6), at(-5), at(-4), at(-3), at(-2), at(-1)},
         "a-9! a-1"},
        {"slots that begin at whole multiples",
         {at(-1'201), at(-1'200), at(-900), at(-601), at(-600)},
         "a-1201! a-1200 a-601 a-600"},
        {"the first and the last of a slot in each segment",
         {at(-9, 40), at(-8, 41), at(-7, 42), at(-6, 10), at(-5, 11), at(-4, 12)},
         "a-9! a-7 a-6! a-4"},
    };
    for (const auto& row : rows) {
        const Samples kept = normalise(row.samples, now);
        EXPECT_EQ(describe(kept), row.kept) << row.what;
        EXPECT_EQ(normalise(kept, now), kept) << row.what;
    }
    EXPECT_TRUE(normalise(Samples{{inf, 40, weekEnd, account('a'), {}}}, inf).empty());
    EXPECT_TRUE(normalise(Samples{at(0)}, nan).empty());
}

/// Segments of equal length, `gap` seconds from sample to sample, the newest one ending now.
Samples equalSegments(int count, int length, Timestamp gap) {
    Samples samples;
    for (int i = count * length - 1; i >= 0; --i)
        samples.push_back(marked(at(-i * gap), (i + 1) % length == 0));
    return samples;
}

TEST(NormalisedHistory, takesTheFirstSampleOfTheOldestSegmentsWhenTheRoomIsShort) {
    const Samples all = equalSegments(3'000, 2, 100);
    const Samples kept = normalise(all, now);
    ASSERT_EQ(kept.size(), 4'096);
    const std::size_t singles = 2 * 3'000 - 4'096;
    for (std::size_t i = 0; i < singles; ++i)
        ASSERT_EQ(kept[i], marked(all[2 * i + 1], true)) << i;
    for (std::size_t i = singles; i < kept.size(); ++i)
        ASSERT_EQ(kept[i].timestamp, all[i + singles].timestamp) << i;
}

TEST(NormalisedHistory, dividesTheRoomEvenlyAndSpreadsEachShare) {
    Samples samples;
    for (int i = 0; i < 2'016; ++i) {
        for (const double offset : {1.0, 599.0}) {
            samples.push_back(at(-1'209'600 + 600.0 * i + offset));
            samples.push_back(at(-1'209'600 + 600.0 * i + offset, 40, 'b'));
            if (600 * i + offset >= 1'199'999)
                samples.push_back(at(-1'209'600 + 600.0 * i + offset, 40, 'c'));
        }
    }
    const Samples kept = normalise(samples, now);
    std::map<char, std::vector<Timestamp>> times;
    for (const UsageSample& sample : kept)
        times[sample.accountHash[0]].push_back(sample.timestamp);
    EXPECT_EQ(times['a'].size(), 2'032);
    EXPECT_EQ(times['b'].size(), 2'031);
    EXPECT_EQ(times['c'].size(), 33);
    EXPECT_EQ(times['a'].front(), now - 1'209'600 + 1);
    EXPECT_EQ(times['a'].back(), now - 1);
    for (std::size_t j = 0; j < 2'032; ++j) {
        const std::size_t position = j * 4'031 / 2'031; // of the account's 4,032
        const std::size_t time = position / 2 * 600 + (position % 2 == 0 ? 1 : 599);
        ASSERT_EQ(times['a'][j], now - 1'209'600 + static_cast<double>(time)) << j;
    }
}

} // namespace
} // namespace tallywick
