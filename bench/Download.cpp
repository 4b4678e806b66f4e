// download PORT AUTHORITIES MAXIMUM FILE: fetches an archive of at most MAXIMUM bytes from a server
// on the loopback interface as the program fetches one, into a new file. Prints its milliseconds,
// and by how many kilobytes the process's memory was larger at most than before.

#include "update/BoundedDownload.h"
#include "update/UpdateFeed.h"

#include <QCoreApplication>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

namespace {

using namespace tallywick;
using std::chrono::duration;
using std::chrono::steady_clock;

/// In units of 1,024 bytes.
long residentMemory() {
    std::ifstream status("/proc/self/status");
    std::string word;
    long value = 0;
    while (status >> word && word != "RssAnon:") {
    }
    status >> value;
    return value;
}

} // namespace

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    if (argc != 5)
        return EXIT_FAILURE;
    std::ostringstream authorities;
    authorities << std::ifstream(argv[2]).rdbuf();
    const DownloadRequest request{.url = UpdateFeed::expectedArchiveURL("1.0.0"),
                                  .maximum = std::atoll(argv[3]),
                                  .wholeLimit = std::chrono::seconds(90),
                                  .destination = argv[4],
                                  .route = {.address = "127.0.0.1",
                                            .port = static_cast<std::uint16_t>(std::atoi(argv[1])),
                                            .authorities = authorities.str(),
                                            .usesUsersProxy = false}};
    long atFirst = 0, largest = 0;
    std::int64_t nextLook = 0;
    const auto watch = [&](std::int64_t received) {
        if (received < nextLook)
            return;
        nextLook = received + (1 << 20);
        const long now = residentMemory();
        atFirst = atFirst == 0 ? now : atFirst;
        largest = std::max(largest, now);
    };
    CancellationFlag flag;
    const auto start = steady_clock::now();
    const auto result = fetchBounded(request, watch, flag);
    const double milliseconds = duration<double, std::milli>(steady_clock::now() - start).count();
    if (!result) {
        std::printf("%s\n", std::string(name(result.error())).c_str());
        return EXIT_FAILURE;
    }
    std::printf("%.0f %ld\n", milliseconds, largest - atFirst);
    return EXIT_SUCCESS;
}
