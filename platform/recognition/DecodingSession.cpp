#include "platform/recognition/DecodingSession.h"

#include "platform/concurrency/Cancelled.h"

#include <algorithm>
#include <cmath>

namespace tavik {

namespace {

constexpr std::size_t mostSecondsBehind = 130;

std::int16_t toInteger(float sample) {
    if (!std::isfinite(sample))
        return 0;
    return static_cast<std::int16_t>(std::lrint(std::clamp(sample, -1.0F, 1.0F) * 32767.0F));
}

} // namespace

DecodingSession::DecodingSession(std::uint32_t sampleRate)
    : limit(mostSecondsBehind * sampleRate) {
    // Only the pages that are used cost memory, and the audio thread never waits for an allocation.
    samples.reserve(limit + limit / 8);
}

void DecodingSession::feed(std::span<const float> incoming) {
    const std::lock_guard lock(mutex);
    if (inputEnded || abandoned)
        return;
    const std::size_t room = limit - waiting();
    for (const float sample : incoming.first(std::min(incoming.size(), room)))
        samples.push_back(toInteger(sample));
    if (waiting() >= wanted)
        changed.notify_all();
}

void DecodingSession::endInput() {
    const std::lock_guard lock(mutex);
    inputEnded = true;
    changed.notify_all();
}

void DecodingSession::abandon() {
    const std::lock_guard lock(mutex);
    abandoned = true;
    changed.notify_all();
}

std::string DecodingSession::awaitText(std::stop_token stop) {
    std::unique_lock lock(mutex);
    if (!changed.wait(lock, stop, [this] { return done; }))
        throw Cancelled();
    if (failure)
        std::rethrow_exception(failure);
    return std::move(text);
}

bool DecodingSession::nextPiece(std::size_t count, std::vector<std::int16_t>& piece,
                                std::stop_token stop) {
    std::unique_lock lock(mutex);
    wanted = count;
    changed.wait(lock, stop, [&] { return waiting() >= count || inputEnded || abandoned; });
    if (stop.stop_requested() || abandoned)
        return false;
    const auto first = samples.begin() + static_cast<std::ptrdiff_t>(taken);
    const std::size_t size = std::min(count, waiting());
    piece.assign(first, first + static_cast<std::ptrdiff_t>(size));
    taken += size;
    if (waiting() == 0 || taken >= limit / 8)
        dropTaken();
    return true;
}

void DecodingSession::dropTaken() {
    samples.erase(samples.begin(), samples.begin() + static_cast<std::ptrdiff_t>(taken));
    taken = 0;
}

void DecodingSession::setText(std::string decoded) {
    const std::lock_guard lock(mutex);
    text = std::move(decoded);
    done = true;
    changed.notify_all();
}

void DecodingSession::setFailure(std::exception_ptr cause) {
    const std::lock_guard lock(mutex);
    failure = std::move(cause);
    done = true;
    changed.notify_all();
}

} // namespace tavik
