#pragma once

#include "platform/desktop/XConnection.h"

#include <functional>

namespace tavik {

// Reads the text of a selection, such as the clipboard, from the program that owns it (Inter-Client
// Communication Conventions 2.0, chapter 2). Private to this folder.
class SelectionReader {
public:
    // `display` outlives this, and nobody else takes its events.
    SelectionReader(XConnection& display, const char* selection, XConnection::Instant limit);
    ~SelectionReader();
    SelectionReader(const SelectionReader&) = delete;
    SelectionReader& operator=(const SelectionReader&) = delete;

    // Empty when nobody owns the selection or the owner has no text. Nothing when the owner does
    // not answer in time, has text in an unknown form only, or too much of it.
    std::optional<std::string> text();

private:
    enum class Answer { given, refused, none };

    // Lets the owner put the selection into our property in the form `target`.
    Answer convertTo(const char* target);
    std::optional<std::string> takeContent();
    std::optional<std::string> takePieces();
    // The property as it stands, which is thereby removed; none when it is too long.
    XReply<xcb_get_property_reply_t> takeProperty();
    bool hasUnknownText();
    std::string nameOf(xcb_atom_t atom) const;

    // The next event that is `meant`; none when there is none in time.
    using IsMeant = std::function<bool(const xcb_generic_event_t&)>;
    XReply<xcb_generic_event_t> awaitEvent(const IsMeant& meant) const;

    XConnection& x;
    const xcb_atom_t selection;
    const xcb_atom_t property; // of our window, in which the owner leaves its answer
    const XConnection::Instant deadline;
    const xcb_window_t window;
};

} // namespace tavik
