#pragma once

#include "platform/audio/AudioServer.h"

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

    std::vector<AudioDevice> inputs() override;
    std::optional<AudioDevice> defaultInput() override;
    std::optional<AudioDevice> defaultOutput() override;
    bool setDefaultInputConfirmed(const AudioDevice& device, std::stop_token stop) override;
    std::unique_ptr<AudioCapture> openCapture(const AudioDevice& device, Tap tap,
                                              Ended ended) override;
    void playSound(const ShortSound& sound, double volume, std::stop_token stop) override;
    void watchRoutes(std::function<void()> changed) override;

private:
    // The living connection, or a new one. Throws AudioError and Cancelled.
    std::shared_ptr<PulseConnection> connected(const std::stop_token& stop = {});
    void subscribe(PulseConnection& connection, const std::stop_token& stop);
    void tellOfChange();

    std::mutex connecting;
    std::shared_ptr<PulseConnection> connection; // guarded by connecting
    std::set<std::string> keptSounds; // guarded by connecting; by that connection's server
    std::mutex watching;
    std::function<void()> routeChanged; // guarded by watching
};

} // namespace tavik
