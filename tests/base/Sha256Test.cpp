#include "base/Sha256.h"

#include <gtest/gtest.h>

namespace tallywick {
namespace {

// The examples that the National Institute of Standards and Technology publishes for the algorithm.
TEST(Sha256, gives64LowerCaseDigits) {
    EXPECT_EQ(sha256Hex(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(sha256Hex("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST(Sha256, takesPiecesAndGoesOnAfterADigest) {
    Sha256 hash;
    hash.add("a");
    EXPECT_EQ(hash.hexDigest(), sha256Hex("a"));
    hash.add("bc");
    EXPECT_EQ(hash.hexDigest(), sha256Hex("abc"));
}

} // namespace
} // namespace tallywick
