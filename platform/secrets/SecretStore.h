#pragma once

#include <memory>
#include <optional>
#include <stdexcept>
#include <stop_token>
#include <string>

namespace tavik {

enum class SecretFailure {
    noService, // no session bus, or nobody on it who keeps secrets
    locked,    // the user would have to be asked for a password first
    timedOut,
    other,
};

// A secret could not be read or written. `what()` is a clear phrase without secrets.
class SecretStoreError : public std::runtime_error {
public:
    SecretStoreError(SecretFailure kind, int number);

    SecretFailure failure;
    // The platform's number, never 0: -25300 when the item is gone; else, negative, its error code
    // plus 1000 for GIO's errors (-1024: timed out), 2000 for the Secret Service's (-2002: locked),
    // 3000 for those of D-Bus (-3002: no such service); -4000 for any other.
    int status;
};

// What a secret is found by: the item's attributes "service" and "account".
struct SecretName {
    std::string service;
    std::string account;
};

// The desktop's keyring. Never asks the user for anything, and never waits long: a second at most
// for a look-up, three for a change. All of it throws SecretStoreError, or Cancelled within 50 ms
// of a stop request. Safe from any thread; each call stands for itself, so that a service that was
// gone, or is another one now, needs no care.
class SecretStore {
public:
    virtual ~SecretStore() = default;

    // None when there is no such secret.
    virtual std::optional<std::string> lookUp(const SecretName& name, std::stop_token stop) = 0;

    // Replaces the secret where it is kept; false when there is none.
    [[nodiscard]] virtual bool update(const SecretName& name, const std::string& value,
                                      std::stop_token stop) = 0;

    // Keeps a new secret in the user's default keyring. `label` is what people see.
    virtual void add(const SecretName& name, const std::string& label, const std::string& value,
                     std::stop_token stop) = 0;

    // Does nothing when there is no such secret.
    virtual void remove(const SecretName& name, std::stop_token stop) = 0;
};

// The Secret Service of the session bus, through libsecret. An item that another program stored
// under the same two attributes, as with `secret-tool store --label=LABEL service S account A`, is
// the same item.
std::unique_ptr<SecretStore> makeSecretStore();

} // namespace tavik
