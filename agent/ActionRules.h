#pragma once

#include "agent/GuardedText.h"

#include <optional>
#include <string>
#include <string_view>

// The fixed rules about what an action may do without the user's word. Safe from any thread; the
// time they take grows in proportion to the text, whatever it is.
namespace tavik {

// Whether a tool acts on the desktop, so that the rules apply to it at all.
bool isGuardedTool(std::string_view tool);

// What a text would do that is never done, when it is to be typed or put on the clipboard by
// `tool`. Nothing for another tool.
std::optional<std::string> hardBlockReason(std::string_view tool, const GuardedText& text);

// Why a call of the guarded tool `tool` needs the user's word, if it does.
std::optional<std::string> confirmationReason(std::string_view tool, const GuardedText& text);

// Whether a click on a menu or a key press with these arguments pastes.
bool isPaste(std::string_view tool, const GuardedText& arguments);

// Whether the user's whole utterance is a yes.
bool isAffirmative(std::string_view utterance);

} // namespace tavik
