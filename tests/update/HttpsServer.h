#pragma once

#include "base/Mutex.h"
#include "support/TemporaryFolder.h"

#include <QSslServer>
#include <QThread>

#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <vector>

namespace tallywick::testing {

/// Certificates that are made for one test, and are gone with it.
class Certificates {
  public:
    Certificates();

    /// Of the authority that the tests trust, as PEM.
    std::string authority() const { return readAll(folder / "ca.pem"); }

    /// "maker" is as it should be; "expired", "stranger" (of an authority that nobody trusts) and
    /// "elsewhere" (of another host) are not.
    QSslConfiguration server(const std::string& name) const;

  private:
    void makeAuthority(const std::string& name) const;

    TemporaryFolder folder;
};

/// What a server does with every request.
struct Script {
    std::vector<std::string> pieces; ///< sent in this order
    enum class End { stayOpen, close } end = End::stayOpen;
    std::chrono::milliseconds pause{}; ///< before each piece
};

/// A server on the loopback interface, on a thread of its own. Without a TLS configuration it
/// answers in the clear.
class HttpsServer {
  public:
    HttpsServer(std::optional<QSslConfiguration> tls, Script script);
    ~HttpsServer();

    std::uint16_t port() const { return serverPort; }

    /// Breaks all connections off. Any thread.
    void reset();

    /// What came in over each connection so far. Any thread.
    std::vector<std::string> requests() const;

  private:
    void listen(std::promise<std::uint16_t>& listening);
    void accept(QTcpSocket& socket);
    void send(QTcpSocket& socket, std::size_t piece);

    const std::optional<QSslConfiguration> tls;
    const Script script;
    std::unique_ptr<QTcpServer> server;
    std::vector<QTcpSocket*> sockets;
    std::unique_ptr<QThread> thread;
    std::uint16_t serverPort = 0;
    mutable Mutex mutex;
    std::vector<std::string> received GUARDED_BY(mutex);
};

} // namespace tallywick::testing
