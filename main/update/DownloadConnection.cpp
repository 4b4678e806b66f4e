#include "update/DownloadConnection.h"

#include "base/Product.h"

#include <QNetworkProxy>
#include <QSslConfiguration>
#include <QUrl>

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

/// What the user's settings say for this address; they may take a while to be read.
QNetworkProxy proxyFor(const QUrl& url, const DownloadRoute& route) {
    if (!route.usesUsersProxy)
        return QNetworkProxy::NoProxy;
    return QNetworkProxyFactory::systemProxyForQuery(QNetworkProxyQuery(url)).value(0);
}

} // namespace

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
    const DownloadRoute& route = request.route;
    socket.setSslConfiguration(tlsRules(route));
    socket.setReadBufferSize(readBuffer);
    socket.setProxy(proxyFor(url, route));
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

} // namespace tallywick
