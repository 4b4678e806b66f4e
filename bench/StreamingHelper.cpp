// A helper for the transport's benchmark. To "account/read" it answers behind so many copies of a
// file, to everything else at once: started as `app-server`, it takes the file from the environment
// variable TALLYWICK_BENCH_FILE and the number of copies from TALLYWICK_BENCH_COPIES.

#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

namespace {

std::string environmentValue(const char* name) {
    const char* value = std::getenv(name); // NOLINT(concurrency-mt-unsafe): one thread
    return value ? value : "";
}

bool writeAll(const std::string& text) {
    for (std::size_t done = 0; done < text.size();) {
        const ssize_t count = ::write(STDOUT_FILENO, text.data() + done, text.size() - done);
        if (count < 0)
            return false;
        done += static_cast<std::size_t>(count);
    }
    return true;
}

} // namespace

int main() {
    std::ifstream file(environmentValue("TALLYWICK_BENCH_FILE"));
    const std::string lines((std::istreambuf_iterator<char>(file)), {});
    const std::string copies = environmentValue("TALLYWICK_BENCH_COPIES");
    const int count = copies.empty() ? 0 : std::stoi(copies);
    for (std::string request; std::getline(std::cin, request);) {
        if (request.find("\"account/read\"") != std::string::npos)
            for (int i = 0; i < count; ++i)
                if (!writeAll(lines))
                    return EXIT_FAILURE;
        const std::string mark = "\"id\":";
        const auto id = request.find(mark) + mark.size();
        if (!writeAll("{\"id\":" + request.substr(id, request.find(',', id) - id)
                      + ",\"result\":{}}\n"))
            return EXIT_FAILURE;
    }
}
