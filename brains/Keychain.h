#pragma once

#include "platform/secrets/SecretStore.h"

#include <optional>
#include <stop_token>
#include <string>

namespace tavik {

// The user's keys in the desktop's keyring. An account is a provider's word, such as "gemini"; its
// item has the attributes "service", which is "ai.tavik", and "account", so that
//     secret-tool store --label="Tavik key for gemini" service ai.tavik account gemini
// stores a key for Tavik and `secret-tool lookup service ai.tavik account gemini` shows the one
// that Tavik stored. Failures are logged, with the platform's number but never with a key, and
// otherwise silent. Every call is bounded in time, throws Cancelled when it is stopped and nothing
// else, and is safe from any thread.
class Keychain {
public:
    explicit Keychain(SecretStore& store);

    // The one of the user's session.
    static Keychain& standard();

    // None also when what is stored cannot be a key: no text, or longer than 64 KiB. A desktop
    // without a keyring is not logged, since then that is how it is.
    std::optional<std::string> get(const std::string& account, std::stop_token stop = {});

    // Replaces the account's key or adds it; false when it is not stored.
    [[nodiscard]] bool set(const std::string& value, const std::string& account,
                           std::stop_token stop = {});

    void remove(const std::string& account, std::stop_token stop = {});

    // Copies the keys of the key files into the keyring where it has none for their provider. The
    // files stay. Where there is no keyring, or it does not say what it has, nothing is copied.
    void migrateFromFilesIfNeeded(std::stop_token stop = {});

private:
    struct Answer {
        bool isKnown = false; // whether the keyring could be asked
        std::optional<std::string> key;
    };

    Answer ask(const std::string& account, std::stop_token stop);

    SecretStore& store;
};

} // namespace tavik
