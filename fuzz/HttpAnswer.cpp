#include "Fuzzer.h"
#include "update/HttpResponse.h"

#include <algorithm>
#include <optional>
#include <string>

namespace {

using namespace tallywick;

constexpr std::int64_t maximumBody = 256;

struct Reading {
    std::string body;
    bool complete = false;
    std::optional<UpdateFailure> failure;
    bool operator==(const Reading&) const = default;
};

Reading read(std::string_view answer, std::size_t piece) {
    Reading reading;
    HttpResponse response(maximumBody, [&](std::string_view bytes) {
        fuzzing::require(!bytes.empty());
        reading.body += bytes;
        return tl::expected<void, UpdateFailure>();
    });
    tl::expected<void, UpdateFailure> outcome;
    for (; outcome && !answer.empty(); answer.remove_prefix(std::min(piece, answer.size())))
        outcome = response.read(answer.substr(0, piece));
    if (outcome)
        outcome = response.endOfInput();
    reading.complete = outcome && response.isComplete();
    if (!outcome)
        reading.failure = outcome.error();
    return reading;
}

} // namespace

void tallywick::fuzzing::examine(std::string_view input) {
    const Reading whole = read(input, input.size());
    require(whole.body.size() <= static_cast<std::size_t>(maximumBody));
    // How the bytes were cut changes nothing but how much of a refused body came before its
    // refusal.
    const Reading inBytes = read(input, 1);
    require(inBytes.failure == whole.failure && inBytes.complete == whole.complete);
    require(whole.failure || inBytes.body == whole.body);
}
