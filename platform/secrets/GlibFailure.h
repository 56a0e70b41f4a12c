#pragma once

#include "platform/secrets/GlibNames.h"
#include "platform/secrets/SecretStore.h"

namespace tavik {

// Receives the error of a GLib call, and frees it.
class GlibFailure {
public:
    GlibFailure() = default;
    ~GlibFailure();
    GlibFailure(const GlibFailure&) = delete;
    GlibFailure& operator=(const GlibFailure&) = delete;

    GError** receiver() { return &error; }
    explicit operator bool() const { return error != nullptr; }

    // Throws SecretStoreError for the error, or for an unknown one when none was received.
    [[noreturn]] void raise() const;

private:
    GError* error = nullptr;
};

// The same errors where we find out for ourselves.
SecretStoreError noSessionBus();
SecretStoreError lockedSecret();
SecretStoreError timedOutSecret();

} // namespace tavik
