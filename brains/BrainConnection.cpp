#include "brains/BrainConnection.h"

#include "brains/BrainCatalogue.h"
#include "brains/BrainHost.h"
#include "brains/KeyText.h"
#include "platform/http/WebAddress.h"
#include "platform/json/Json.h"
#include "platform/text/Text.h"

#include <vector>

namespace tavik {

namespace {

using namespace std::chrono_literals;

std::vector<HttpRequest::Header> headersFor(const std::string& provider, const std::string& key) {
    if (provider == "gemini")
        return {{"x-goog-api-key", key}};
    if (provider == "anthropic")
        return {{"x-api-key", key}, {"anthropic-version", "2023-06-01"}};
    return {{"Authorization", "Bearer " + key}};
}

bool describesModel(const std::string& body) {
    const auto description = parseJson(body);
    if (!description || member(*description, "error"))
        return false;
    return !stringMember(*description, "id").value_or("").empty() ||
           !stringMember(*description, "name").value_or("").empty();
}

void judge(const HttpResponse& response) {
    switch (response.status) {
    case 200:
        if (describesModel(response.body))
            return;
        throw BrainError("The provider returned an unexpected response. Please try again.");
    case 401:
    case 403:
        throw BrainError("Your provider didn't accept this key or its access permissions. Check "
                         "the key in your provider's account.");
    case 404:
        throw BrainError("This model isn't available with your key. Choose another model in Brain "
                         "Settings.");
    case 429:
        throw BrainError("Your provider is limiting requests. Check your account and try again "
                         "shortly.");
    default:
        throw BrainError("The connection check failed. Please try again shortly.");
    }
}

} // namespace

BrainConnection::BrainConnection(UserDefaults& settings, HttpSession& http)
    : defaults(settings)
    , session(http) {}

HttpRequest BrainConnection::request(const std::string& provider, const std::string& key,
                                     const std::string& model) const {
    const std::string plainKey = trimmed(key);
    if (!isPlausibleKey(plainKey))
        throw BrainError("Paste a valid API key first.");
    const BrainProvider& chosen = brainProvider(provider);
    if (chosen.word != provider)
        throw BrainError("Choose an AI provider first.");
    HttpRequest request;
    request.url = brainHost(defaults, chosen) + chosen.modelsPath + pathComponent(model);
    request.headers = headersFor(provider, plainKey);
    request.timeout = 15s;
    return request;
}

void BrainConnection::check(const std::string& provider, const std::string& key,
                            const std::string& model, std::stop_token stop) const {
    const HttpRequest asked = request(provider, key, model);
    try {
        judge(session.send(asked, std::move(stop)));
    } catch (const TransportError&) {
        throw BrainError("Couldn't reach your AI provider. Check your connection and try again.");
    }
}

} // namespace tavik
