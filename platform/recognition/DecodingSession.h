#pragma once

#include <condition_variable>
#include <cstdint>
#include <exception>
#include <mutex>
#include <span>
#include <stop_token>
#include <string>
#include <vector>

namespace tavik {

// What is shared between the one who speaks an utterance and the one who decodes it: the samples on
// their way and the text on its way back. Safe from any thread.
class DecodingSession {
public:
    explicit DecodingSession(std::uint32_t sampleRate);

    // The speaker's side. Samples are clipped to [-1, 1]; what is no number counts as silence.
    // Those that the decoder is more than 130 seconds behind with are dropped.
    void feed(std::span<const float> samples);
    void endInput();
    void abandon();
    // Throws what the decoder failed with, or Cancelled.
    std::string awaitText(std::stop_token stop);

    // The decoder's side. Blocks until `count` samples or the end of the input are there and puts
    // them into `piece`; an empty piece is the end. Returns false when the utterance was abandoned
    // or `stop` was requested.
    bool nextPiece(std::size_t count, std::vector<std::int16_t>& piece, std::stop_token stop);
    void setText(std::string decoded);
    void setFailure(std::exception_ptr cause);

private:
    std::size_t waiting() const { return samples.size() - taken; }
    void dropTaken();

    const std::size_t limit;
    std::mutex mutex;
    std::condition_variable_any changed;
    // All below is guarded by mutex.
    std::vector<std::int16_t> samples;
    std::size_t taken = 0; // of `samples`
    std::size_t wanted = 0;
    bool inputEnded = false;
    bool abandoned = false;
    bool done = false;
    std::string text;
    std::exception_ptr failure;
};

} // namespace tavik
