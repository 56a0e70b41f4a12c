#include "platform/secrets/GlibFailure.h"

#include <algorithm>
#include <gio/gio.h>
#include <iterator>
#include <libsecret/secret.h>

namespace tavik {

namespace {

constexpr int noSuchItem = -25300;
constexpr int unknownError = -4000;

constexpr int gioStatus(int code) {
    return -1000 - code;
}

constexpr int secretServiceStatus(int code) {
    return -2000 - code;
}

constexpr int busStatus(int code) {
    return -3000 - code;
}

const char* phraseFor(SecretFailure failure) {
    switch (failure) {
    case SecretFailure::noService:
        return "there is no keyring service";
    case SecretFailure::locked:
        return "the keyring is locked";
    case SecretFailure::timedOut:
        return "the keyring does not answer";
    case SecretFailure::other:
        break;
    }
    return "the keyring failed";
}

template<std::size_t Count>
bool isOneOf(int code, const int (&codes)[Count]) {
    return std::find(std::begin(codes), std::end(codes), code) != std::end(codes);
}

SecretStoreError gioError(int code) {
    const int unreachable[] = {G_IO_ERROR_NOT_FOUND,    G_IO_ERROR_CONNECTION_REFUSED,
                               G_IO_ERROR_CLOSED,       G_IO_ERROR_BROKEN_PIPE,
                               G_IO_ERROR_FAILED,       G_IO_ERROR_INVALID_ARGUMENT,
                               G_IO_ERROR_NOT_SUPPORTED};
    if (code == G_IO_ERROR_TIMED_OUT)
        return {SecretFailure::timedOut, gioStatus(code)};
    return {isOneOf(code, unreachable) ? SecretFailure::noService : SecretFailure::other,
            gioStatus(code)};
}

SecretStoreError secretServiceError(int code) {
    if (code == SECRET_ERROR_NO_SUCH_OBJECT)
        return {SecretFailure::other, noSuchItem};
    return {code == SECRET_ERROR_IS_LOCKED ? SecretFailure::locked : SecretFailure::other,
            secretServiceStatus(code)};
}

SecretStoreError busError(int code) {
    const int unreachable[] = {G_DBUS_ERROR_SERVICE_UNKNOWN,
                               G_DBUS_ERROR_NAME_HAS_NO_OWNER,
                               G_DBUS_ERROR_NO_REPLY,
                               G_DBUS_ERROR_DISCONNECTED,
                               G_DBUS_ERROR_SPAWN_EXEC_FAILED,
                               G_DBUS_ERROR_SPAWN_CHILD_EXITED,
                               G_DBUS_ERROR_SPAWN_CHILD_SIGNALED,
                               G_DBUS_ERROR_SPAWN_SERVICE_NOT_FOUND,
                               G_DBUS_ERROR_SPAWN_FAILED};
    return {isOneOf(code, unreachable) ? SecretFailure::noService : SecretFailure::other,
            busStatus(code)};
}

} // namespace

SecretStoreError::SecretStoreError(SecretFailure kind, int number)
    : std::runtime_error(phraseFor(kind))
    , failure(kind)
    , status(number) {}

GlibFailure::~GlibFailure() {
    g_clear_error(&error);
}

void GlibFailure::raise() const {
    if (error && error->domain == G_IO_ERROR)
        throw gioError(error->code);
    if (error && error->domain == SECRET_ERROR)
        throw secretServiceError(error->code);
    if (error && error->domain == G_DBUS_ERROR)
        throw busError(error->code);
    throw SecretStoreError(SecretFailure::other, unknownError);
}

SecretStoreError noSessionBus() {
    return gioError(G_IO_ERROR_NOT_FOUND);
}

SecretStoreError lockedSecret() {
    return secretServiceError(SECRET_ERROR_IS_LOCKED);
}

SecretStoreError timedOutSecret() {
    return gioError(G_IO_ERROR_TIMED_OUT);
}

} // namespace tavik
