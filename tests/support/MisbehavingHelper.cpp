// A helper process that does what its script says, however wrong. The script lies beside the path
// under which the program was started, with ".script" appended; a line of it is one step. In texts
// "$ID" stands for the id of the request that was read last. After the last step the program reads
// on to the end of its input. Every line that it read stands in a file beside it, with ".received"
// appended.

#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

constexpr int scriptFailed = 99;

std::string ownPath;
std::string requestId;

void writeAll(int fd, const std::string& text) {
    for (std::size_t done = 0; done < text.size();) {
        const ssize_t count = ::write(fd, text.data() + done, text.size() - done);
        if (count < 0 && errno != EINTR)
            std::_Exit(scriptFailed);
        done += count < 0 ? 0 : static_cast<std::size_t>(count);
    }
}

std::string withId(std::string text) {
    constexpr std::string_view mark = "$ID";
    for (std::size_t at = text.find(mark); at != std::string::npos; at = text.find(mark, at))
        text.replace(at, mark.size(), requestId);
    return text;
}

/// "\n", "\r", "\0" and "\\" in a step's text.
std::string unescaped(const std::string& text) {
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\' || i + 1 == text.size()) {
            plain += text[i];
            continue;
        }
        const char next = text[++i];
        plain += next == 'n' ? '\n' : next == 'r' ? '\r' : next == '0' ? '\0' : next;
    }
    return plain;
}

/// Reads one line and adds it to the record of what the utility said.
bool readLine(std::string& line) {
    if (!std::getline(std::cin, line))
        return false;
    std::ofstream(ownPath + ".received", std::ios::app) << line << '\n';
    return true;
}

void readRequest(const std::string& method) {
    std::string line;
    if (!readLine(line))
        std::_Exit(EXIT_SUCCESS); // the utility has closed the input
    if (line.find("\"method\":\"" + method + "\"") == std::string::npos)
        std::_Exit(scriptFailed);
    const std::string mark = "\"id\":";
    if (const auto at = line.find(mark); at != std::string::npos)
        requestId = line.substr(at + mark.size(), line.find_first_of(",}", at) - at - mark.size());
}

/// An answer of exactly so many bytes, without its line feed.
std::string answerOfSize(std::size_t size) {
    const std::string start = withId(R"({"id":$ID,"result":{"padding":")");
    const std::string end = "\"}}";
    return start + std::string(size - start.size() - end.size(), 'x') + end;
}

void waitForEver() {
    while (true)
        ::pause();
}

void runStep(const std::string& step) {
    std::istringstream words(step);
    std::string name;
    words >> name >> std::ws;
    std::string rest;
    std::getline(words, rest);
    const auto count = [&] { return std::stoul(rest); };

    const std::map<std::string, std::function<void()>> steps{
        {"expect", [&] { readRequest(rest); }},
        {"read-reply", [&] { readLine(rest); }},
        {"send", [&] { writeAll(STDOUT_FILENO, withId(rest) + "\n"); }},
        {"raw", [&] { writeAll(STDOUT_FILENO, unescaped(withId(rest))); }},
        {"bytewise",
         [&] {
             for (const char byte : withId(rest) + "\n")
                 writeAll(STDOUT_FILENO, std::string(1, byte));
         }},
        {"answer-of", [&] { writeAll(STDOUT_FILENO, answerOfSize(count()) + "\n"); }},
        {"flood", [&] { writeAll(STDOUT_FILENO, std::string(count(), 'x')); }},
        {"flood-errors", [&] { writeAll(STDERR_FILENO, std::string(count(), 'e')); }},
        {"ask-often",
         [&] {
             for (unsigned long i = 0; i < count(); ++i)
                 writeAll(STDOUT_FILENO, "{\"method\":\"item/tool/call\",\"id\":\"ask\"}\n");
         }},
        {"tell", [&] { std::ofstream(rest) << "start of a helper\n"; }},
        {"close-input", [&] { ::close(STDIN_FILENO); }},
        {"close-output", [&] { ::close(STDOUT_FILENO); }},
        {"deaf-to-sigterm", [&] { static_cast<void>(::signal(SIGTERM, SIG_IGN)); }},
        {"stop", [&] { static_cast<void>(::raise(SIGSTOP)); }},
        {"grandchild",
         [&] {
             if (::fork() == 0)
                 waitForEver();
         }},
        {"hang", waitForEver},
        {"die-of", [&] { static_cast<void>(::raise(static_cast<int>(count()))); }},
        {"exit", [&] { std::_Exit(static_cast<int>(count())); }},
    };
    const auto found = steps.find(name);
    if (found == steps.end())
        std::_Exit(scriptFailed);
    found->second();
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv, argv + argc);
    if (arguments.size() != 2 || arguments[1] != "app-server")
        return scriptFailed;
    ownPath = arguments[0];
    std::ifstream script(ownPath + ".script");
    for (std::string step; std::getline(script, step);)
        runStep(step);
    for (std::string line; readLine(line);) {
    }
    return EXIT_SUCCESS;
}
