#include "Fuzzer.h"
#include "update/UpdateFeed.h"

#include <algorithm>

void tallywick::fuzzing::examine(std::string_view input) {
    const auto manifest = UpdateManifest::parse(input);
    if (!manifest)
        return;
    require(manifest->url == UpdateFeed::expectedArchiveURL(manifest->version));
    require(manifest->bytes >= 1 && manifest->bytes <= UpdateFeed::maximumArchiveBytes);
    require(manifest->build >= 1 && manifest->build <= 999'999);
    require(manifest->sha256.size() == 64);
    require(!manifest->architectures.empty() && manifest->architectures.size() <= 2);
    require(std::ranges::none_of(manifest->releaseNotes, [](char character) {
        return static_cast<unsigned char>(character) < ' ' && character != '\n';
    }));
}
