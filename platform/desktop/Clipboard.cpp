#include "platform/desktop/Clipboard.h"

#include "platform/desktop/BoundedCall.h"
#include "platform/desktop/SelectionReader.h"

namespace tavik {

namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

constexpr auto patience = 1000ms;
constexpr auto patienceWithServer = patience + 100ms;

std::optional<std::string> readClipboard() {
    const auto connection = XConnection::open();
    if (!connection)
        return std::nullopt;
    return SelectionReader(*connection, "CLIPBOARD", steady_clock::now() + patience).text();
}

} // namespace

std::optional<std::string> clipboardText(std::stop_token stop) {
    const auto text = callWithin<std::optional<std::string>>(
        patienceWithServer, std::move(stop),
        [](const std::stop_token&) { return readClipboard(); });
    return text.value_or(std::nullopt);
}

} // namespace tavik
