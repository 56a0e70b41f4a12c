#include "app/OpenTranscriber.h"

#include "platform/defaults/UserDefaults.h"
#include "platform/recognition/ServerTranscriber.h"

namespace tavik {

namespace {

ServerTranscriber::Settings serverSettings() {
    UserDefaults& defaults = UserDefaults::standard();
    return {defaults.string("transcriberURL").value_or(""),
            defaults.string("transcriberModel").value_or("")};
}

} // namespace

// The wake phrase is always verified by our own recogniser, which knows nothing but such words.
std::unique_ptr<Transcriber> openTranscriber(Vocabulary vocabulary) {
    auto embedded = openEmbeddedTranscriber(vocabulary);
    if (vocabulary == Vocabulary::wakePhrase)
        return embedded;
    return std::make_unique<ServerTranscriber>(std::move(embedded), serverSettings,
                                               sharedHttpSession(), systemClock());
}

} // namespace tavik
