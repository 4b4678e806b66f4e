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

UsageSample at(Timestamp time, double used = 40, char digit = 'a', Timestamp reset = weekEnd,
               std::optional<bool> starts = {}) {
    return {now + time, used, reset, std::string(64, digit), starts};
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

TEST(NormalisedHistory, KeepsWhatIsWorthKeeping) {
    const auto expect = [](const char* expected, const Samples& samples) {
        const Samples kept = normalise(samples, now);
        EXPECT_EQ(describe(kept), expected);
        EXPECT_EQ(normalise(kept, now), kept) << expected;
    };
    // The last fourteen days, both ends included.
    expect("a-1209600! a0!",
           {at(-1'209'601), at(-1'209'600), at(0), at(0.5), at(nan), at(-inf), at(inf)});
    EXPECT_TRUE(normalise(Samples{at(inf)}, inf).empty());
    EXPECT_TRUE(normalise(Samples{at(0)}, nan).empty());
    expect("a-8! a-7",
           {at(-9, -0.1), at(-8, 0), at(-7, 100), at(-6, 100.1), at(-5, nan), at(-4, inf)});
    // Resets of the years 2000 to 3000.
    expect("a-8! a-7!", {at(-9, 4, 'a', 946'684'799), at(-8, 4, 'a', 946'684'800),
                         at(-7, 4, 'a', 32'503'680'000), at(-6, 4, 'a', 32'503'680'001)});
    expect("f0! F0! 90!",
           {of(std::string(63, 'a')), of(std::string(65, 'a')), at(0, 40, 'g'), at(0, 40, 'f'),
            at(0, 40, 'F'), at(0, 40, '9'), of(std::string(62, 'a') + "\xC3\xA9")});
    // The first of readings with the same account and time.
    expect("a-5! b-5!", {at(-5, 40), at(-5, 40, 'b'), at(-5, 10), at(-5, 41, 'b'), at(-5, 42)});

    // A segment starts behind more than 30 minutes, a fall in usage or any other reset, and where
    // it did before. Each account has its own.
    expect("a-5401! a-3601 a-1800! a0", {at(0), at(-1'800), at(-5'401), at(-3'601)});
    expect("a-3! a-2! a-1", {at(-3, 40), at(-2, 39.5), at(-1, 41)});
    expect("a-3! a-2! a-1", {at(-3), at(-2, 40, 'a', weekEnd + 1), at(-1, 40, 'a', weekEnd + 1)});
    expect("a-3! a-2! a-1", {at(-3, 40, 'a', weekEnd, false), at(-2, 40, 'a', weekEnd, true),
                             at(-1, 40, 'a', weekEnd, false)});
    expect("a-1900! b-1800! a-1200 b-1100 a-600!",
           {at(-1'900), at(-1'800, 10, 'b'), at(-1'200), at(-1'100, 20, 'b'), at(-600, 30)});

    // Of ten minutes each segment keeps the first and the last.
    expect("a-1201! a-1200 a-601 a-600", {at(-1'201), at(-1'200), at(-900), at(-601), at(-600)});
    expect("a-9! a-7 a-6! a-4",
           {at(-9, 40), at(-8, 41), at(-7, 42), at(-6, 10), at(-5, 11), at(-4, 12)});
}

TEST(NormalisedHistory, TakesTheFirstSampleOfTheOldestSegmentsWhenTheRoomIsShort) {
    Samples all; // 3,000 segments of two
    for (int i = 5'999; i >= 0; --i)
        all.push_back(at(-i * 100, 40, 'a', weekEnd, i % 2 == 1));
    const Samples kept = normalise(all, now);
    ASSERT_EQ(kept.size(), 4'096);
    const std::size_t singles = 6'000 - 4'096;
    for (std::size_t i = 0; i < kept.size(); ++i) {
        ASSERT_EQ(kept[i].timestamp, all[i < singles ? 2 * i + 1 : i + singles].timestamp) << i;
        ASSERT_EQ(kept[i].startsSegment.has_value(), i < singles || i % 2 == 0) << i;
    }
}

TEST(NormalisedHistory, KeepsTheNewestSegmentsOnly) {
    Samples all;
    for (int i = 4'999; i >= 0; --i)
        all.push_back(at(-i * 100, 40, 'a', weekEnd, true));
    const Samples newest(all.end() - 4'096, all.end());
    EXPECT_EQ(normalise(all, now), newest);
}

TEST(SamplesAhead, AreTheNearestThatATrueClockWouldKeep) {
    EXPECT_EQ(describe(samplesAhead(Samples{at(9, 101), at(3), at(3, 10), at(0), at(2, 40, 'b'),
                                            at(3, 40, 'b'), at(-1), at(inf), at(nan),
                                            at(1, 40, 'a', weekEnd, true), of("a")},
                                    now)),
              "a1! b2 a3 b3");
    Samples all;
    for (int i = 5'000; i > 0; --i)
        all.push_back(at(i));
    const Samples ahead = samplesAhead(all, now);
    ASSERT_EQ(ahead.size(), 4'096);
    EXPECT_EQ(ahead.back().timestamp, now + 4'096);
}

TEST(NormalisedHistory, DividesTheRoomEvenlyAndSpreadsEachShare) {
    Samples samples{at(-1'209'600, 40, 'c')}; // and 4,032 of each of two other accounts
    for (int time = -1'209'600; time < 0; time += 600)
        for (const int offset : {1, 599})
            for (const char digit : {'a', 'b'})
                samples.push_back(at(time + offset, 40, digit));
    const Samples kept = normalise(samples, now);
    ASSERT_EQ(kept.size(), 4'096);
    EXPECT_EQ(describe({kept[0], kept[1], kept[2]}), "c-1209600! a-1209599! b-1209599!");
    std::map<std::string, Timestamp> latest;
    for (const UsageSample& sample : kept) {
        const auto entry = latest.try_emplace(sample.accountHash, sample.timestamp).first;
        ASSERT_LE(sample.timestamp, entry->second + 600) << sample.accountHash;
        entry->second = sample.timestamp;
    }
    for (const char digit : {'a', 'b'})
        EXPECT_EQ(latest[std::string(64, digit)], now - 1);
}

} // namespace
} // namespace tallywick
