#include "platform/secrets/GlibFailure.h"
#include "platform/secrets/SecretServiceSession.h"

namespace tavik {

namespace {

using namespace std::chrono_literals;

constexpr auto lookUpLimit = 1000ms;
constexpr auto changeLimit = 3000ms;

using Keyring = SecretServiceSession::Keyring;

class SecretServiceStore : public SecretStore {
public:
    std::optional<std::string> lookUp(const SecretName& name, std::stop_token stop) override {
        SecretServiceSession session(lookUpLimit, std::move(stop));
        const auto found = session.find(name);
        for (const std::string& item : found.unlocked)
            if (auto secret = session.secretOf(item))
                return secret;
        if (found.unlocked.empty())
            refuseLocked(session, found);
        return std::nullopt;
    }

    // All of them, so that it does not matter which one a look-up takes.
    bool update(const SecretName& name, const std::string& value, std::stop_token stop) override {
        SecretServiceSession session(changeLimit, std::move(stop));
        const auto found = session.find(name);
        for (const std::string& item : found.unlocked)
            session.replaceSecret(item, value);
        if (found.unlocked.empty())
            refuseLocked(session, found);
        return !found.unlocked.empty();
    }

    void add(const SecretName& name, const std::string& label, const std::string& value,
             std::stop_token stop) override {
        SecretServiceSession session(changeLimit, std::move(stop));
        // Otherwise the service would be asked to make or to unlock one, which is for the user.
        if (session.defaultKeyring() != Keyring::unlocked)
            throw lockedSecret();
        session.addItem(name, label, value);
    }

    void remove(const SecretName& name, std::stop_token stop) override {
        SecretServiceSession session(changeLimit, std::move(stop));
        const auto found = session.find(name);
        for (const std::string& item : found.unlocked)
            session.removeItem(item);
        refuseLocked(session, found);
    }

private:
    // Throws when there is, or may be, an item that only an unlocked keyring would give.
    static void refuseLocked(SecretServiceSession& session,
                             const SecretServiceSession::Found& found) {
        if (!found.locked.empty() ||
            (found.unlocked.empty() && session.defaultKeyring() == Keyring::locked))
            throw lockedSecret();
    }
};

} // namespace

std::unique_ptr<SecretStore> makeSecretStore() {
    return std::make_unique<SecretServiceStore>();
}

} // namespace tavik
