#include "Fuzzer.h"
#include "base/Json.h"
#include "codex/AccountAnswers.h"
#include "codex/HelperProtocol.h"

#include <string>
#include <vector>

namespace {

using namespace tallywick;

std::vector<std::string> linesOf(std::string_view stream, std::size_t piece) {
    std::vector<std::string> lines;
    LineBuffer buffer;
    std::string_view line;
    for (; !stream.empty(); stream.remove_prefix(std::min(piece, stream.size()))) {
        buffer.append(stream.substr(0, piece));
        while (buffer.next(line) == LineBuffer::Next::line)
            lines.emplace_back(line);
    }
    return lines;
}

void decode(const Json& answer) {
    if (const auto quota = quotaFromRateLimits(answer))
        fuzzing::require(quota->used >= 0 && quota->used <= 100);
    const TokenActivity activity = tokenActivityFromUsage(answer);
    fuzzing::require(activity.latestDay.has_value() == activity.latestTokens.has_value());
    fuzzing::require(activity.lifetime.value_or(0) >= 0 && activity.latestTokens.value_or(0) >= 0);
    static_cast<void>(accountIdentity(answer, answer));
    if (const std::string* address = stringMember(answer, "authUrl"))
        if (const auto link = signInLink(*address))
            fuzzing::require(link == *address && link->starts_with("https://"));
}

} // namespace

void tallywick::fuzzing::examine(std::string_view input) {
    const auto lines = linesOf(input, input.size());
    require(linesOf(input, 3) == lines);
    for (const std::string& line : lines) {
        const auto message = parseJson(line);
        if (!message)
            continue;
        require(parseJson(writeJson(*message)) == message);
        static_cast<void>(repeatsMemberName(line));
        static_cast<void>(memberNumberText(line, "id"));
        if (const Json* result = objectMember(*message, "result"))
            decode(*result);
    }
}
