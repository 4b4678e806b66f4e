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

void put(const fs::path& path, const std::string& bytes) { std::ofstream(path) << bytes; }

/// One object of the file, observed at `now`.
std::string object(const std::string& changed = "", const std::string& to = "") {
    std::string text =
        R"({"accountHash":")" + alice
        + R"(","reset":822192800,"startsSegment":true,"timestamp":821692800.25,"usedPercent":40})";
    if (!changed.empty())
        text.replace(text.find(changed), changed.size(), to);
    return text;
}

TEST(HistoryStore, writesTheFileToTheLetter) {
    const TemporaryFolder folder;
    const fs::path path = folder / "support/Corvane Tallywick/usage-history.json";
    HistoryStore store(path, now);
    EXPECT_FALSE(fs::exists(folder / "support"));
    store.record({40, weekEnd}, alice, now);
    store.record({100, weekEnd + 0.1}, bob, now + 0.1);
    store.record({41, weekEnd}, alice, now + 300);
    EXPECT_EQ(
        contentOf(path),
        R"([{"accountHash":")" + alice
            + R"(","reset":822192800.0,"startsSegment":true,"timestamp":821692800.25,"usedPercent":40.0},)"
              R"({"accountHash":")"
            + bob
            + R"(","reset":822192800.0999999,"startsSegment":true,"timestamp":821692800.3499999,"usedPercent":100.0},)"
              R"({"accountHash":")"
            + alice + R"(","reset":822192800.0,"timestamp":821693100.25,"usedPercent":41.0}])");
    EXPECT_EQ(HistoryStore(path, now + 300).samples(), store.samples());
    ASSERT_EQ(store.samples().size(), 3);
}

TEST(HistoryStore, recordsWhatSaysSomethingNew) {
    const struct {
        const char* what;
        Timestamp later;
        Quota quota;
        bool stored;
        bool startsSegment;
    } rows[] = {
        {"the same after 299 seconds", 299, {40, weekEnd}, false, false},
        {"the same after 300 seconds", 300, {40, weekEnd}, true, false},
        {"the same after more than half an hour", 1'801, {40, weekEnd}, true, true},
        {"the same before it, the clock having been set back", -900, {40, weekEnd}, false, false},
        {"higher usage soon after", 120, {41, weekEnd}, false, false},
        {"lower usage soon after", 120, {39, weekEnd}, true, true},
        {"a reset a second earlier", 120, {40, weekEnd - 1}, true, true},
        {"a reset half a second later after five minutes", 300, {40, weekEnd + 0.5}, true, true},
    };
    for (const auto& row : rows) {
        const TemporaryFolder folder;
        HistoryStore store(folder / "file", now);
        store.record({40, weekEnd}, bob, now - 10); // somebody else's reading changes nothing
        ASSERT_EQ(store.record({40, weekEnd}, alice, now).size(), 1);
        const std::string before = contentOf(folder / "file");
        const auto samples = store.record(row.quota, alice, now + row.later);
        ASSERT_EQ(samples.size(), row.stored ? 2 : 1) << row.what;
        EXPECT_EQ(contentOf(folder / "file") != before, row.stored) << row.what;
        EXPECT_EQ(samples.back().startsSegment.has_value(), row.startsSegment || !row.stored)
            << row.what;
        for (const UsageSample& sample : samples)
            EXPECT_EQ(sample.accountHash, alice) << row.what;
    }
}

TEST(HistoryStore, recordsNothingWithoutAnAccountHash) {
    const TemporaryFolder folder;
    HistoryStore store(folder / "file", now);
    EXPECT_TRUE(store.record({40, weekEnd}, "", now).empty());
    EXPECT_TRUE(store.record({40, weekEnd}, "a@example.com", now).empty());
    EXPECT_TRUE(fs::is_empty(folder.path()));
}

TEST(HistoryStore, loadsWhatHasTheFormOfAHistory) {
    const struct {
        const char* what;
        std::string text;
        std::size_t count;
    } rows[] = {
        {"one sample", "[" + object() + "]", 1},
        {"no segment start", "[" + object(R"("startsSegment":true,)") + "]", 1},
        {"a sample that normalising drops", "[" + object() + "," + object("40}", "101}") + "]", 1},
        {"2 MiB", "[" + object() + std::string(2'097'152 - object().size() - 2, ' ') + "]", 1},
        {"2 MiB and a byte",
         "[" + object() + std::string(2'097'152 - object().size() - 1, ' ') + "]", 0},
        {"bytes behind the array", "[" + object() + "]x", 0},
        {"an element that is no object", "[" + object() + ",7]", 0},
        {"no account hash", "[" + object() + "," + object("accountHash", "account") + "]", 0},
        {"no reset", "[" + object(R"("reset":822192800,)") + "]", 0},
        {"no timestamp", "[" + object(R"("timestamp":821692800.25,)") + "]", 0},
        {"no usage", "[" + object(R"(,"usedPercent":40)") + "]", 0},
        {"usage that is a boolean", "[" + object("40}", "true}") + "]", 0},
        {"a segment start that is null", "[" + object("true", "null") + "]", 0},
    };
    for (const auto& row : rows) {
        const TemporaryFolder folder;
        const fs::path path = folder / "file";
        put(path, row.text);
        HistoryStore store(path, now);
        ASSERT_EQ(store.samples().size(), row.count) << row.what;
        if (row.count > 0) {
            EXPECT_EQ(store.samples()[0], (UsageSample{now, 40, weekEnd, alice, true})) << row.what;
        }
        EXPECT_EQ(contentOf(path), row.text) << row.what;
        store.record({50, weekEnd}, bob, now);
        EXPECT_EQ(HistoryStore(path, now).samples().size(), row.count + 1) << row.what;
    }
}

TEST(HistoryStore, keepsInMemoryWhatItCannotWriteAndWritesItLater) {
    const TemporaryFolder folder;
    put(folder / "sub", "in the way of the folder");
    HistoryStore store(folder / "sub/file", now);
    store.record({40, weekEnd}, alice, now);
    EXPECT_EQ(store.samples().size(), 1);
    fs::remove(folder / "sub");
    EXPECT_EQ(store.record({41, weekEnd}, alice, now + 300).size(), 2);
    EXPECT_EQ(HistoryStore(folder / "sub/file", now + 300).samples(), store.samples());
}

TEST(HistoryStore, prunesAtMostOnceAnHourAndWritesOnlyChanges) {
    const TemporaryFolder folder;
    const fs::path path = folder / "file";
    HistoryStore store(path, now);
    const auto countAfter = [&](Timestamp time, bool force = false) {
        store.prune(time, force);
        return store.samples().size();
    };
    store.record({40, weekEnd}, alice, now);
    fs::remove(path);
    const Timestamp expired = now + historyRetention + 1;
    EXPECT_EQ(countAfter(expired - 3'540), 1) << "a pass that finds nothing to change";
    EXPECT_EQ(countAfter(expired), 1) << "59 minutes later: no pass";
    EXPECT_FALSE(fs::exists(path));
    EXPECT_EQ(countAfter(expired, true), 0);
    EXPECT_EQ(contentOf(path), "[]");

    const Timestamp setBack = expired - 86'400;
    store.record({40, weekEnd}, alice, expired);
    EXPECT_EQ(countAfter(setBack), 1) << "the previous pass lies ahead: no pass";
    EXPECT_EQ(countAfter(setBack, true), 0) << "a sample later than now is dropped";

    store.record({40, weekEnd}, alice, setBack);
    EXPECT_EQ(countAfter(setBack + historyRetention + 1 - 3'600), 1);
    EXPECT_EQ(countAfter(setBack + historyRetention + 1), 0) << "an hour later to the second";
}

TEST(HistoryStore, writesOnlyWhenToldToIfItDoesNotPersistByItself) {
    const TemporaryFolder folder;
    HistoryStore store(folder / "file", now, false);
    store.record({40, weekEnd}, alice, now);
    store.prune(now + historyRetention - 1, true);
    store.persist();
    EXPECT_TRUE(fs::is_empty(folder.path()));
    store.persist(true);
    EXPECT_EQ(HistoryStore(folder / "file", now).samples(), store.samples());
}

TEST(HistoryStore, liesAmongTheApplicationSupportFiles) {
    const TemporaryFolder folder;
    qputenv("XDG_DATA_HOME", folder.path().c_str());
    HistoryStore store({}, now);
    store.record({40, weekEnd}, alice, now);
    EXPECT_TRUE(fs::exists(folder / "Corvane Tallywick/usage-history.json"));
}

TEST(HistoryFile, theLongestHistoryFitsItsLimit) {
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
