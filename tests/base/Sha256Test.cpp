#include "base/Sha256.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace tallywick {
namespace {

// The examples that the National Institute of Standards and Technology publishes for the algorithm.
TEST(Sha256, gives64LowerCaseDigits) {
    EXPECT_EQ(sha256Hex(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(sha256Hex("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST(Sha256, takesPiecesOfAnySizeAndGoesOnAfterADigest) {
    Sha256 hash;
    std::size_t left = 1'000'000;
    for (std::size_t size = 0; left > 0; ++size) {
        const std::size_t piece = std::min(size, left);
        hash.add(std::string(piece, 'a'));
        left -= piece;
        if (size == 100) {
            EXPECT_EQ(hash.hexDigest(), sha256Hex(std::string(5'050, 'a')));
        }
    }
    EXPECT_EQ(hash.hexDigest(), "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

} // namespace
} // namespace tallywick
