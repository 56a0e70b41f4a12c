#include "mcp/MCPClient.h"

#include "app/Log.h"
#include "platform/concurrency/Cancelled.h"
#include "platform/concurrency/ThreadName.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <fmt/format.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <system_error>

namespace tavik {

namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

constexpr auto handshakeTimeout = 30s;
constexpr auto listTimeout = 15s;
constexpr auto endGrace = 500ms;
constexpr std::size_t maximumLineBytes = 64 * 1024 * 1024;
// A child that takes no more than this behind is no longer reading.
constexpr std::size_t maximumOutgoingBytes = 64 * 1024 * 1024;
// Between two looks at what else happened.
constexpr int readsInARow = 16;

constexpr const char* notRunning = "The desktop-control engine is not running.";

using Chunk = std::array<char, 65536>;

// Reads what is there and passes it to `take`; false at the end of the stream.
template<typename Take>
bool readAvailable(int descriptor, Take take) {
    static thread_local Chunk chunk;
    for (int count = 0; count < readsInARow; ++count) {
        const ssize_t size = read(descriptor, chunk.data(), chunk.size());
        if (size == 0)
            return false;
        if (size < 0)
            return errno == EAGAIN || errno == EINTR;
        take(std::string_view(chunk.data(), static_cast<std::size_t>(size)));
    }
    return true;
}

std::optional<std::int64_t> identifierOf(const Json& reply) {
    const Json* id = member(reply, "id");
    return id && id->is_number_integer() ? std::optional(id->get<std::int64_t>()) : std::nullopt;
}

MCPClient::ToolInfo toolInfoOf(const Json& tool) {
    const Json* schema = member(tool, "inputSchema");
    return {*stringMember(tool, "name"), stringMember(tool, "description").value_or(""),
            schema && schema->is_object() ? *schema : Json{{"type", "object"}}};
}

} // namespace

MCPClient::MCPClient(std::string name, std::string program, std::vector<std::string> arguments,
                     std::optional<Environment> environment)
    : serverName(std::move(name))
    , command{std::move(program), std::move(arguments), std::move(environment)}
    , wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
    , buffer(maximumLineBytes) {}

MCPClient::~MCPClient() {
    terminate();
    {
        const std::lock_guard lock(mutex);
        killAt = steady_clock::now() + endGrace;
    }
    eventfd_write(wake.get(), 1);
    if (thread.joinable())
        thread.join();
}

bool MCPClient::alive() {
    const std::lock_guard lock(mutex);
    return isAlive;
}

void MCPClient::start(std::stop_token stop) {
    if (!wake)
        throw BrainError("The desktop-control connection couldn't be prepared safely.");
    pid_t pid = 0;
    try {
        const std::lock_guard lock(mutex);
        process = std::make_unique<SpawnedProcess>(command);
        pid = process->pid();
        isAlive = true;
    } catch (const std::system_error& error) {
        throw BrainError("I couldn't start the desktop-control engine: " + error.code().message());
    }
    thread = std::thread([this] {
        nameThisThread("ai.tavik.mcp");
        serve();
    });
    request("initialize",
            {{"protocolVersion", "2024-11-05"},
             {"capabilities", Json::object()},
             {"clientInfo", {{"name", "Tavik"}, {"version", "1.0"}}}},
            handshakeTimeout, stop);
    notify("notifications/initialized");
    log(fmt::format("[mcp] {} up (pid {})", serverName, pid));
}

std::vector<MCPClient::ToolInfo> MCPClient::listTools(std::stop_token stop) {
    const Json result = request("tools/list", Json::object(), listTimeout, stop);
    const Json* list = member(result, "tools");
    if (!list || !list->is_array() ||
        !std::all_of(list->begin(), list->end(), [](const Json& tool) { return tool.is_object(); }))
        throw BrainError("The desktop-control engine returned no tool list.");
    std::vector<ToolInfo> tools;
    for (const Json& tool : *list)
        if (stringMember(tool, "name"))
            tools.push_back(toolInfoOf(tool));
    return tools;
}

ToolReply MCPClient::callTool(const std::string& name, const Json& arguments,
                              std::chrono::milliseconds timeout, std::stop_token stop) {
    return toolReplyOf(
        request("tools/call", {{"name", name}, {"arguments", arguments}}, timeout, stop));
}

Json MCPClient::request(const char* method, Json parameters, std::chrono::milliseconds timeout,
                        const std::stop_token& stop) {
    throwIfStopped(stop);
    std::unique_lock lock(mutex);
    const std::int64_t id = nextID++;
    if (!sendLocked({{"jsonrpc", "2.0"},
                     {"id", id},
                     {"method", method},
                     {"params", std::move(parameters)}}))
        throw BrainError(notRunning);
    const auto entry = pending.emplace(id, std::nullopt).first;
    answered.wait_until(lock, stop, steady_clock::now() + timeout,
                        [&] { return entry->second.has_value(); });
    const auto answer = std::move(entry->second);
    pending.erase(entry);
    if (!answer)
        sendLocked({{"jsonrpc", "2.0"},
                    {"method", "notifications/cancelled"},
                    {"params", {{"requestId", id}, {"reason", "Tavik stopped waiting"}}}});
    lock.unlock();
    if (answer && answer->failure)
        throw BrainError(*answer->failure);
    if (answer)
        return answer->result;
    throwIfStopped(stop);
    throw BrainError("The desktop-control engine didn't respond in time. The action may already "
                     "have happened; check the desktop before retrying.");
}

void MCPClient::notify(const char* method) {
    const std::lock_guard lock(mutex);
    sendLocked({{"jsonrpc", "2.0"}, {"method", method}});
}

bool MCPClient::sendLocked(const Json& message) {
    if (!isAlive || outgoing.size() > maximumOutgoingBytes)
        return false;
    const bool isFirst = outgoing.isEmpty();
    outgoing.append(compactJson(message) + "\n");
    if (!isFirst)
        return true;
    const bool isTaken = flushLocked();
    if (!outgoing.isEmpty())
        eventfd_write(wake.get(), 1); // the thread writes the rest
    return isTaken;
}

bool MCPClient::flushLocked() {
    return outgoing.flush([this](std::string_view bytes) { return process->write(bytes); });
}

void MCPClient::failAllLocked(const std::string& sentence) {
    for (auto& [id, answer] : pending)
        if (!answer)
            answer = Answer{Json::object(), sentence};
    answered.notify_all();
}

void MCPClient::terminate() {
    const std::lock_guard lock(mutex);
    isAlive = false;
    failAllLocked("The desktop-control connection was stopped. An action may already have "
                  "happened; check the desktop before retrying.");
    outgoing.clear();
    if (!process)
        return;
    process->closeInput();
    process->signal(SIGTERM);
}

void MCPClient::serve() {
    while (!hasExited()) {
        auto descriptors = waits();
        poll(descriptors.data(), descriptors.size(), pollMilliseconds());
        eventfd_t ignored = 0;
        eventfd_read(wake.get(), &ignored);
        readOutput();
        readErrors();
        const std::lock_guard lock(mutex);
        flushLocked();
    }
    readOutput(); // what it said last
    died();
}

// For ever, but for a process that was told to end and does not: that one is killed in time.
int MCPClient::pollMilliseconds() {
    const std::lock_guard lock(mutex);
    if (!killAt)
        return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*killAt - steady_clock::now());
    if (left > 0ms)
        return static_cast<int>(left.count());
    process->signal(SIGKILL);
    return static_cast<int>(std::chrono::milliseconds(endGrace).count());
}

std::vector<pollfd> MCPClient::waits() {
    const std::lock_guard lock(mutex);
    std::vector<pollfd> descriptors = {{wake.get(), POLLIN, 0}, {process->exit(), POLLIN, 0}};
    if (outputIsOpen)
        descriptors.push_back({process->output(), POLLIN, 0});
    if (errorsAreOpen)
        descriptors.push_back({process->errors(), POLLIN, 0});
    if (!outgoing.isEmpty())
        descriptors.push_back({process->input(), POLLOUT, 0});
    return descriptors;
}

void MCPClient::readOutput() {
    if (outputIsOpen)
        outputIsOpen =
            readAvailable(process->output(), [this](std::string_view bytes) { consume(bytes); });
}

void MCPClient::readErrors() {
    std::size_t count = 0;
    if (errorsAreOpen)
        errorsAreOpen = readAvailable(process->errors(),
                                      [&](std::string_view bytes) { count += bytes.size(); });
    if (count > 0)
        log(fmt::format("[{}] diagnostic output received ({} bytes)", serverName, count));
}

void MCPClient::consume(std::string_view bytes) {
    for (const std::string& line : buffer.take(bytes))
        if (const auto message = parseJson(line))
            deliver(*message);
}

// Whatever is no reply to a request that still waits is not for us.
void MCPClient::deliver(const Json& reply) {
    const auto id = identifierOf(reply);
    if (!id)
        return;
    Answer answer;
    const Json* error = member(reply, "error");
    const Json* result = member(reply, "result");
    if (error && error->is_object())
        answer.failure = "The desktop-control engine reported an error: " +
                         stringMember(*error, "message").value_or("unknown error");
    else if (result && result->is_object())
        answer.result = *result;
    const std::lock_guard lock(mutex);
    const auto waiting = pending.find(*id);
    if (waiting == pending.end() || waiting->second)
        return;
    waiting->second = std::move(answer);
    answered.notify_all();
}

bool MCPClient::hasExited() {
    const std::lock_guard lock(mutex);
    return process->hasEnded();
}

void MCPClient::died() {
    {
        const std::lock_guard lock(mutex);
        isAlive = false;
        outgoing.clear();
        failAllLocked("The desktop-control engine stopped unexpectedly.");
    }
    log("[mcp] " + serverName + " exited");
}

} // namespace tavik
