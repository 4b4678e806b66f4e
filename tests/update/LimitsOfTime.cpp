// How long the program waits for a server, or for its unpacker: up to a minute and a half.
// Therefore this is a program of its own, which `.ci/run` runs and `./check` does not.

#include "update/UpdateStory.h"

namespace tallywick::testing {
namespace {

using namespace std::chrono_literals;

/// A whole answer of pieces of ten bytes. They come after a pause each, as its head does.
Script slowly(std::size_t pieces, std::chrono::milliseconds pause) {
    Script script{.pieces = {answer("", 10 * pieces)}, .pause = pause};
    script.pieces.resize(1 + pieces, "0123456789");
    return script;
}

/// Without its limit, a download would end with what the server sends at last, and another
/// sentence.
class LimitsOfTime : public UpdateStory {
  protected:
    void expectNoArchiveFrom(const Script& archive) {
        Json feed = sampleFeed();
        feed["bytes"] = 10 * (archive.pieces.size() - 1);
        serve({{answer(writeJson(feed))}}, archive);
        begin(services(fromTheServers()));
        EXPECT_EQ(check(), available);
        EXPECT_EQ(download(), sentence(UpdateFailure::offline));
    }
};

TEST_F(LimitsOfTime, endAFeedThatComesBitByBit) {
    serve(slowly(29, 1s), {});
    begin(services(fromTheServers()));
    EXPECT_EQ(check(), sentence(UpdateFailure::offline));
}

TEST_F(LimitsOfTime, endAnArchiveThatComesBitByBit) { expectNoArchiveFrom(slowly(109, 1s)); }

TEST_F(LimitsOfTime, endAnArchiveThatDoesNotBegin) { expectNoArchiveFrom(slowly(1, 30s)); }

TEST_F(LimitsOfTime, endAnUnpackingOfMoreThanTenSeconds) {
    const CancellationFlag flag;
    const auto unpackFor = [&](const std::string& seconds) { // nothing, into the empty cache
        return unpackRelease({"/bin/sh", {"-c", "exec sleep " + seconds}}, {}, cache.folder(),
                             flag);
    };
    EXPECT_TRUE(unpackFor("8"));
    EXPECT_EQ(unpackFor("12"), tl::unexpected(UpdateFailure::unsafeArchive));
}

} // namespace
} // namespace tallywick::testing
