#include "platform/speech/SsipConnection.h"

#include "platform/concurrency/Cancelled.h"
#include "platform/concurrency/StopSignal.h"
#include "platform/speech/SsipAddress.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <optional>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace tavik {

namespace {

using std::chrono::steady_clock;

constexpr auto patience = std::chrono::seconds(2);
constexpr auto patienceInAll = std::chrono::seconds(4);
constexpr std::size_t codeDigits = 3;
constexpr int firstErrorCode = 300;
constexpr int firstEventCode = 700;
// The list of all voices with their variants has about a megabyte.
constexpr std::size_t longestReply = 16 * 1024 * 1024;
constexpr std::size_t longestLine = 64 * 1024;
constexpr int mostReadsAPoll = 64;

constexpr const char* noAnswer = "the speech service does not answer";

bool isEvent(int code) {
    return code >= firstEventCode && code < firstEventCode + 100;
}

// Of "250-more to come" or "250 the last one"; nothing when the line has none.
std::optional<int> codeOf(const std::string& line) {
    const auto isDigit = [](unsigned char character) { return std::isdigit(character) != 0; };
    if (line.size() <= codeDigits || !std::all_of(line.begin(), line.begin() + codeDigits, isDigit))
        return std::nullopt;
    if (line[codeDigits] != '-' && line[codeDigits] != ' ')
        return std::nullopt;
    return std::stoi(line.substr(0, codeDigits));
}

} // namespace

SsipConnection::SsipConnection(EventHandler onEvent, const std::stop_token& stop)
    : handleEvent(std::move(onEvent))
    , descriptor(connectToSpeechService(stop)) {}

SsipConnection::~SsipConnection() {
    close(descriptor);
}

SsipConnection::Reply SsipConnection::request(std::string_view text, const std::stop_token& stop) {
    const StopSignal stopped(stop);
    const auto start = steady_clock::now();
    const auto end = start + patienceInAll;
    send(text, start + patience, &stopped);
    // The replies to earlier notifications come first, and are passed over.
    auto deadline = start + patience;
    while (replies.empty()) {
        if (isLost || steady_clock::now() > end || !waitFor(POLLIN, deadline, &stopped))
            throw SpeechError(noAnswer);
        if (receive())
            deadline = std::min(steady_clock::now() + patience, end);
    }
    Reply reply = std::move(replies.front());
    replies.erase(replies.begin());
    if (reply.code >= firstErrorCode)
        throw SpeechRefusal("the speech service refused: " + reply.lines.back());
    return reply;
}

bool SsipConnection::notify(std::string_view line) {
    try {
        send(line, steady_clock::now());
        ++repliesToPassOver;
        return true;
    } catch (const SpeechError&) {
        return false;
    }
}

bool SsipConnection::poll() {
    for (int read = 0; read < mostReadsAPoll && !isLost; ++read)
        if (!waitFor(POLLIN, steady_clock::now()) || !receive())
            break;
    // A reply to nothing would be taken for the next one.
    isLost = isLost || !replies.empty();
    return !isLost;
}

void SsipConnection::send(std::string_view bytes, Deadline deadline, const StopSignal* stopped) {
    while (!bytes.empty()) {
        const ssize_t sent = ::send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent >= 0) {
            bytes.remove_prefix(static_cast<std::size_t>(sent));
        } else if (errno != EINTR && (errno != EAGAIN || !waitFor(POLLOUT, deadline, stopped))) {
            // A line that went out in part cannot be taken back.
            isLost = true;
            throw SpeechError(noAnswer);
        }
    }
}

bool SsipConnection::waitFor(short events, Deadline deadline, const StopSignal* stopped) {
    while (true) {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(deadline - steady_clock::now());
        // A descriptor of -1 is passed over.
        std::array<pollfd, 2> polled{
            {{descriptor, events, 0}, {stopped ? stopped->descriptor() : -1, POLLIN, 0}}};
        const int count =
            ::poll(polled.data(), polled.size(), std::max(0, static_cast<int>(left.count())));
        if (polled[1].revents != 0 && count > 0) {
            isLost = true; // what was asked for may still come
            throw Cancelled();
        }
        if (count >= 0 || errno != EINTR)
            return count > 0;
    }
}

// Whether anything came.
bool SsipConnection::receive() {
    std::array<char, 16384> buffer;
    const ssize_t count = recv(descriptor, buffer.data(), buffer.size(), 0);
    if (count > 0) {
        received.append(buffer.data(), static_cast<std::size_t>(count));
        takeLines();
        return true;
    }
    isLost = isLost || count == 0 || (errno != EAGAIN && errno != EINTR);
    return false;
}

void SsipConnection::takeLines() {
    std::size_t begin = 0;
    for (std::size_t end; (end = received.find('\n', begin)) != std::string::npos;
         begin = end + 1) {
        std::string line = received.substr(begin, end - begin);
        if (line.ends_with('\r'))
            line.pop_back();
        takeLine(line);
    }
    received.erase(0, begin);
    isLost = isLost || received.size() > longestLine;
}

void SsipConnection::takeLine(const std::string& line) {
    const auto code = codeOf(line);
    if (!code) {
        isLost = true; // no speech service talks like this
        return;
    }
    Reply& growing = isEvent(*code) ? growingEvent : growingReply;
    growing.code = *code;
    growing.lines.push_back(line.substr(codeDigits + 1));
    growing.size += line.size();
    isLost = isLost || growing.size > longestReply;
    if (line[codeDigits] == ' ')
        finish(std::exchange(growing, {}));
}

void SsipConnection::finish(Reply reply) {
    if (isEvent(reply.code))
        handleEvent(reply.code, reply.lines.front());
    else if (repliesToPassOver > 0)
        --repliesToPassOver;
    else
        replies.push_back(std::move(reply));
}

} // namespace tavik
