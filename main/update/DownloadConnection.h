#pragma once

#include "platform/files/FilePieces.h"
#include "update/BoundedDownload.h"
#include "update/HttpResponse.h"

#include <QEventLoop>
#include <QSslSocket>
#include <QTimer>

namespace tallywick {

/// The network's side of a download: one connection, one question, one outcome. It lives and is
/// called on the download's thread.
class DownloadConnection {
  public:
    using Progress = std::function<void(std::int64_t)>;

    /// The body is appended to `file`, or kept when that is null.
    DownloadConnection(const DownloadRequest& request, NewFile* file, const Progress& progress);

    /// Runs the thread's event loop until the download has ended, and lets go of the connection.
    BoundedDownload::Result run();

    /// Ends the download, unless it has ended.
    void finish(tl::expected<void, UpdateFailure> outcome);

    /// The object whose events `run` handles; for calls from other threads.
    QObject* receiver() { return &loop; }

  private:
    void begin();
    void sendRequest();
    void readAvailable();
    void endInput();
    tl::expected<void, UpdateFailure> store(std::string_view piece);

    const DownloadRequest& request;
    NewFile* const file;
    const Progress& progress;

    QEventLoop loop;
    QSslSocket socket;
    QTimer stallTimer, wholeTimer;
    HttpResponse response;
    std::string body;
    std::int64_t received = 0;
    std::optional<tl::expected<void, UpdateFailure>> ended;
};

} // namespace tallywick
