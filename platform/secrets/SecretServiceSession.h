#pragma once

#include "platform/secrets/GlibCalls.h"
#include "platform/secrets/GlibNames.h"
#include "platform/secrets/SecretStore.h"

#include <string>
#include <vector>

namespace tavik {

// One visit to the Secret Service, with a connection of its own: a shared one would end the program
// when the bus ends, and would still be the dead one after the bus is back. For one thread. All of
// it throws SecretStoreError, also when the limit that the visit was given has passed, or
// Cancelled.
class SecretServiceSession {
public:
    enum class Keyring { missing, locked, unlocked };

    // Paths of items.
    struct Found {
        std::vector<std::string> unlocked;
        std::vector<std::string> locked;
    };

    SecretServiceSession(std::chrono::milliseconds limit, std::stop_token stop);

    Found find(const SecretName& name);

    // None when there is nothing in the item.
    std::optional<std::string> secretOf(const std::string& path);
    void replaceSecret(const std::string& path, const std::string& value);
    void removeItem(const std::string& path);
    void addItem(const SecretName& name, const std::string& label, const std::string& value);

    // What new items are added to. Of a locked one the service need not know what is in it.
    Keyring defaultKeyring();

private:
    ObjectReference<SecretItem> open(const std::string& path);
    std::string defaultCollection();
    bool isLocked(const std::string& collection);

    GlibCalls calls;
    const ObjectReference<GDBusConnection> connection;
    const ObjectReference<SecretService> service;
};

} // namespace tavik
