#include "voice/Cues.h"

#include "app/Log.h"
#include "app/Paths.h"
#include "platform/audio/AudioServer.h"

#include <string>

namespace tavik {

namespace {

struct CueSound {
    const char* name;
    double volume;
};

CueSound soundOf(Cue cue) {
    switch (cue) {
    case Cue::tink:
        return {"Tink", 0.3};
    case Cue::basso:
        return {"Basso", 0.3};
    case Cue::pop:
        break;
    }
    return {"Pop", 0.35};
}

} // namespace

void playCue(AudioServer& audio, Cue cue, std::stop_token stop) {
    const CueSound sound = soundOf(cue);
    try {
        const std::string file = std::string("sounds/") + sound.name + ".wav";
        audio.playSound(readShortSound(std::string("tavik-") + sound.name, resourcePath(file)),
                        sound.volume, std::move(stop));
    } catch (const AudioError& error) {
        log(std::string("[voice] ⚠ no cue: ") + error.what());
    }
}

} // namespace tavik
