#pragma once

#include "agent/GuardedText.h"
#include "brains/Brain.h"

#include <functional>
#include <optional>
#include <stop_token>
#include <string>

namespace tavik {

// Gives the clipboard's text; nothing when it could not be read. May throw Cancelled.
using ClipboardReader = std::function<std::optional<std::string>(std::stop_token)>;

// What the safety rules look at of a tool call.
struct GuardedCall {
    GuardedText text;       // every string of the arguments and, for a paste, of the clipboard
    bool isPaste = false;   // then `text` is judged as if it were typed
    bool isComplete = true; // false for a paste of a clipboard that could not be read
};

// Nothing when the arguments hold no string. Throws std::length_error when the text is longer than
// any that is judged (64 MiB), or Cancelled.
std::optional<GuardedCall> guardedCall(const ToolCall& call, const ClipboardReader& clipboard,
                                       std::stop_token stop);

// Equal for two calls exactly when they are of the same tool with the same arguments, their keys in
// whatever order, and the same text.
std::string signatureOf(const ToolCall& call, const GuardedText& text);

} // namespace tavik
