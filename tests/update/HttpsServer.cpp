#include "update/HttpsServer.h"

#include <QEventLoop>
#include <QSslConfiguration>
#include <QSslKey>
#include <QTimer>

#include <sys/socket.h>

namespace tallywick::testing {

namespace {

/// For openssl, which takes its time: a certificate is made when it is asked for.
constexpr const char* key = "-newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes 2>openssl.log";

} // namespace

Certificates::Certificates() { makeAuthority("ca"); }

void Certificates::makeAuthority(const std::string& name) const {
    runIn(folder.path(), "openssl req -x509 -keyout " + name + ".key -out " + name
                             + ".pem -days 2 -subj /CN=" + name + " " + key);
}

QSslConfiguration Certificates::server(const std::string& name) const {
    const std::string authority = name == "stranger" ? "strangers-ca" : "ca";
    const std::string host = name == "elsewhere" ? "elsewhere.example" : "corvane.example";
    if (!std::filesystem::exists(folder / (authority + ".pem")))
        makeAuthority(authority);
    if (!std::filesystem::exists(folder / (name + ".pem")))
        runIn(folder.path(), "openssl req -keyout " + name + ".key -out csr -subj /CN=" + host + " "
                                 + key + "\necho subjectAltName=DNS:" + host
                                 + " >extension\nopenssl x509 -req -in csr -CA " + authority
                                 + ".pem -CAkey " + authority + ".key -CAcreateserial -days "
                                 + (name == "expired" ? "-1" : "2") + " -extfile extension -out "
                                 + name + ".pem 2>openssl.log");
    const auto read = [&](const char* extension) {
        return QByteArray::fromStdString(readAll(folder / (name + extension)));
    };
    QSslConfiguration configuration;
    configuration.setLocalCertificate(QSslCertificate(read(".pem")));
    configuration.setPrivateKey(QSslKey(read(".key"), QSsl::Ec));
    EXPECT_FALSE(configuration.localCertificate().isNull());
    EXPECT_FALSE(configuration.privateKey().isNull());
    return configuration;
}

HttpsServer::HttpsServer(std::optional<QSslConfiguration> serverTls, Script serverScript)
    : tls(std::move(serverTls)), script(std::move(serverScript)) {
    std::promise<std::uint16_t> listening;
    thread.reset(QThread::create([this, &listening] { listen(listening); }));
    thread->start();
    serverPort = listening.get_future().get();
}

HttpsServer::~HttpsServer() {
    thread->quit();
    thread->wait();
}

void HttpsServer::listen(std::promise<std::uint16_t>& listening) {
    if (tls) {
        auto secure = std::make_unique<QSslServer>();
        secure->setSslConfiguration(*tls);
        server = std::move(secure);
    } else {
        server = std::make_unique<QTcpServer>();
    }
    QObject::connect(server.get(), &QTcpServer::pendingConnectionAvailable, server.get(), [this] {
        while (QTcpSocket* socket = server->nextPendingConnection())
            accept(*socket);
    });
    EXPECT_TRUE(server->listen(QHostAddress::LocalHost));
    listening.set_value(server->serverPort());
    QEventLoop loop;
    loop.exec();
    server.reset();
}

void HttpsServer::accept(QTcpSocket& socket) {
    const std::size_t index = sockets.size();
    sockets.push_back(&socket);
    {
        MutexLock lock(mutex);
        received.emplace_back();
    }
    const auto read = [this, &socket, index] {
        MutexLock lock(mutex);
        const bool isFirst = received[index].empty();
        received[index] += socket.readAll().toStdString();
        if (isFirst && !received[index].empty())
            QTimer::singleShot(0, &socket, [this, &socket] { send(socket, 0); });
    };
    QObject::connect(&socket, &QTcpSocket::readyRead, &socket, read);
    read();
}

void HttpsServer::send(QTcpSocket& socket, std::size_t piece) {
    if (piece == script.pieces.size()) {
        if (script.end == Script::End::close)
            socket.disconnectFromHost();
        return;
    }
    QTimer::singleShot(script.pause, &socket, [this, &socket, piece] {
        socket.write(QByteArray::fromStdString(script.pieces[piece]));
        send(socket, piece + 1);
    });
}

void HttpsServer::reset() {
    QMetaObject::invokeMethod(server.get(), [this] {
        for (QTcpSocket* socket : sockets) {
            const linger atOnce{1, 0};
            ::setsockopt(static_cast<int>(socket->socketDescriptor()), SOL_SOCKET, SO_LINGER,
                         &atOnce, sizeof atOnce);
            socket->abort();
        }
    });
}

std::vector<std::string> HttpsServer::requests() const {
    MutexLock lock(mutex);
    return received;
}

} // namespace tallywick::testing
