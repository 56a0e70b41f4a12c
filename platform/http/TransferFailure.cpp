#include "platform/http/TransferFailure.h"

#include <cerrno>
#include <curl/curl.h>
#include <fmt/format.h>

namespace tavik {

namespace {

TransportFailure connectFailure(int systemError, bool isOffline) {
    switch (systemError) {
    case ECONNREFUSED:
    case ECONNRESET:
        return TransportFailure::cannotConnectToHost; // somebody answered
    case EPERM:
    case EACCES:
        return TransportFailure::dataNotAllowed; // a packet filter or a security module
    default:
        break;
    }
    if (isOffline)
        return TransportFailure::notConnectedToInternet;
    return systemError == ETIMEDOUT ? TransportFailure::timedOut
                                    : TransportFailure::cannotConnectToHost;
}

TransportFailure kindOf(const FailedTransfer& failed, const std::function<bool()>& hasRouteOut) {
    const auto isOffline = [&] { return !failed.toThisMachine && !hasRouteOut(); };
    switch (failed.code) {
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
        return isOffline() ? TransportFailure::notConnectedToInternet
                           : TransportFailure::cannotFindHost;
    case CURLE_COULDNT_CONNECT:
    case CURLE_INTERFACE_FAILED:
        return connectFailure(failed.systemError, isOffline());
    case CURLE_PROXY:
        return TransportFailure::cannotConnectToHost;
    case CURLE_OPERATION_TIMEDOUT:
        return TransportFailure::timedOut;
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_INVALIDCERTSTATUS:
        return TransportFailure::secureConnectionFailed;
    case CURLE_SSL_CONNECT_ERROR:
        return isOffline() ? TransportFailure::networkConnectionLost
                           : TransportFailure::secureConnectionFailed;
    case CURLE_URL_MALFORMAT:
        return TransportFailure::badUrl;
    default: // the exchange was going on, or the response made no sense
        return isOffline() ? TransportFailure::networkConnectionLost : TransportFailure::other;
    }
}

std::string brokenExchange(int code, const std::string& host) {
    switch (code) {
    case CURLE_GOT_NOTHING:
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
    case CURLE_PARTIAL_FILE:
        return fmt::format("The connection to {} was closed before the response was complete.",
                           host);
    default:
        return fmt::format("The response of {} could not be read (error {}).", host, code);
    }
}

std::string description(TransportFailure kind, int code, const std::string& host) {
    switch (kind) {
    case TransportFailure::notConnectedToInternet:
        return "This machine has no connection to the internet.";
    case TransportFailure::networkConnectionLost:
        return "The network connection was lost.";
    case TransportFailure::dataNotAllowed:
        return "The system does not allow a network connection.";
    case TransportFailure::cannotFindHost:
        return code == CURLE_COULDNT_RESOLVE_PROXY
                   ? "The proxy's host name could not be found."
                   : fmt::format("The host {} could not be found.", host);
    case TransportFailure::cannotConnectToHost:
        return fmt::format("Could not connect to {}.", host);
    case TransportFailure::secureConnectionFailed:
        return fmt::format("A secure connection to {} could not be made.", host);
    case TransportFailure::timedOut:
        return "The request timed out.";
    case TransportFailure::responseTooLarge:
        return "The response is too large.";
    case TransportFailure::badUrl:
        return "This is not an http or https address.";
    case TransportFailure::other:
        break;
    }
    return brokenExchange(code, host);
}

} // namespace

TransportError transportError(const FailedTransfer& failed,
                              const std::function<bool()>& hasRouteOut) {
    const TransportFailure kind = kindOf(failed, hasRouteOut);
    return TransportError(kind, description(kind, failed.code, failed.host.substr(0, 253)));
}

} // namespace tavik
