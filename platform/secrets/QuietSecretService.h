#pragma once

namespace tavik {

// The GType of a SecretService for one visit, on the connection of its property "g-connection". It
// refuses to show prompts: what would need one fails as locked. A prompt would wait for a user who
// asked for nothing, and does not end when it is cancelled.
unsigned long quietSecretServiceType();

} // namespace tavik
