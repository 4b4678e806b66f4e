#pragma once

#include "base/Mutex.h"
#include "support/TemporaryFolder.h"
#include "update/BoundedDownload.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QSslConfiguration>
#include <QSslKey>
#include <QSslServer>
#include <QThread>
#include <QTimer>

#include <sys/socket.h>

#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <vector>

namespace tallywick::testing {

/// Qt's first event loop opens a descriptor for as long as there is the process: it is there before
/// descriptors are counted.
inline const bool hadAnEventLoop = [] {
    int count = 0;
    const QCoreApplication first(count, nullptr);
    return true;
}();

/// Certificates that openssl makes for one test. They are gone with it.
class Certificates {
  public:
    Certificates() { make("ca"); }

    /// Of the authority that the tests trust, as PEM.
    std::string authority() const { return readAll(folder / "ca.pem"); }

    /// "maker" is as it should be; "expired", "stranger" (of nobody that is trusted) and
    /// "elsewhere" (of another host) are not.
    QSslConfiguration server(const std::string& name) const {
        if (!std::filesystem::exists(folder / (name + ".pem")))
            make(name);
        const auto read = [](const auto& file) { return QByteArray::fromStdString(readAll(file)); };
        QSslConfiguration configuration;
        configuration.setLocalCertificate(QSslCertificate(read(folder / (name + ".pem"))));
        configuration.setPrivateKey(QSslKey(read(folder / (name + ".key")), QSsl::Ec));
        return configuration;
    }

  private:
    void make(const std::string& name) const {
        const std::string host = name == "elsewhere" ? "elsewhere.example" : "corvane.example";
        const bool signsItself = name == "ca" || name == "stranger";
        const std::string issue = signsItself ? " -x509"
                                              : " | openssl x509 -req -copy_extensions copy "
                                                "-CA ca.pem -CAkey ca.key -CAcreateserial";
        runIn(folder.path(), "exec 2>openssl.log; openssl req -newkey ec -nodes -pkeyopt "
                             "ec_paramgen_curve:prime256v1 -addext subjectAltName=DNS:"
                                 + host + " -subj /CN=" + name + " -keyout " + name + ".key" + issue
                                 + " -days " + (name == "expired" ? "-1" : "2") + " -out " + name
                                 + ".pem");
    }

    TemporaryFolder folder;
};

/// An answer with a body, and perhaps another length than that of the body.
inline std::string answer(const std::string& body, std::optional<std::size_t> announced = {}) {
    return "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(announced.value_or(body.size()))
           + "\r\n\r\n" + body;
}

/// What a server does with every request.
struct Script {
    std::vector<std::string> pieces = {}; ///< sent in this order
    bool closes = false;                  ///< the connection, after the last one
    std::chrono::milliseconds pause = {}; ///< before each piece
    std::uint16_t port = 0;               ///< any when 0
};

/// A server on the loopback interface, on a thread of its own. Without a TLS configuration it
/// answers in the clear.
class HttpsServer {
  public:
    HttpsServer(std::optional<QSslConfiguration> serverTls, Script serverScript)
        : tls(std::move(serverTls)), script(std::move(serverScript)) {
        std::promise<std::uint16_t> listening;
        thread.reset(QThread::create([this, &listening] { listen(listening); }));
        thread->start();
        serverPort = listening.get_future().get();
    }
    ~HttpsServer() {
        thread->quit();
        thread->wait();
    }

    std::uint16_t port() const { return serverPort; }

    /// Leads the maker's host here.
    DownloadRoute route(const Certificates& certificates) const {
        return {.address = "127.0.0.1",
                .port = serverPort,
                .authorities = certificates.authority(),
                .usesUsersProxy = false};
    }

    /// Breaks all connections off. Any thread.
    void reset() {
        QMetaObject::invokeMethod(server.get(), [this] {
            for (QTcpSocket* socket : sockets) {
                const linger atOnce{1, 0};
                ::setsockopt(static_cast<int>(socket->socketDescriptor()), SOL_SOCKET, SO_LINGER,
                             &atOnce, sizeof atOnce);
                socket->abort();
            }
        });
    }

    /// What came in over each connection so far. Any thread.
    std::vector<std::string> requests() const {
        MutexLock lock(mutex);
        return received;
    }

  private:
    void listen(std::promise<std::uint16_t>& listening) {
        if (tls) {
            auto secure = std::make_unique<QSslServer>();
            secure->setSslConfiguration(*tls);
            server = std::move(secure);
        } else {
            server = std::make_unique<QTcpServer>();
        }
        server->connect(server.get(), &QTcpServer::pendingConnectionAvailable, [this] {
            while (QTcpSocket* socket = server->nextPendingConnection())
                serve(*socket);
        });
        EXPECT_TRUE(server->listen(QHostAddress::LocalHost, script.port));
        listening.set_value(server->serverPort());
        QEventLoop().exec();
        server.reset();
    }

    void serve(QTcpSocket& socket) {
        const auto read = [this, &socket, index = sockets.size()] {
            MutexLock lock(mutex);
            received.resize(sockets.size());
            const bool isFirst = received[index].empty();
            received[index] += socket.readAll().toStdString();
            if (isFirst && !received[index].empty())
                QTimer::singleShot(0, &socket, [this, &socket] { send(socket, 0); });
        };
        sockets.push_back(&socket);
        QObject::connect(&socket, &QTcpSocket::readyRead, &socket, read);
        read();
    }

    void send(QTcpSocket& socket, std::size_t piece) {
        if (piece == script.pieces.size())
            return script.closes ? socket.disconnectFromHost() : void();
        QTimer::singleShot(script.pause, &socket, [this, &socket, piece] {
            socket.write(QByteArray::fromStdString(script.pieces[piece]));
            send(socket, piece + 1);
        });
    }

    const std::optional<QSslConfiguration> tls;
    const Script script;
    std::unique_ptr<QTcpServer> server;
    std::vector<QTcpSocket*> sockets; ///< the server's own
    std::unique_ptr<QThread> thread;
    std::uint16_t serverPort = 0;
    mutable Mutex mutex;
    std::vector<std::string> received GUARDED_BY(mutex);
};

} // namespace tallywick::testing
