#pragma once

#include "platform/desktop/XConnection.h"

#include <map>
#include <memory>
#include <string>
#include <thread>

namespace tavik {

// A program that owns the clipboard of the display named by DISPLAY, on a thread of its own.
class ClipboardOwner {
public:
    struct Manner {
        std::map<std::string, std::string> forms; // what it gives, by target
        std::size_t pieceSize = 0;                // 0: all at once
        std::size_t mostPieces = 1'000'000;       // after these it falls silent
        bool isSilent = false;                    // answers nothing at all
    };

    // Returns when it is the owner.
    explicit ClipboardOwner(Manner manner);
    ~ClipboardOwner();

private:
    void serve(std::stop_token stop);
    void answer(const xcb_selection_request_event_t& request);
    void givePiece();
    void put(xcb_atom_t type, std::string_view bytes);
    std::string nameOf(xcb_atom_t atom);

    const Manner manner;
    const std::unique_ptr<XConnection> connection;
    xcb_connection_t* const display;
    xcb_window_t window = 0;
    xcb_selection_request_event_t asked{}; // by whoever gets the pieces
    std::string content;                   // to be given in pieces
    std::size_t piecesGiven = 0;
    std::jthread server; // last: it uses the above
};

} // namespace tavik
