// A helper process that does what its script says, however wrong. The script lies beside the path
// under which the program was started, with ".script" appended; a line of it is one step. In texts
// "$ID" stands for the id of the request that was read last. After the last step the program reads
// on to the end of its input. Every line that it read stands in a file beside it, with ".received"
// appended.

#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <string>
#include <string_view>

namespace {

constexpr int scriptFailed = 99;

std::string ownPath;
std::string requestId;

std::string replaced(std::string text, const std::string& mark, const std::string& by) {
    for (std::size_t at = 0; (at = text.find(mark, at)) != std::string::npos; at += by.size())
        text.replace(at, mark.size(), by);
    return text;
}

/// The text with the bytes that "\n", "\r" and "\0" stand for.
std::string unescaped(const std::string& text) {
    const std::string lines = replaced(replaced(text, "\\n", "\n"), "\\r", "\r");
    return replaced(lines, "\\0", std::string(1, '\0'));
}

std::string withId(const std::string& text) { return replaced(text, "$ID", requestId); }

void send(const std::string& text) { std::cout << withId(text) << std::flush; }

/// Sends an answer of exactly so many bytes and a line feed.
void sendAnswerOfSize(std::size_t size) {
    const std::string start = R"({"id":)" + requestId + R"(,"result":{"padding":")";
    send(start + std::string(size - start.size() - 3, 'x') + "\"}}\n");
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

void runStep(const std::string& step) {
    const std::size_t blank = step.find(' ');
    std::string text = blank == std::string::npos ? "" : step.substr(blank + 1);
    const auto count = [&] { return std::stoul(text); };
    const auto raise = [](int signal) { static_cast<void>(::raise(signal)); };

    const std::map<std::string, std::function<void()>> steps{
        {"expect", [&] { readRequest(text); }},
        {"read-reply", [&] { readLine(text); }},
        {"send", [&] { send(text + "\n"); }},
        {"raw", [&] { send(unescaped(text)); }},
        {"bytewise",
         [&] {
             for (const char byte : withId(text) + "\n")
                 std::cout << byte << std::flush;
         }},
        {"answer-of", [&] { sendAnswerOfSize(count()); }},
        {"flood", [&] { send(std::string(count(), 'x')); }},
        {"flood-errors", [&] { std::cerr << std::string(count(), 'e'); }},
        {"ask-often",
         [&] {
             for (unsigned long asked = 0; asked < count(); ++asked)
                 send("{\"method\":\"item/tool/call\",\"id\":\"ask\"}\n");
         }},
        {"tell", [&] { std::ofstream(text) << "start of a helper\n"; }},
        {"close-input", [&] { ::close(STDIN_FILENO); }},
        {"close-output", [&] { ::close(STDOUT_FILENO); }},
        {"deaf-to-sigterm", [&] { static_cast<void>(::signal(SIGTERM, SIG_IGN)); }},
        {"stop", [&] { raise(SIGSTOP); }},
        {"grandchild",
         [&] {
             if (::fork() == 0)
                 ::pause();
         }},
        {"hang", [&] { ::pause(); }},
        {"die-of", [&] { raise(static_cast<int>(count())); }},
        {"exit", [&] { std::_Exit(static_cast<int>(count())); }},
    };
    const auto found = steps.find(step.substr(0, blank));
    if (found == steps.end())
        std::_Exit(scriptFailed);
    found->second();
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2 || std::string_view(argv[1]) != "app-server")
        return scriptFailed;
    ownPath = argv[0];
    std::ifstream script(ownPath + ".script");
    for (std::string step; std::getline(script, step);)
        runStep(step);
    for (std::string line; readLine(line);) {
    }
    return EXIT_SUCCESS;
}
