#pragma once

#include "update/UpdateFailure.h"

#include <tl/expected.hpp>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace tallywick {

/// How the host of an address is reached. The program has none but this one; tests lead the maker's
/// host to a server of their own.
struct DownloadRoute {
    std::string address;        ///< to connect to in place of the host; empty: the host itself
    std::uint16_t port = 443;   ///< of HTTPS
    std::string authorities;    ///< certificates as PEM, trusted in place of the system's
    bool usesUsersProxy = true; ///< where the user's settings ask for one
};

/// What to fetch, and how much of it, for how long.
struct DownloadRequest {
    std::string url;                                       ///< https
    std::int64_t maximum = 0;                              ///< bytes of the body
    std::chrono::milliseconds wholeLimit{};                ///< for everything from start to end
    std::chrono::milliseconds stallLimit{20'000};          ///< without a byte
    std::optional<std::filesystem::path> destination = {}; ///< a new file; absent: into memory
    DownloadRoute route = {};
};

/// One download over HTTPS, on a thread of its own, that takes no more than it was told to.
///
/// The server must prove that it is the URL's host, with TLS 1.2 or later. It is asked once, for
/// the body as it is; redirects are not followed, and cookies, credentials and caches are neither
/// used nor kept. See `HttpResponse` for what counts as an answer. A body whose length was not
/// announced is whole only if the server has brought TLS to its proper end behind it.
class BoundedDownload {
  public:
    /// The body; empty when it went into the file.
    using Result = tl::expected<std::string, UpdateFailure>;

    /// Called on the download's thread, one at a time.
    struct Callbacks {
        /// The bytes received so far, after each piece that was stored. May be empty.
        std::function<void(std::int64_t)> progress;
        /// Called exactly once, last. Whatever ends the download first decides: `redirect`,
        /// `server` and `oversized` as `HttpResponse` has them; `disk` when the file could not be
        /// written; `cancelled`; `offline` for every other end, the limits of time included. After
        /// a failure the file is gone already.
        std::function<void(Result)> completion;
    };

    /// Begins the download. Fails at once with `disk`, and calls nothing, when something is at the
    /// destination already, when a symbolic link leads there, or when it cannot be created.
    static tl::expected<std::unique_ptr<BoundedDownload>, UpdateFailure>
    start(DownloadRequest request, Callbacks callbacks);

    /// As `cancel`; the completion is still called.
    ~BoundedDownload();
    BoundedDownload(const BoundedDownload&) = delete;
    BoundedDownload& operator=(const BoundedDownload&) = delete;

    /// Asks the download to end as `cancelled`, which it does at once unless it has ended before.
    /// Any thread, at any moment, the callbacks included; returns at once.
    void cancel();

  private:
    struct Control;
    struct Work;
    explicit BoundedDownload(std::shared_ptr<Control> control);
    std::shared_ptr<Control> control;
};

/// Downloads and waits for the end, on a thread that may wait so long. It ends as `cancelled` when
/// `flag` is cancelled.
BoundedDownload::Result fetchBounded(const DownloadRequest& request,
                                     std::function<void(std::int64_t)> progress,
                                     CancellationFlag& flag);

} // namespace tallywick
