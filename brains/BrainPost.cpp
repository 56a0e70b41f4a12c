#include "brains/BrainPost.h"

#include "app/Log.h"
#include "brains/KeyText.h"
#include "brains/SpokenError.h"
#include "platform/concurrency/Cancelled.h"
#include "platform/text/Text.h"

#include <chrono>
#include <fmt/format.h>
#include <optional>

namespace tavik {

namespace {

using namespace std::chrono_literals;

constexpr int maximumAttempts = 3;
constexpr std::size_t quotedBytes = 300;
// Answers are some kilobytes; a search's results may come along. Parsed, they take many times the
// room.
constexpr std::size_t maximumAnswerBytes = 8 * 1024 * 1024;

bool isOffline(TransportFailure failure) {
    return failure == TransportFailure::notConnectedToInternet ||
           failure == TransportFailure::networkConnectionLost ||
           failure == TransportFailure::dataNotAllowed;
}

bool isBusy(int status) {
    return status == 429 || status == 500 || status == 502 || status == 503 || status == 504;
}

std::optional<Json> payloadOf(const std::string& body) {
    auto parsed = parseJson(body);
    if (!parsed)
        return std::nullopt;
    if (parsed->is_array() && !parsed->empty())
        parsed = Json(parsed->front());
    return parsed->is_object() ? parsed : std::nullopt;
}

// The body's beginning; nothing when that is no text.
std::optional<std::string> beginningOf(const std::string& body) {
    std::string beginning(firstBytes(body, quotedBytes));
    if (beginning.empty() || !isValidUtf8(beginning))
        return std::nullopt;
    return beginning;
}

void failUnlessWorthRetrying(const TransportError& error, std::string_view provider, int attempt) {
    if (isOffline(error.failure))
        throw BrainError("I can't reach the internet right now.");
    log(fmt::format("[brain] network error (attempt {}): {}", attempt, error.what()));
    if (attempt == maximumAttempts)
        throw BrainError(
            fmt::format("I couldn't reach {} — the connection kept failing.", provider));
}

// The key that a client put into the headers, in whichever way its provider wants it.
std::optional<std::string> keyIn(const HttpRequest& request) {
    constexpr std::string_view scheme = "Bearer ";
    for (const auto& [name, value] : request.headers) {
        if (name == "x-api-key" || name == "x-goog-api-key")
            return value;
        if (name == "Authorization" && value.starts_with(scheme))
            return value.substr(scheme.size());
    }
    return std::nullopt;
}

// Providers may repeat a key that they refuse; it must not be read aloud.
std::string withoutKey(std::string text, const HttpRequest& request) {
    const std::string key = keyIn(request).value_or("");
    for (std::size_t at = 0; !key.empty() && (at = text.find(key, at)) != std::string::npos;)
        text.replace(at, key.size(), "…");
    return text;
}

std::string detailOf(const std::optional<Json>& payload, const std::string& body,
                     const HttpRequest& request) {
    const Json* error = payload ? member(*payload, "error") : nullptr;
    const auto message = error ? stringMember(*error, "message") : std::nullopt;
    return message ? withoutKey(*message, request)
                   : beginningOf(withoutKey(body, request)).value_or("no response");
}

// The answer's object; nothing when the provider is busy and may be asked again.
std::optional<Json> acceptedObject(const HttpResponse& response, const HttpRequest& request,
                                   std::string_view provider, int attempt) {
    auto payload = payloadOf(response.body);
    if (payload && response.status >= 200 && response.status <= 299)
        return payload;
    log(fmt::format("[brain] {} HTTP {} (attempt {})", provider, response.status, attempt));
    if (isBusy(response.status) && attempt < maximumAttempts)
        return std::nullopt;
    throw BrainStatusError(response.status, spokenError(provider, response.status,
                                                        detailOf(payload, response.body, request)));
}

} // namespace

Json brainPost(HttpRequest request, const Json& body, std::string_view provider,
               HttpSession& session, Clock& clock, std::stop_token stop) {
    const auto key = keyIn(request);
    if (key && !isPlausibleKey(*key)) // what cannot be sent would look like a network that fails
        throw BrainError(spokenError(provider, 401, ""));
    request.method = "POST";
    request.timeout = 60s;
    request.maximumResponseBytes = maximumAnswerBytes;
    request.body = compactJson(body);
    for (int attempt = 1;; ++attempt) {
        throwIfStopped(stop);
        std::chrono::milliseconds pause = attempt * 1500ms;
        try {
            const HttpResponse response = session.send(request, stop);
            if (auto object = acceptedObject(response, request, provider, attempt))
                return std::move(*object);
        } catch (const TransportError& error) {
            throwIfStopped(stop);
            failUnlessWorthRetrying(error, provider, attempt);
            pause = attempt * 1000ms;
        }
        clock.sleepFor(pause, stop);
    }
}

} // namespace tavik
