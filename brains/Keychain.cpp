#include "brains/Keychain.h"

#include "app/Log.h"
#include "brains/LegacyKey.h"
#include "platform/text/Text.h"

namespace tavik {

namespace {

constexpr auto providers = {"anthropic", "openai", "gemini", "xai"};

SecretName nameOf(const std::string& account) {
    return {.service = "ai.tavik", .account = account};
}

void logFailure(const char* action, const std::string& account, const SecretStoreError& error) {
    log(std::string("[keychain] ") + action + " failed for " + account + ": OSStatus " +
        std::to_string(error.status));
}

} // namespace

Keychain::Keychain(SecretStore& secretStore)
    : store(secretStore) {}

Keychain& Keychain::standard() {
    static const auto store = makeSecretStore();
    static Keychain instance(*store);
    return instance;
}

std::optional<std::string> Keychain::get(const std::string& account, std::stop_token stop) {
    return ask(account, std::move(stop)).key;
}

bool Keychain::set(const std::string& value, const std::string& account, std::stop_token stop) {
    const SecretName name = nameOf(account);
    const char* action = "update";
    try {
        if (store.update(name, value, stop))
            return true;
        action = "add";
        store.add(name, "Tavik key for " + account, value, std::move(stop));
        return true;
    } catch (const SecretStoreError& error) {
        logFailure(action, account, error);
        return false;
    }
}

void Keychain::remove(const std::string& account, std::stop_token stop) {
    try {
        store.remove(nameOf(account), std::move(stop));
    } catch (const SecretStoreError& error) {
        logFailure("delete", account, error);
    }
}

void Keychain::migrateFromFilesIfNeeded(std::stop_token stop) {
    for (const std::string provider : providers) {
        const auto key = legacyKey(provider);
        if (!key)
            continue;
        const Answer answer = ask(provider, stop);
        // A key that cannot be read now may be a newer one.
        if (answer.isKnown && !answer.key && set(*key, provider, stop))
            log("[keychain] migrated " + provider + " key from ~/.vessa into Keychain");
    }
}

Keychain::Answer Keychain::ask(const std::string& account, std::stop_token stop) {
    try {
        auto value = store.lookUp(nameOf(account), std::move(stop));
        const bool isText = value && value->size() <= maximumKeyBytes && isValidUtf8(*value);
        return {true, isText ? std::move(value) : std::nullopt};
    } catch (const SecretStoreError& error) {
        if (error.failure != SecretFailure::noService)
            logFailure("look-up", account, error);
        return {};
    }
}

} // namespace tavik
