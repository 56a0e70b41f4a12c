#include "tools/stand-ins/http/TlsServer.h"

#include <cstdlib>
#include <fmt/format.h>
#include <stdexcept>

namespace tavik {

namespace {

using namespace std::chrono_literals;

void makeCertificate(const std::string& key, const std::string& certificate) {
    ChildProcess maker(
        {.arguments = {"openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt",
                       "ec_paramgen_curve:P-256", "-nodes", "-subj", "/CN=test", "-addext",
                       "subjectAltName=IP:127.0.0.1", "-keyout", key, "-out", certificate}});
    if (maker.waitFor(10s) != 0)
        throw std::runtime_error("no certificate could be made");
}

void waitForListener(int port) {
    int connection = -1;
    for (int tries = 0; (connection = connectTo(port)) < 0; ++tries) {
        if (tries == 1000)
            throw std::runtime_error("the server does not listen");
        std::this_thread::sleep_for(10ms);
    }
    const Peer closing(connection);
}

} // namespace

TlsServer::TlsServer(Kind kind, std::chrono::milliseconds delay)
    : port(refusingPort())
    , latency(delay) {
    const std::string key = folder.file("key.pem");
    const std::string certificate = folder.file("certificate.pem");
    makeCertificate(key, certificate);
    writeFile(folder.file("pages/index.html"), "two");
    ChildProcess::Command command;
    if (kind == Kind::http2)
        command.arguments = {"/usr/sbin/nghttpd",
                             "--address=127.0.0.1",
                             "--htdocs=" + folder.file("pages"),
                             std::to_string(port),
                             key,
                             certificate};
    else
        command.arguments = {"openssl",  "s_server", "-quiet",
                             "-www",     "-accept",  fmt::format("127.0.0.1:{}", port),
                             "-key",     key,        "-cert",
                             certificate};
    process = std::make_unique<ChildProcess>(command);
    waitForListener(port);
}

TlsServer::~TlsServer() {
    unsetenv("SSL_CERT_FILE");
    holdAnswers(false);
}

std::string TlsServer::url(const std::string& host) const {
    return fmt::format("https://{}:{}/", host, way.port());
}

void TlsServer::makeTrusted() const {
    setenv("SSL_CERT_FILE", folder.file("certificate.pem").c_str(), 1);
}

void TlsServer::pass(Peer& client) {
    Peer server(connectTo(port));
    const auto carry = [this](Peer& from, Peer& to, const std::function<void(std::size_t)>& seen) {
        for (std::string bytes; !(bytes = from.readSome()).empty(); to.write(bytes)) {
            std::this_thread::sleep_for(latency);
            seen(bytes.size());
        }
        to.shutDown();
    };
    const std::jthread back([&] {
        carry(server, client, [this](std::size_t) {
            while (isHeld)
                std::this_thread::sleep_for(1ms);
        });
    });
    carry(client, server, [this](std::size_t size) { sent += size; });
}

} // namespace tavik
