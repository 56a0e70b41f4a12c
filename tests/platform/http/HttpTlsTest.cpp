#include "platform/http/HttpSession.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

#include <atomic>
#include <fmt/format.h>
#include <httplib.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>
#include <thread>

namespace tavik {

namespace {

using namespace std::chrono_literals;

using Key = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;
using Certificate = std::unique_ptr<X509, decltype(&X509_free)>;

// For 127.0.0.1, signed by itself.
Certificate selfSigned(EVP_PKEY* key) {
    Certificate certificate(X509_new(), X509_free);
    X509_set_version(certificate.get(), 2);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), 1);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -3600);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 3600);
    X509_set_pubkey(certificate.get(), key);
    X509_NAME* name = X509_get_subject_name(certificate.get());
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>("test"), -1, -1, 0);
    X509_set_issuer_name(certificate.get(), name);
    X509_EXTENSION* address =
        X509V3_EXT_conf_nid(nullptr, nullptr, NID_subject_alt_name, "IP:127.0.0.1");
    X509_add_ext(certificate.get(), address, -1);
    X509_EXTENSION_free(address);
    X509_sign(certificate.get(), key, EVP_sha256());
    return certificate;
}

std::string pem(X509* certificate) {
    BIO* memory = BIO_new(BIO_s_mem());
    PEM_write_bio_X509(memory, certificate);
    char* text = nullptr;
    const long length = BIO_get_mem_data(memory, &text);
    std::string result(text, static_cast<std::size_t>(length));
    BIO_free(memory);
    return result;
}

std::atomic<int> resumedSessions = 0;

class HttpTls : public testing::Test {
protected:
    HttpTls() {
        server.set_keep_alive_max_count(1); // each request makes a connection
        server.Get("/", [](const httplib::Request&, httplib::Response& reply) {
            reply.set_content("secure", "text/plain");
        });
        port = server.bind_to_any_port("127.0.0.1");
        listener = std::thread([this] { server.listen_after_bind(); });
        while (!server.is_running())
            std::this_thread::sleep_for(1ms);
    }
    ~HttpTls() override {
        session.reset();
        server.stop();
        listener.join();
        unsetenv("SSL_CERT_FILE");
    }

    void trustTheServer() {
        writeFile(folder.file("authority.pem"), pem(certificate.get()));
        setenv("SSL_CERT_FILE", folder.file("authority.pem").c_str(), 1);
    }

    HttpResponse fetch(const std::string& host) {
        HttpRequest request;
        request.url = fmt::format("https://{}:{}/", host, port);
        request.timeout = 5s;
        return session->send(request, {});
    }

    TransportFailure failureFor(const std::string& host) {
        try {
            fetch(host);
        } catch (const TransportError& error) {
            return error.failure;
        }
        ADD_FAILURE() << "an answer came from " << host;
        return {};
    }

    const TemporaryFolder folder;
    const Key key{EVP_EC_gen("P-256"), EVP_PKEY_free};
    const Certificate certificate = selfSigned(key.get());
    httplib::SSLServer server{certificate.get(), key.get()};
    int port = 0;
    std::thread listener;
    std::unique_ptr<HttpSession> session = makeHttpSession();
};

} // namespace

TEST_F(HttpTls, RefusesCertificatesThatNobodyVouchesFor) {
    EXPECT_EQ(failureFor("127.0.0.1"), TransportFailure::secureConnectionFailed);
}

TEST_F(HttpTls, RefusesCertificatesOfOtherHosts) {
    trustTheServer();
    EXPECT_EQ(failureFor("localhost"), TransportFailure::secureConnectionFailed);
}

TEST_F(HttpTls, ResumesItsSessions) {
    trustTheServer();
    resumedSessions = 0;
    SSL_CTX_set_info_callback(server.ssl_context(), [](const SSL* ssl, int where, int) {
        if ((where & SSL_CB_HANDSHAKE_DONE) && SSL_session_reused(ssl))
            ++resumedSessions;
    });
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(fetch("127.0.0.1").body, "secure");
    EXPECT_EQ(resumedSessions, 2);
}

} // namespace tavik
