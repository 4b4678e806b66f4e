// The readings: what is worth keeping, what the file holds, what the graph shows.

#include "base/Product.h"
#include "history/HistoryFile.h"
#include "history/HistoryGraphModel.h"
#include "history/HistoryStore.h"
#include "history/Pace.h"
#include "support/TemporaryFolder.h"

#include <cstdlib>
#include <limits>
#include <map>

namespace tallywick {
namespace {

namespace fs = std::filesystem;
using namespace HistoryGraphModel;
using namespace std::string_literals;
using testing::readAll;
using testing::TemporaryFolder;
using testing::writeAll;
using Samples = std::vector<UsageSample>;
using Times = std::vector<Timestamp>;

constexpr Timestamp now = 1'800'000'000; // the start of a slot
constexpr Timestamp weekEnd = now + 500'000;
constexpr Timestamp day = 86'400;
constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();
const std::string alice = std::string(32, 'a') + std::string(32, '1');
const std::string bob(64, 'B');

UsageSample at(Timestamp time, double used = 40, char digit = 'a', Timestamp reset = weekEnd,
               std::optional<bool> starts = {}) {
    return {now + time, used, reset, std::string(64, digit), starts};
}

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
    // What can be: usage, resets of the years 2000 to 3000, hashes.
    expect("a-8! a-7",
           {at(-9, -0.1), at(-8, 0), at(-7, 100), at(-6, 100.1), at(-5, nan), at(-4, inf)});
    expect("a-8!", {at(-9, 4, 'a', 946'684'799), at(-8, 4, 'a', 946'684'800)});
    expect("f0! F0! 90!", {at(0, 40, 'g'), at(0, 40, 'f'), at(0, 40, 'F'), at(0, 40, '9')});
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

TEST(SamplesAhead, AreThoseThatATrueClockWouldKeep) {
    EXPECT_EQ(describe(samplesAhead(Samples{at(9, 101), at(3), at(3, 10), at(0), at(2, 40, 'b'),
                                            at(3, 40, 'b'), at(-1), at(inf), at(nan),
                                            at(1, 40, 'a', weekEnd, true)},
                                    now)),
              "a1! b2 a3 b3");
}

TEST(NormalisedHistory, KeepsTheNewestSegmentsWhenTheRoomIsShort) {
    Samples singles;
    for (int i = 5'999; i >= 0; --i)
        singles.push_back(at(-i * 100, 40, 'a', weekEnd, true));
    EXPECT_EQ(normalise(singles, now), Samples(singles.end() - 4'096, singles.end()));
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

/// The times of samples, counted from `now`.
Times timesOf(const Samples& samples) {
    Times times;
    for (const UsageSample& sample : samples)
        times.push_back(sample.timestamp - now);
    return times;
}

/// A store on a file of its own, and what another one would find there.
class HistoryStoreTest : public ::testing::Test {
  protected:
    Times record(Timestamp time, double used, const std::string& account = alice,
                 Timestamp reset = weekEnd) {
        return timesOf(store.record({used, reset}, account, now + time));
    }
    Times kept(Timestamp time = 0) const {
        return timesOf(HistoryStore(file, now + time).samples());
    }

    TemporaryFolder folder;
    fs::path file = folder / "sub/file";
    HistoryStore store{file, now};
};

TEST_F(HistoryStoreTest, WritesItsFileToTheLetterAndReadsItBack) {
    ::setenv("XDG_DATA_HOME", folder.path().c_str(), 1);
    file = folder / "Corvane Tallywick/usage-history.json";
    store = HistoryStore({}, now);
    EXPECT_EQ(record(0, 40, "a@example.com"), Times{}) << "no hash";
    EXPECT_TRUE(fs::is_empty(folder.path()));

    record(0, 40);
    record(300.1, 41);
    EXPECT_EQ(readAll(file),
              R"([{"accountHash":")" + alice
                  + R"(","reset":822192800.0,"startsSegment":true,"timestamp":821692800.0,)"
                    R"("usedPercent":40.0},{"accountHash":")"
                  + alice
                  + R"(","reset":822192800.0,"timestamp":821693100.0999999,"usedPercent":41.0}])");
    ASSERT_EQ(store.samples().size(), 2);
    EXPECT_EQ(HistoryStore({}, now + 301).samples(), store.samples());
}

TEST_F(HistoryStoreTest, RecordsWhatSaysSomethingNew) {
    const auto isNew = [&](Timestamp time, double used, Timestamp reset = weekEnd) {
        fs::remove(file);
        store = HistoryStore(file, now);
        record(-10, 40, bob); // somebody else's reading changes nothing
        record(0, 40);
        const std::string before = readAll(file);
        const bool isStored = record(time, used, alice, reset).size() == 2;
        EXPECT_EQ(readAll(file) != before, isStored);
        return isStored;
    };
    EXPECT_FALSE(isNew(299, 40));
    EXPECT_TRUE(isNew(300, 40));
    EXPECT_FALSE(isNew(-900, 40)) << "the clock was set back";
    EXPECT_FALSE(isNew(120, 41));
    EXPECT_TRUE(isNew(120, 39));
    EXPECT_FALSE(isNew(120, 40, weekEnd + 0.5));
    EXPECT_TRUE(isNew(120, 40, weekEnd - 1));
}

TEST_F(HistoryStoreTest, LoadsOnlyAWholeHistory) {
    const std::string sample =
        R"({"accountHash":")" + alice
        + R"(","reset":822192800,"startsSegment":true,"timestamp":821692800,"usedPercent":40})";
    const auto with = [&](const std::string& old, const std::string& replacement) {
        return "," + std::string(sample).replace(sample.find(old), old.size(), replacement);
    };
    const auto isWhole = [&](const std::string& rest) {
        writeAll(file, "[" + sample + rest + "]");
        return kept() == Times{0};
    };
    fs::create_directory(file.parent_path());
    const std::string room(2'097'152 - sample.size() - 2, ' ');
    for (const std::string& rest :
         {room, with("40}", "101}"), with(R"("startsSegment":true,)", "")})
        EXPECT_TRUE(isWhole(rest)) << rest;
    for (const std::string& rest :
         {room + " ", with("true", "null"), with("accountHash", "account"), with("40}", "true}"),
          ",7"s, "]"s})
        EXPECT_FALSE(isWhole(rest)) << rest;
    record(0, 50);
    EXPECT_EQ(kept(), Times{0}) << "it gives way to the next reading";
}

TEST_F(HistoryStoreTest, KeepsInMemoryWhatItCannotWrite) {
    writeAll(folder / "sub", "in the way of the folder");
    record(0, 40);
    fs::remove(folder / "sub");
    EXPECT_EQ(record(300, 41), (Times{0, 300}));
    EXPECT_EQ(kept(300), (Times{0, 300}));
    store.leaveFile();
    fs::remove_all(folder / "sub");
    EXPECT_EQ(record(600, 42).size(), 3);
    store.persist(true);
    EXPECT_TRUE(fs::is_empty(folder.path()));
}

TEST_F(HistoryStoreTest, PrunesAtMostOnceAnHourAndWritesOnlyChanges) {
    const auto prune = [&](Timestamp time, bool force = false) {
        fs::remove(file);
        store.prune(now + time, force);
        return store.samples().size();
    };
    record(0, 40);
    const Timestamp expiry = historyRetention + 1;
    record(expiry - 3'599, 40, bob, weekEnd + historyRetention); // a pass, too
    EXPECT_EQ(prune(expiry), 2) << "no pass yet";
    EXPECT_EQ(prune(expiry + 1), 1) << "an hour later to the second";
    EXPECT_EQ(kept(expiry), Times{expiry - 3'599});
    EXPECT_EQ(prune(expiry - 3'598, true), 1) << "the previous pass lies ahead";
    EXPECT_FALSE(fs::exists(file)) << "a pass that finds nothing to change";
}

TEST_F(HistoryStoreTest, KeepsTheReadingsOfAllProgramsOnOneFile) {
    HistoryStore watch(file, now);
    record(0, 40);
    watch.record({40, weekEnd}, bob, now + 1);
    EXPECT_EQ(timesOf(watch.record({40, weekEnd}, alice, now + 2)), Times{0}) << "a repetition";
    record(302, 41);
    EXPECT_EQ(timesOf(store.samples()), (Times{0, 1, 302}));
    auto another = FileLock::tryToTake(file.native() + ".lock");
    ASSERT_TRUE(another);
    EXPECT_EQ(timesOf(watch.record({41, weekEnd}, bob, now + 303)), (Times{1, 303}));
    EXPECT_EQ(kept(303), (Times{0, 1, 302})) << "another program is about to write";
    another.reset();
    watch.record({42, weekEnd}, bob, now + 604);
    EXPECT_EQ(kept(604), (Times{0, 1, 302, 303, 604}));
}

TEST_F(HistoryStoreTest, LosesNothingToAClockThatIsWrong) {
    Times times;
    for (Timestamp time = -13 * day; time <= 0; time += day / 2) {
        times.push_back(time);
        record(time, 40, alice, now + time + day);
    }
    Times all = times;
    all.push_back(60);
    const std::string before = readAll(file);
    const std::pair<Timestamp, Timestamp> wrongClocks[] = {
        {31'536'000, 31'536'000 + day}, // a service of the same opinion
        {Product::releaseTime - 1, Product::releaseTime},
        {weekEnd - 8 * day - 1, weekEnd},
        {weekEnd + day + 1, weekEnd},
        {now + 20 * day, weekEnd}};
    for (const auto& [wrong, reset] : wrongClocks) {
        SCOPED_TRACE(wrong);
        writeAll(file, before);
        store = HistoryStore(file, wrong);
        const auto visible = store.samples();
        store.prune(wrong, true);
        EXPECT_EQ(store.record({41, reset}, alice, wrong), visible);
        store.prune(now, true);
        EXPECT_EQ(readAll(file), before);
        EXPECT_EQ(record(60, 40, alice, now + day), times) << "a repetition";
        EXPECT_EQ(record(60, 41), all) << "right by now";
        for (const Timestamp leap : {wrong, now + 60 + 4'000}) {
            store.prune(leap, true);
            store.record({42, leap - 2 * day}, alice, leap);
            EXPECT_EQ(timesOf(store.samples()), all) << "it leaps while the program runs";
        }
        EXPECT_EQ(kept(60), all);
    }
}

TEST_F(HistoryStoreTest, KeepsWhatLiesAheadUnseen) {
    record(0, 40);
    record(4'000, 41);
    // The clock is set back, and still right as far as a reading can show.
    EXPECT_EQ(record(-86'000, 41), Times{-86'000});
    EXPECT_EQ(record(-85'699, 41), (Times{-86'000, -85'699}));
    EXPECT_EQ(kept(), (Times{-86'000, -85'699, 0}));
    EXPECT_EQ(record(4'301, 43), (Times{-86'000, -85'699, 0, 4'000, 4'301}));
}

TEST(HistoryFile, HasRoomForTheLongestHistory) {
    Samples samples;
    for (std::size_t i = 0; i < maximumSamples + maximumSamplesAhead; ++i)
        samples.push_back({1.2345678901234567e300 * static_cast<double>(i + 1),
                           1.2345678901234567e-300, 32'503'679'999.999996, alice, true});
    const std::string text = encodeHistory(samples);
    EXPECT_LT(text.size(), maximumHistoryBytes);
    EXPECT_EQ(decodeHistory(text), samples);
}

TEST(HistoryGraphModel, ShowsTheSamplesOfTheCurrentWeekInTheirOrder) {
    const Timestamp start = weekEnd - now - week;
    // The file has them in the order of their times; those of one time keep theirs.
    const Samples samples{at(0, 3), at(-60, 1), at(-60, 2), at(start, 0),
                          at(0, 4, 'a', weekEnd + 0.5),
                          // not shown
                          at(1), at(start - 1), at(0, 40, 'a', weekEnd + 1), at(0, 100.1),
                          at(0, -0.1), at(0, nan), at(nan)};
    EXPECT_EQ(weekSamples(samples, now, weekEnd),
              (Samples{samples[3], samples[1], samples[2], samples[0], samples[4]}));
    EXPECT_EQ(weekSamples(Samples{at(1, 40, 'a', now)}, now + 60, now), Samples{});
    // Without a reset, those of the last seven days.
    EXPECT_EQ(weekSamples(Samples{at(-week - 1), at(-week), at(1)}, now, {}), Samples{at(-week)});
}

TEST(HistoryGraphModel, PutsThemWhereTimeAndUsageSay) {
    const Samples samples{at(-week, 0, 'a', now), at(-week / 2, 50, 'a', now),
                          at(0, 100, 'a', now)};
    const auto locations = [&](std::optional<Timestamp> end, QSizeF area) {
        std::vector<QPointF> found;
        for (const HistoryGraphPoint& point : points(graph(samples, now, end), area))
            found.push_back(point.location);
        return found;
    };
    EXPECT_EQ(locations(now, {206, 36}), (std::vector<QPointF>{{3, 33}, {103, 18}, {203, 3}}));
    EXPECT_EQ(locations({}, {5, 0}), std::vector(3, QPointF(3, 3)));
}

TEST(HistoryGraphModel, JoinsOnlyWhatWasObservedInOnePiece) {
    const auto isJoined = [](const UsageSample& next) {
        const auto shown = graph(Samples{at(-3'600), next}, now, {}).points;
        EXPECT_TRUE(shown.at(0).startsSegment);
        return !shown.at(1).startsSegment;
    };
    EXPECT_TRUE(isJoined(at(-1'800, 40, 'a', weekEnd + 0.5)));
    for (const UsageSample& next : {at(-1'799), at(-1'800, 39.9), at(-1'800, 40, 'a', weekEnd + 1),
                                    at(-1'800, 40, 'b'), at(-1'800, 40, 'a', weekEnd, true)})
        EXPECT_FALSE(isJoined(next));
}

TEST(HistoryGraphModel, FindsTheReadingOfAPlaceUnlessItIsInAGap) {
    const auto hour = 3'600 / week;
    const HistoryGraph shown = graph(Samples{at(-7'200, 10), at(-5'400, 20), at(0, 37)}, now, {});
    const std::tuple<double, std::optional<double>> rows[] = {
        {1 - 3 * hour, {}},    // before the first
        {1 - 2.05 * hour, 10}, // within reach of it
        {1 - 1.8 * hour, 10},  // on the line
        {1 - 1.7 * hour, 20},
        {1 - 1.3 * hour, {}}, // between two that no line joins
        {1, 37},
    };
    for (const auto& [place, used] : rows) {
        const auto point = pointNear(shown, place, 0.1 * hour);
        ASSERT_EQ(point.has_value(), used.has_value()) << place;
        if (point) {
            EXPECT_NEAR(readingOf(shown, *point).usedPercent, *used, 1e-9) << place;
        }
    }
    EXPECT_NEAR(readingOf(shown, 1).time, now - 5'400, 1e-3);
    EXPECT_EQ(pointNear({}, 0.5, 1), std::nullopt);
}

TEST(Pace, ComparesWithAnEvenWeekAndGoesOnAtTheRateOfADay) {
    constexpr Timestamp hour = 3'600;
    struct Row {
        const char* description;
        Timestamp left; ///< until the reset
        double used;
        Samples samples; ///< before the reading, which is of `now`
        std::optional<double> ahead;
        std::optional<Timestamp> lasts; ///< from now on
    };
    const auto reset = [](Timestamp left) { return now + left; };
    const auto seen = [&](Timestamp left, Timestamp ago, double used) {
        return at(-ago, used, 'a', reset(left));
    };
    const Timestamp half = week / 2;
    const Row rows[] = {
        {"too few readings", half, 43, {seen(half, 2 * hour, 40)}, -7, {}},
        {"too short", half, 43, {seen(half, 3'599, 40), seen(half, 60, 41)}, -7, {}},
        {"of another week", half, 43, {seen(half + 1, 2 * hour, 40), seen(half, 60, 41)}, -7, {}},
        {"a steady day", half, 60, {seen(half, day, 40), seen(half, hour, 59)}, 10, 2 * day},
        {"until the reset", half, 60, {seen(half, day, 50), seen(half, hour, 59)}, 10, half},
        {"nothing used", half, 60, {seen(half, day, 60), seen(half, hour, 60)}, 10, half},
        {"taken back", half, 60, {seen(half, day, 70), seen(half, hour, 60)}, 10, half},
        {"used up", half, 100, {seen(half, day, 70), seen(half, hour, 90)}, 50, {}},
        // 84 hours at 0.5 an hour, but for the last one: 11.5 and 8 in a day.
        {"one busy hour",
         half,
         50,
         {seen(half, hour, 41.5), seen(half, 60, 50)},
         0,
         50 / ((8.5 + 23 * 0.5) / day)},
        // Of the first day only two hours are known; the others count as even.
        {"a young week",
         week - 2 * hour,
         10,
         {seen(week - 2 * hour, hour, 5), seen(week - 2 * hour, 60, 9)},
         10 - 100.0 / 84,
         90 / ((10 + 22 * 100.0 / 168) / day)},
        {"the week is over", 0, 60, {}, {}, {}},
        {"it has not begun", week + 1, 60, {}, {}, {}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.description);
        const auto pace = paceOf({row.used, reset(row.left)}, now, row.samples);
        ASSERT_EQ(pace.has_value(), row.ahead.has_value());
        if (!pace)
            continue;
        EXPECT_NEAR(pace->ahead, *row.ahead, 0.01);
        EXPECT_EQ(pace->isUsedUp, row.used == 100);
        ASSERT_EQ(pace->lastsUntil.has_value(), row.lasts.has_value());
        if (row.lasts) {
            EXPECT_NEAR(*pace->lastsUntil - now, *row.lasts, 1);
        }
    }
}

} // namespace
} // namespace tallywick
