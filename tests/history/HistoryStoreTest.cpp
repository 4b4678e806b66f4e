#include "history/HistoryStore.h"

#include "base/Product.h"
#include "history/HistoryFile.h"
#include "support/TemporaryFolder.h"

#include <cstdlib>

namespace tallywick {
namespace {

namespace fs = std::filesystem;
using testing::readAll;
using testing::TemporaryFolder;
using testing::writeAll;

constexpr Timestamp now = 1'800'000'000.25;
constexpr Timestamp weekEnd = 1'800'500'000;
const std::string alice = std::string(32, 'a') + std::string(32, '1');
const std::string bob(64, 'B');

TEST(HistoryStore, WritesItsFileToTheLetterAndReadsItBack) {
    const TemporaryFolder folder;
    ::setenv("XDG_DATA_HOME", (folder / "data").c_str(), 1);
    HistoryStore store({}, now);
    for (const char* unhashed : {"", "a@example.com"})
        EXPECT_TRUE(store.record({40, weekEnd}, unhashed, now).empty());
    EXPECT_TRUE(fs::is_empty(folder.path()));

    store.record({40, weekEnd}, alice, now);
    store.record({41, weekEnd}, alice, now + 300.1);
    EXPECT_EQ(readAll(folder / "data/Corvane Tallywick/usage-history.json"),
              R"([{"accountHash":")" + alice
                  + R"(","reset":822192800.0,"startsSegment":true,"timestamp":821692800.25,)"
                    R"("usedPercent":40.0},{"accountHash":")"
                  + alice
                  + R"(","reset":822192800.0,"timestamp":821693100.3499999,"usedPercent":41.0}])");
    ASSERT_EQ(store.samples().size(), 2);
    EXPECT_EQ(HistoryStore({}, now + 301).samples(), store.samples());
}

TEST(HistoryStore, RecordsWhatSaysSomethingNew) {
    const auto stores = [](Timestamp later, const Quota& quota) {
        const TemporaryFolder folder;
        HistoryStore store(folder / "file", now);
        store.record({40, weekEnd}, bob, now - 10); // somebody else's reading changes nothing
        store.record({40, weekEnd}, alice, now);
        const std::string before = readAll(folder / "file");
        const bool isNew = store.record(quota, alice, now + later).size() == 2;
        EXPECT_EQ(readAll(folder / "file") != before, isNew);
        return isNew;
    };
    EXPECT_FALSE(stores(299, {40, weekEnd}));
    EXPECT_TRUE(stores(300, {40, weekEnd}));
    EXPECT_FALSE(stores(-900, {40, weekEnd})) << "the clock was set back";
    EXPECT_FALSE(stores(120, {41, weekEnd}));
    EXPECT_TRUE(stores(120, {39, weekEnd}));
    EXPECT_FALSE(stores(120, {40, weekEnd + 0.5}));
    EXPECT_TRUE(stores(120, {40, weekEnd - 1}));
}

TEST(HistoryStore, LoadsOnlyAWholeHistory) {
    const std::string sample =
        R"({"accountHash":")" + alice
        + R"(","reset":822192800,"startsSegment":true,"timestamp":821692800.25,"usedPercent":40})";
    const auto with = [&](const std::string& old, const std::string& replacement) {
        return "," + std::string(sample).replace(sample.find(old), old.size(), replacement);
    };
    const auto isWhole = [&](const std::string& rest) {
        const TemporaryFolder folder;
        const std::string text = "[" + sample + rest + "]";
        writeAll(folder / "file", text);
        HistoryStore store(folder / "file", now);
        EXPECT_EQ(readAll(folder / "file"), text);
        const auto loaded = store.samples();
        store.record({50, weekEnd}, bob, now);
        EXPECT_EQ(HistoryStore(folder / "file", now).samples(), store.samples());
        return loaded == std::vector{UsageSample{now, 40, weekEnd, alice, true}};
    };
    const std::string room(2'097'152 - sample.size() - 2, ' ');
    EXPECT_TRUE(isWhole(room));
    EXPECT_FALSE(isWhole(room + " ")) << "too long";
    EXPECT_TRUE(isWhole(with("40}", "101}"))) << "a sample that normalising drops";
    EXPECT_TRUE(isWhole(with(R"("startsSegment":true,)", "")));
    for (const std::string& rest :
         {with("true", "null"), with("accountHash", "account"), with("reset", "set"),
          with("timestamp", "time"), with("40}", "true}"), std::string(",7"), std::string("]")})
        EXPECT_FALSE(isWhole(rest)) << rest;
}

TEST(HistoryStore, KeepsInMemoryWhatItCannotWrite) {
    const TemporaryFolder folder;
    writeAll(folder / "sub", "in the way of the folder");
    HistoryStore store(folder / "sub/file", now);
    store.record({40, weekEnd}, alice, now);
    fs::remove(folder / "sub");
    EXPECT_EQ(store.record({41, weekEnd}, alice, now + 300).size(), 2);
    EXPECT_EQ(HistoryStore(folder / "sub/file", now + 300).samples(), store.samples());
    store.leaveFile();
    fs::remove_all(folder / "sub");
    EXPECT_EQ(store.record({42, weekEnd}, alice, now + 600).size(), 3);
    store.persist(true);
    EXPECT_TRUE(fs::is_empty(folder.path()));
}

TEST(HistoryStore, PrunesAtMostOnceAnHourAndWritesOnlyChanges) {
    const TemporaryFolder folder;
    HistoryStore store(folder / "file", now);
    const auto countAfter = [&](Timestamp time, bool force = false) {
        store.prune(time, force);
        return store.samples().size();
    };
    store.record({40, weekEnd}, alice, now);
    const Timestamp expiry = now + historyRetention + 1;
    store.record({40, weekEnd + historyRetention}, bob, expiry - 3'599); // a pass, too
    fs::remove(folder / "file");
    EXPECT_EQ(countAfter(expiry), 2) << "no pass yet";
    EXPECT_FALSE(fs::exists(folder / "file"));
    EXPECT_EQ(countAfter(expiry + 1), 1) << "an hour later to the second";
    EXPECT_EQ(HistoryStore(folder / "file", expiry).samples(), store.samples());
    fs::remove(folder / "file");
    EXPECT_EQ(countAfter(expiry + 3'601), 1);
    EXPECT_FALSE(fs::exists(folder / "file")) << "a pass that finds nothing to change";
    EXPECT_EQ(countAfter(expiry + 1), 1);
    EXPECT_EQ(countAfter(expiry - 3'598, true), 1) << "the previous pass lies ahead";
}

/// The times of a store's samples, counted from `now`.
std::vector<Timestamp> timesOf(const std::vector<UsageSample>& samples) {
    std::vector<Timestamp> times;
    for (const UsageSample& sample : samples)
        times.push_back(sample.timestamp - now);
    return times;
}
using Times = std::vector<Timestamp>;

TEST(HistoryStore, KeepsTheReadingsOfAllProgramsOnOneFile) {
    const TemporaryFolder folder;
    const fs::path file = folder / "file";
    HistoryStore window(file, now);
    HistoryStore watch(file, now);
    window.record({40, weekEnd}, alice, now);
    watch.record({40, weekEnd}, bob, now + 1);
    EXPECT_EQ(timesOf(watch.record({40, weekEnd}, alice, now + 2)), Times{0}) << "a repetition";
    window.record({41, weekEnd}, alice, now + 302);
    EXPECT_EQ(timesOf(window.samples()), (Times{0, 1, 302}));
    auto another = FileLock::tryToTake(folder / "file.lock");
    ASSERT_TRUE(another);
    EXPECT_EQ(timesOf(watch.record({41, weekEnd}, bob, now + 303)), (Times{1, 303}));
    EXPECT_EQ(HistoryStore(file, now + 303).samples(), window.samples());
    another.reset();
    EXPECT_EQ(timesOf(watch.record({42, weekEnd}, bob, now + 604)), (Times{1, 303, 604}));
    EXPECT_EQ(timesOf(HistoryStore(file, now + 604).samples()), (Times{0, 1, 302, 303, 604}));
}

TEST(HistoryStore, LosesNothingToAClockThatIsWrong) {
    const TemporaryFolder folder;
    const fs::path file = folder / "file";
    constexpr Timestamp day = 86'400;
    Times times;
    {
        HistoryStore store(file, now);
        for (Timestamp time = -13 * day; time <= 0; time += day / 2) {
            times.push_back(time);
            store.record({40, now + time + day}, alice, now + time);
        }
    }
    const std::string before = readAll(file);
    const struct {
        Timestamp time;
        Timestamp reset;
    } wrongClocks[] = {{31'536'000, 31'536'000 + day}, // a service of the same opinion
                       {Product::releaseTime - 1, Product::releaseTime},
                       {weekEnd - 8 * day - 1, weekEnd},
                       {weekEnd + day + 1, weekEnd},
                       {now - 400 * day, weekEnd},
                       {now + 20 * day, weekEnd}};
    for (const auto& [wrong, reset] : wrongClocks) {
        SCOPED_TRACE(wrong);
        writeAll(file, before);
        HistoryStore store(file, wrong);
        const auto visible = store.samples();
        store.prune(wrong, true);
        EXPECT_EQ(store.record({41, reset}, alice, wrong), visible);
        store.prune(now, true);
        EXPECT_EQ(readAll(file), before);
        EXPECT_EQ(timesOf(store.record({40, now + day}, alice, now + 60)), times) << "a repetition";
        Times all = times;
        all.push_back(60);
        EXPECT_EQ(timesOf(store.record({41, weekEnd}, alice, now + 60)), all) << "right by now";
        for (const Timestamp leap : {wrong, now + 60 + 4'000}) {
            store.prune(leap, true);
            store.record({42, leap - 2 * day}, alice, leap);
            EXPECT_EQ(timesOf(store.samples()), all) << "it leaps while the program runs";
        }
        EXPECT_EQ(timesOf(HistoryStore(file, now + 60).samples()), all);
    }
}

TEST(HistoryStore, KeepsWhatLiesAheadUnseen) {
    const TemporaryFolder folder;
    HistoryStore store(folder / "file", now);
    store.record({40, weekEnd}, alice, now);
    store.record({41, weekEnd}, alice, now + 4'000);
    const Timestamp earlier = now - 86'000; // still right, as far as a reading can show
    EXPECT_EQ(timesOf(store.record({41, weekEnd}, alice, earlier)), Times{-86'000});
    EXPECT_EQ(timesOf(store.record({41, weekEnd}, alice, earlier + 301)),
              (Times{-86'000, -85'699}));
    EXPECT_EQ(timesOf(HistoryStore(folder / "file", now).samples()), (Times{-86'000, -85'699, 0}));
    EXPECT_EQ(timesOf(store.record({43, weekEnd}, alice, now + 4'301)),
              (Times{-86'000, -85'699, 0, 4'000, 4'301}));
}

TEST(HistoryFile, HasRoomForTheLongestHistory) {
    std::vector<UsageSample> samples;
    for (std::size_t i = 0; i < maximumSamples + maximumSamplesAhead; ++i)
        samples.push_back({1.2345678901234567e300 * static_cast<double>(i + 1),
                           1.2345678901234567e-300, 32'503'679'999.999996, alice, true});
    const std::string text = encodeHistory(samples);
    EXPECT_LT(text.size(), maximumHistoryBytes);
    EXPECT_EQ(decodeHistory(text), samples);
}

} // namespace
} // namespace tallywick
