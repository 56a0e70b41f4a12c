#pragma once

#include "platform/recognition/Transcriber.h"

#include <memory>

namespace tavik {

// The recogniser that the settings choose: commands go to the server of "transcriberURL", with its
// model "transcriberModel", while one is set. Throws TranscriberError.
std::unique_ptr<Transcriber> openTranscriber(Vocabulary vocabulary);

} // namespace tavik
