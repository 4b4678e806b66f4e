#include "history/HistoryStore.h"

#include "history/HistoryFile.h"
#include "support/TemporaryFolder.h"

#include <QByteArray>

#include <fstream>
#include <iterator>

namespace tallywick {
namespace {

namespace fs = std::filesystem;
using testing::TemporaryFolder;

constexpr Timestamp now = 1'800'000'000.25;
constexpr Timestamp weekEnd = 1'800'500'000;
const std::string alice = std::string(32, 'a') + std::string(32, '1');
const std::string bob(64, 'B');

std::string contentOf(const fs::path& path) {
    std::ifstream stream(path);
    return {std::istreambuf_iterator<char>(stream), {}};
}

TEST(HistoryStore, WritesItsFileToTheLetterAndReadsItBack) {
    const TemporaryFolder folder;
    qputenv("XDG_DATA_HOME", (folder / "data").c_str());
    HistoryStore store({}, now);
    for (const char* unhashed : {"", "a@example.com"})
        EXPECT_TRUE(store.record({40, weekEnd}, unhashed, now).empty());
    EXPECT_TRUE(fs::is_empty(folder.path()));

    store.record({40, weekEnd}, alice, now);
    store.record({41, weekEnd}, alice, now + 300.1);
    EXPECT_EQ(contentOf(folder / "data/Corvane Tallywick/usage-history.json"),
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
        const std::string before = contentOf(folder / "file");
        const bool isNew = store.record(quota, alice, now + later).size() == 2;
        EXPECT_EQ(contentOf(folder / "file") != before, isNew);
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
        std::ofstream(folder / "file") << text;
        HistoryStore store(folder / "file", now);
        EXPECT_EQ(contentOf(folder / "file"), text);
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
    std::ofstream(folder / "sub") << "in the way of the folder";
    HistoryStore store(folder / "sub/file", now);
    store.record({40, weekEnd}, alice, now);
    fs::remove(folder / "sub");
    EXPECT_EQ(store.record({41, weekEnd}, alice, now + 300).size(), 2);
    EXPECT_EQ(HistoryStore(folder / "sub/file", now + 300).samples(), store.samples());
}

TEST(HistoryStore, PrunesAtMostOnceAnHourAndWritesOnlyChanges) {
    const TemporaryFolder folder;
    HistoryStore store(folder / "file", now);
    const auto countAfter = [&](Timestamp time, bool force = false) {
        store.prune(time, force);
        return store.samples().size();
    };
    store.record({40, weekEnd}, alice, now);
    fs::remove(folder / "file");
    const Timestamp expiry = now + historyRetention + 1;
    EXPECT_EQ(countAfter(expiry - 3'599), 1) << "a pass that finds nothing to change";
    EXPECT_EQ(countAfter(expiry), 1) << "no pass yet";
    EXPECT_FALSE(fs::exists(folder / "file"));
    EXPECT_EQ(countAfter(expiry + 1), 0) << "an hour later to the second";
    EXPECT_EQ(contentOf(folder / "file"), "[]");

    store.record({40, weekEnd}, alice, expiry + 1);
    EXPECT_EQ(countAfter(now), 1) << "the previous pass lies ahead: no pass";
    EXPECT_EQ(countAfter(now, true), 0) << "a sample later than now is dropped";
}

TEST(HistoryFile, HasRoomForTheLongestHistory) {
    std::vector<UsageSample> samples;
    for (std::size_t i = 0; i < maximumSamples; ++i)
        samples.push_back({1'100'000'000.0000001 + static_cast<double>(i), 12.345678901234567,
                           32'503'679'999.999996, alice, true});
    const std::string text = encodeHistory(samples);
    EXPECT_LT(text.size(), maximumHistoryBytes);
    EXPECT_EQ(decodeHistory(text), samples);
}

} // namespace
} // namespace tallywick
