#pragma once

#include <stop_token>

namespace tavik {

// A connected, non-blocking socket to the speech service: at SPEECHD_ADDRESS ("unix_socket:PATH" or
// "inet_socket:HOST:PORT" on this machine), else at the usual place in the user's runtime folder,
// where the service is started when nothing answers. The caller closes it. Throws SpeechError
// and Cancelled.
int connectToSpeechService(const std::stop_token& stop);

} // namespace tavik
