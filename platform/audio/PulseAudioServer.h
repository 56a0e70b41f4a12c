#pragma once

#include "platform/audio/AudioServer.h"
#include "platform/concurrency/BoundedMutex.h"

#include <memory>
#include <mutex>
#include <set>
#include <string>

namespace tavik {

class PulseConnection;

// The sound server through libpulse: PulseAudio, or PipeWire's pulse server.
class PulseAudioServer : public AudioServer {
public:
    ~PulseAudioServer() override;

    std::vector<AudioDevice> inputs(std::stop_token stop) override;
    std::optional<AudioDevice> defaultInput(std::stop_token stop) override;
    std::optional<AudioDevice> defaultOutput(std::stop_token stop) override;
    bool setDefaultInputConfirmed(const AudioDevice& device, std::stop_token stop) override;
    std::unique_ptr<AudioCapture> openCapture(const AudioDevice& device, Tap tap, Ended ended,
                                              std::stop_token stop) override;
    void playSound(const ShortSound& sound, double volume, std::stop_token stop) override;
    void watchRoutes(std::function<void()> changed, std::stop_token stop) override;

private:
    // The living connection, or a new one. Throws AudioError and Cancelled.
    std::shared_ptr<PulseConnection> connected(const std::stop_token& stop);
    template<typename Ask>
    auto withServer(const std::stop_token& stop, Ask ask);
    void subscribe(PulseConnection& connection, const std::stop_token& stop);
    void tellOfChange();

    BoundedMutex connecting;
    std::shared_ptr<PulseConnection> connection; // guarded by connecting
    std::set<std::string> keptSounds; // guarded by connecting; by that connection's server
    std::mutex watching;
    std::function<void()> routeChanged; // guarded by watching
};

} // namespace tavik
