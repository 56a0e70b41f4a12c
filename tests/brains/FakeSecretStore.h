#pragma once

#include "platform/secrets/SecretStore.h"

#include <map>
#include <string>
#include <vector>

namespace tavik {

// Keeps its secrets in memory, under "service/account", and fails when it is told to.
class FakeSecretStore : public SecretStore {
public:
    std::optional<std::string> lookUp(const SecretName& name, std::stop_token) override {
        fail(lookUpStatus);
        const auto found = secrets.find(keyOf(name));
        return found == secrets.end() ? std::nullopt : std::optional(found->second);
    }
    bool update(const SecretName& name, const std::string& value, std::stop_token) override {
        changes.push_back("update");
        fail(updateStatus);
        const auto found = secrets.find(keyOf(name));
        if (found == secrets.end())
            return false;
        found->second = value;
        return true;
    }
    void add(const SecretName& name, const std::string& label, const std::string& value,
             std::stop_token) override {
        changes.push_back("add " + label);
        fail(addStatus);
        secrets[keyOf(name)] = value;
    }
    void remove(const SecretName& name, std::stop_token) override {
        fail(removeStatus);
        secrets.erase(keyOf(name));
    }

    std::map<std::string, std::string> secrets;
    std::vector<std::string> changes;
    SecretFailure failure = SecretFailure::other;
    int lookUpStatus = 0; // of the failure; 0 for none
    int updateStatus = 0;
    int addStatus = 0;
    int removeStatus = 0;

private:
    static std::string keyOf(const SecretName& name) { return name.service + "/" + name.account; }
    void fail(int status) const {
        if (status != 0)
            throw SecretStoreError(failure, status);
    }
};

} // namespace tavik
