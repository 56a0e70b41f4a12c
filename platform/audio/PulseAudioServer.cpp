#include "platform/audio/PulseAudioServer.h"

#include "platform/audio/PulseCapture.h"
#include "platform/audio/PulseConnection.h"
#include "platform/audio/PulseSample.h"
#include "platform/concurrency/Cancelled.h"
#include "platform/concurrency/Clock.h"

#include <algorithm>
#include <cstring>

namespace tavik {

namespace {

constexpr int confirmations = 40;
constexpr auto confirmationPause = std::chrono::milliseconds(50);

// What an introspection call collects, and for whom it signals.
template<typename Value>
struct Collection {
    const PulseConnection& connection;
    std::vector<Value> values;
};

template<typename Info>
AudioDevice deviceOf(const Info& info) {
    return {info.index,
            info.name ? info.name : "",
            info.description ? info.description : "",
            {info.sample_spec.rate, info.sample_spec.channels}};
}

// A source that is no monitor of an output.
void collectInput(pa_context*, const pa_source_info* info, int end, void* data) {
    auto* collection = static_cast<Collection<AudioDevice>*>(data);
    if (end == 0 && info->monitor_of_sink == PA_INVALID_INDEX)
        collection->values.push_back(deviceOf(*info));
    else if (end != 0)
        collection->connection.signal();
}

void collectOutput(pa_context*, const pa_sink_info* info, int end, void* data) {
    auto* collection = static_cast<Collection<AudioDevice>*>(data);
    if (end == 0)
        collection->values.push_back(deviceOf(*info));
    else
        collection->connection.signal();
}

struct Defaults {
    std::string source;
    std::string sink;
};

void collectDefaults(pa_context*, const pa_server_info* info, void* data) {
    auto* collection = static_cast<Collection<Defaults>*>(data);
    if (info)
        collection->values.push_back({info->default_source_name ? info->default_source_name : "",
                                      info->default_sink_name ? info->default_sink_name : ""});
    collection->connection.signal();
}

void noteSuccess(pa_context*, int success, void* data) {
    auto* collection = static_cast<Collection<bool>*>(data);
    collection->values.push_back(success != 0);
    collection->connection.signal();
}

// The lock is held by the caller of all four.
std::vector<AudioDevice> inputsOf(PulseConnection& connection, const std::stop_token& stop) {
    Collection<AudioDevice> inputs{connection, {}};
    connection.complete(
        pa_context_get_source_info_list(connection.context(), collectInput, &inputs), stop);
    return inputs.values;
}

std::vector<AudioDevice> outputsOf(PulseConnection& connection, const std::stop_token& stop) {
    Collection<AudioDevice> outputs{connection, {}};
    connection.complete(
        pa_context_get_sink_info_list(connection.context(), collectOutput, &outputs), stop);
    return outputs.values;
}

Defaults defaultsOf(PulseConnection& connection, const std::stop_token& stop) {
    Collection<Defaults> defaults{connection, {}};
    connection.complete(
        pa_context_get_server_info(connection.context(), collectDefaults, &defaults), stop);
    return defaults.values.empty() ? Defaults{} : defaults.values.front();
}

bool setDefaultSource(PulseConnection& connection, const std::string& identifier,
                      const std::stop_token& stop) {
    Collection<bool> success{connection, {}};
    connection.complete(pa_context_set_default_source(connection.context(), identifier.c_str(),
                                                      noteSuccess, &success),
                        stop);
    return !success.values.empty() && success.values.front();
}

std::optional<AudioDevice> withIdentifier(const std::vector<AudioDevice>& devices,
                                          const std::string& identifier) {
    const auto found = std::find_if(devices.begin(), devices.end(), [&](const AudioDevice& device) {
        return device.identifier == identifier;
    });
    return found == devices.end() ? std::nullopt : std::optional(*found);
}

} // namespace

std::unique_ptr<AudioServer> makePulseAudioServer() {
    return std::make_unique<PulseAudioServer>();
}

PulseAudioServer::~PulseAudioServer() {
    watchRoutes({}, {});
    if (!connection)
        return;
    // A capture may keep the connection alive for longer.
    const PulseConnection::Lock lock(*connection);
    connection->onLost = {};
    pa_context_set_subscribe_callback(connection->context(), nullptr, nullptr);
}

std::shared_ptr<PulseConnection> PulseAudioServer::connected(const std::stop_token& stop) {
    const auto guard = connecting.lockUnlessStopped(stop);
    if (connection) {
        const PulseConnection::Lock lock(*connection);
        if (connection->isAlive())
            return connection;
    }
    connection.reset();
    keptSounds.clear();
    auto fresh = std::make_shared<PulseConnection>(stop);
    const std::stop_callback wake(stop, [&fresh] { fresh->wake(); });
    const PulseConnection::Lock lock(*fresh);
    subscribe(*fresh, stop);
    fresh->onLost = [this] { tellOfChange(); };
    connection = fresh;
    return fresh;
}

void PulseAudioServer::subscribe(PulseConnection& fresh, const std::stop_token& stop) {
    pa_context_set_subscribe_callback(
        fresh.context(),
        [](pa_context*, pa_subscription_event_type_t event, std::uint32_t, void* self) {
            const auto facility = event & PA_SUBSCRIPTION_EVENT_FACILITY_MASK;
            const auto kind = event & PA_SUBSCRIPTION_EVENT_TYPE_MASK;
            // A device's own changes, such as its volume, are no change of the route.
            if (facility == PA_SUBSCRIPTION_EVENT_SERVER || kind != PA_SUBSCRIPTION_EVENT_CHANGE)
                static_cast<PulseAudioServer*>(self)->tellOfChange();
        },
        this);
    const auto mask = static_cast<pa_subscription_mask_t>(
        PA_SUBSCRIPTION_MASK_SERVER | PA_SUBSCRIPTION_MASK_SOURCE | PA_SUBSCRIPTION_MASK_SINK);
    Collection<bool> success{fresh, {}};
    fresh.complete(pa_context_subscribe(fresh.context(), mask, noteSuccess, &success), stop);
}

void PulseAudioServer::tellOfChange() {
    const std::lock_guard guard(watching);
    if (routeChanged)
        routeChanged();
}

// What `ask` gets of the server, whose lock it holds meanwhile.
template<typename Ask>
auto PulseAudioServer::withServer(const std::stop_token& stop, Ask ask) {
    const auto server = connected(stop);
    const std::stop_callback wake(stop, [&server] { server->wake(); });
    const PulseConnection::Lock lock(*server);
    return ask(*server);
}

std::vector<AudioDevice> PulseAudioServer::inputs(std::stop_token stop) {
    return withServer(stop, [&](PulseConnection& server) { return inputsOf(server, stop); });
}

std::optional<AudioDevice> PulseAudioServer::defaultInput(std::stop_token stop) {
    return withServer(stop, [&](PulseConnection& server) {
        return withIdentifier(inputsOf(server, stop), defaultsOf(server, stop).source);
    });
}

std::optional<AudioDevice> PulseAudioServer::defaultOutput(std::stop_token stop) {
    return withServer(stop, [&](PulseConnection& server) {
        return withIdentifier(outputsOf(server, stop), defaultsOf(server, stop).sink);
    });
}

bool PulseAudioServer::setDefaultInputConfirmed(const AudioDevice& device, std::stop_token stop) {
    throwIfStopped(stop);
    const auto server = connected(stop);
    const std::stop_callback wake(stop, [&server] { server->wake(); });
    {
        const PulseConnection::Lock lock(*server);
        if (!setDefaultSource(*server, device.identifier, stop))
            return false;
    }
    for (int read = 0; read < confirmations; ++read) {
        {
            const PulseConnection::Lock lock(*server);
            if (defaultsOf(*server, stop).source == device.identifier)
                return true;
        }
        systemClock().sleepFor(confirmationPause, stop);
    }
    return false;
}

std::unique_ptr<AudioCapture> PulseAudioServer::openCapture(const AudioDevice& device, Tap tap,
                                                            Ended ended, std::stop_token stop) {
    return std::make_unique<PulseCapture>(connected(stop), device, std::move(tap), std::move(ended),
                                          stop);
}

void PulseAudioServer::playSound(const ShortSound& sound, double volume, std::stop_token stop) {
    throwIfStopped(stop);
    const auto server = connected(stop);
    const std::stop_callback wake(stop, [&server] { server->wake(); });
    // Two threads that play a new sound at once merely hand it over twice.
    const bool isKept = [&] {
        const auto guard = connecting.lockUnlessStopped(stop);
        return keptSounds.contains(sound.name);
    }();
    {
        const PulseConnection::Lock lock(*server);
        if (!isKept)
            keepSample(*server, sound, stop);
        playSample(*server, sound.name, volume);
    }
    const auto guard = connecting.lockUnlessStopped(stop);
    if (server == connection)
        keptSounds.insert(sound.name);
}

void PulseAudioServer::watchRoutes(std::function<void()> changed, std::stop_token stop) {
    if (changed)
        connected(stop);
    const std::lock_guard guard(watching);
    routeChanged = std::move(changed);
}

} // namespace tavik
