#include "codex/HelperProtocol.h"

namespace tallywick {

void LineBuffer::append(std::string_view piece) {
    if (lineStart == buffer.size())
        buffer = {}; // gives back the room of a long line
    else
        buffer.erase(0, lineStart);
    searched -= lineStart;
    lineStart = 0;
    buffer += piece;
}

LineBuffer::Next LineBuffer::next(std::string_view& line) {
    if (buffer.size() > maximumBuffered)
        return Next::oversized;
    const std::size_t end = buffer.find('\n', searched);
    if (end == std::string::npos) {
        searched = buffer.size();
        return buffer.size() - lineStart > maximumLine ? Next::oversized : Next::incomplete;
    }
    if (end - lineStart > maximumLine)
        return Next::oversized;
    line = std::string_view(buffer).substr(lineStart, end - lineStart);
    searched = lineStart = end + 1;
    return Next::line;
}

} // namespace tallywick
