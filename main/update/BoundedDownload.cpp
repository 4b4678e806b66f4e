#include "update/BoundedDownload.h"

#include "base/Mutex.h"
#include "base/Product.h"
#include "base/TaskRelay.h"
#include "base/WorkThreads.h"
#include "platform/files/FilePieces.h"
#include "update/HttpResponse.h"

#include <QEventLoop>
#include <QNetworkProxy>
#include <QSslConfiguration>
#include <QSslSocket>
#include <QTimer>
#include <QUrl>

#include <future>
#include <utility>

namespace tallywick {

namespace {

constexpr qint64 readPiece = 65'536;
constexpr qint64 readBuffer = 4 * readPiece; // what may wait for the disk

QSslConfiguration tlsRules(const DownloadRoute& route) {
    QSslConfiguration rules = QSslConfiguration::defaultConfiguration();
    rules.setProtocol(QSsl::TlsV1_2OrLater);
    rules.setPeerVerifyMode(QSslSocket::VerifyPeer);
    rules.setAllowedNextProtocols({QSslConfiguration::NextProtocolHttp1_1});
    if (!route.authorities.empty())
        rules.setCaCertificates(
            QSslCertificate::fromData(QByteArray::fromStdString(route.authorities)));
    return rules;
}

/// What the user's settings say for this address. They can name a script on a host that does not
/// answer, which Qt waits for as long as it takes.
QNetworkProxy usersProxy(const QUrl& url) {
    return QNetworkProxyFactory::systemProxyForQuery(QNetworkProxyQuery(url)).value(0);
}

} // namespace

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
    void connectThrough(const QNetworkProxy& proxy);
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
    TaskRelay relay; ///< last: what comes too late is dropped first
};

DownloadConnection::DownloadConnection(const DownloadRequest& downloadRequest, NewFile* destination,
                                       const Progress& onProgress)
    : request(downloadRequest), file(destination), progress(onProgress),
      response(request.maximum, [this](std::string_view piece) { return store(piece); }) {
    const auto timeOut = [this] { finish(tl::unexpected(UpdateFailure::offline)); };
    for (QTimer* timer : {&stallTimer, &wholeTimer}) {
        timer->setSingleShot(true);
        QObject::connect(timer, &QTimer::timeout, timer, timeOut);
    }
    QObject::connect(&socket, &QSslSocket::connected, &stallTimer, qOverload<>(&QTimer::start));
    QObject::connect(&socket, &QSslSocket::encrypted, &loop, [this] { sendRequest(); });
    QObject::connect(&socket, &QSslSocket::readyRead, &loop, [this] { readAvailable(); });
    QObject::connect(&socket, &QSslSocket::errorOccurred, &loop, [this] { endInput(); });
}

BoundedDownload::Result DownloadConnection::run() {
    stallTimer.start(request.stallLimit);
    wholeTimer.start(request.wholeLimit);
    QMetaObject::invokeMethod(
        &loop, [this] { begin(); }, Qt::QueuedConnection);
    loop.exec();
    socket.disconnect(&loop);
    socket.abort();
    if (!*ended)
        return tl::unexpected(ended->error());
    return std::move(body);
}

void DownloadConnection::finish(tl::expected<void, UpdateFailure> outcome) {
    if (ended)
        return;
    ended = outcome;
    loop.quit();
}

void DownloadConnection::begin() {
    const QUrl url(QString::fromStdString(request.url), QUrl::StrictMode);
    if (ended || url.scheme() != QLatin1String("https") || url.host().isEmpty())
        return finish(tl::unexpected(UpdateFailure::offline));
    if (!request.route.usesUsersProxy)
        return connectThrough(QNetworkProxy::NoProxy);
    // On a thread that the download does not wait for.
    const auto ask = [this, url, tell = relay.entrance()] {
        tell([this, proxy = usersProxy(url)] { connectThrough(proxy); });
    };
    if (!startWorkThread("proxy", ask))
        finish(tl::unexpected(UpdateFailure::offline));
}

void DownloadConnection::connectThrough(const QNetworkProxy& proxy) {
    if (ended)
        return;
    const QUrl url(QString::fromStdString(request.url));
    const DownloadRoute& route = request.route;
    socket.setSslConfiguration(tlsRules(route));
    socket.setReadBufferSize(readBuffer);
    socket.setProxy(proxy);
    const QString address =
        route.address.empty() ? url.host() : QString::fromStdString(route.address);
    socket.connectToHostEncrypted(address, route.port, url.host());
}

void DownloadConnection::sendRequest() {
    stallTimer.start();
    const QUrl url(QString::fromStdString(request.url));
    QByteArray lines;
    lines.append("GET ").append(url.path(QUrl::FullyEncoded).toLatin1()).append(" HTTP/1.1\r\n");
    lines.append("Host: ").append(url.host(QUrl::FullyEncoded).toLatin1()).append("\r\n");
    lines.append("User-Agent: Corvane-Mac-UpdateCheck/").append(Product::version).append("\r\n");
    lines.append("Accept-Encoding: identity\r\n\r\n");
    socket.write(lines);
}

void DownloadConnection::readAvailable() {
    stallTimer.start();
    while (!ended && socket.bytesAvailable() > 0) {
        const QByteArray piece = socket.read(readPiece);
        const auto outcome =
            response.read({piece.constData(), static_cast<std::size_t>(piece.size())});
        if (!outcome || response.isComplete())
            finish(outcome);
    }
}

void DownloadConnection::endInput() {
    readAvailable();
    // A connection that is cut and one that TLS has brought to its end are the same error to Qt, so
    // that a part of a body would pass for the whole. Only the text tells them apart.
    const bool isProperEnd =
        socket.errorString() == QSslSocket::tr("The TLS/SSL connection has been closed");
    if (isProperEnd)
        finish(response.endOfInput());
    finish(tl::unexpected(UpdateFailure::offline));
}

tl::expected<void, UpdateFailure> DownloadConnection::store(std::string_view piece) {
    if (!file)
        body += piece;
    else if (file->append(piece) != WriteResult::written)
        return tl::unexpected(UpdateFailure::disk);
    received += static_cast<std::int64_t>(piece.size());
    if (progress)
        progress(received);
    return {};
}

/// What a download shares with its thread.
struct BoundedDownload::Control {
    Mutex mutex;
    bool cancelled GUARDED_BY(mutex) = false;
    DownloadConnection* running GUARDED_BY(mutex) = nullptr;

    void cancel() EXCLUDES(mutex) {
        MutexLock lock(mutex);
        cancelled = true;
        endRunning();
    }

    void setRunning(DownloadConnection& connection) EXCLUDES(mutex) {
        MutexLock lock(mutex);
        running = &connection;
        if (cancelled)
            endRunning();
    }

    /// No cancellation reaches the connection any more. Whether one came before.
    bool endOfRun() EXCLUDES(mutex) {
        MutexLock lock(mutex);
        running = nullptr;
        return cancelled;
    }

  private:
    void endRunning() REQUIRES(mutex) {
        if (!running)
            return;
        QMetaObject::invokeMethod(
            running->receiver(),
            [connection = running] {
                connection->finish(tl::unexpected(UpdateFailure::cancelled));
            },
            Qt::QueuedConnection);
    }
};

/// One download, as its thread holds it.
struct BoundedDownload::Work {
    DownloadRequest request;
    Callbacks callbacks;
    std::optional<NewFile> file;
    std::shared_ptr<Control> control;

    void run() {
        Result result = transfer();
        if (file && result)
            file->keep();
        file.reset();
        callbacks.completion(std::move(result));
    }

    Result transfer() {
        DownloadConnection connection(request, file ? &*file : nullptr, callbacks.progress);
        control->setRunning(connection);
        Result result = connection.run();
        if (control->endOfRun() && result)
            return tl::unexpected(UpdateFailure::cancelled);
        return result;
    }
};

tl::expected<std::unique_ptr<BoundedDownload>, UpdateFailure>
BoundedDownload::start(DownloadRequest request, Callbacks callbacks) {
    std::optional<NewFile> file;
    if (request.destination) {
        file = NewFile::create(*request.destination);
        if (!file)
            return tl::unexpected(UpdateFailure::disk);
    }
    auto control = std::make_shared<Control>();
    auto work = std::make_shared<Work>(
        Work{std::move(request), std::move(callbacks), std::move(file), control});
    if (!startWorkThread("download", [work = std::move(work)] { work->run(); }))
        return tl::unexpected(UpdateFailure::offline);
    return std::unique_ptr<BoundedDownload>(new BoundedDownload(std::move(control)));
}

BoundedDownload::BoundedDownload(std::shared_ptr<Control> shared) : control(std::move(shared)) {}

BoundedDownload::~BoundedDownload() { cancel(); }

void BoundedDownload::cancel() { control->cancel(); }

BoundedDownload::Result fetchBounded(const DownloadRequest& request,
                                     std::function<void(std::int64_t)> progress,
                                     CancellationFlag& flag) {
    const auto ended = std::make_shared<std::promise<BoundedDownload::Result>>();
    auto started =
        BoundedDownload::start(request, {.progress = std::move(progress),
                                         .completion = [ended](BoundedDownload::Result result) {
                                             ended->set_value(std::move(result));
                                         }});
    if (!started)
        return tl::unexpected(started.error());
    const std::shared_ptr<BoundedDownload> running = std::move(*started);
    flag.whenCancelled([download = std::weak_ptr(running)] {
        if (const auto stillRunning = download.lock())
            stillRunning->cancel();
    });
    return ended->get_future().get();
}

} // namespace tallywick
