#include "tests/platform/desktop/ClipboardOwner.h"

#include <algorithm>
#include <poll.h>
#include <vector>

namespace tavik {

ClipboardOwner::ClipboardOwner(Manner behaviour)
    : manner(std::move(behaviour))
    , connection(XConnection::open())
    , display(connection->get())
    , window(xcb_generate_id(display)) {
    xcb_create_window(display, XCB_COPY_FROM_PARENT, window, connection->root(), 0, 0, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
    xcb_set_selection_owner(display, window, connection->atom("CLIPBOARD"), XCB_CURRENT_TIME);
    connection->atom("INCR"); // a round trip: now the server knows
    server = std::jthread([this](std::stop_token stop) { serve(std::move(stop)); });
}

ClipboardOwner::~ClipboardOwner() {
    server.request_stop();
    server.join();
}

void ClipboardOwner::serve(std::stop_token stop) {
    pollfd events{xcb_get_file_descriptor(display), POLLIN, 0};
    while (!stop.stop_requested()) {
        while (const XReply<xcb_generic_event_t> event{xcb_poll_for_event(display)}) {
            const auto& change = reinterpret_cast<const xcb_property_notify_event_t&>(*event);
            if (event->response_type == XCB_SELECTION_REQUEST && !manner.isSilent)
                answer(reinterpret_cast<const xcb_selection_request_event_t&>(*event));
            else if (event->response_type == XCB_PROPERTY_NOTIFY &&
                     change.state == XCB_PROPERTY_DELETE && change.atom == asked.property)
                givePiece();
        }
        poll(&events, 1, 5);
    }
}

void ClipboardOwner::answer(const xcb_selection_request_event_t& request) {
    asked = request;
    const auto form = manner.forms.find(nameOf(request.target));
    xcb_selection_notify_event_t notice{};
    notice.response_type = XCB_SELECTION_NOTIFY;
    notice.requestor = request.requestor;
    notice.selection = request.selection;
    notice.target = request.target;
    if (nameOf(request.target) == "TARGETS") {
        std::vector<xcb_atom_t> targets;
        for (const auto& [name, text] : manner.forms)
            targets.push_back(connection->atom(name));
        notice.property = request.property;
        xcb_change_property(display, XCB_PROP_MODE_REPLACE, request.requestor, request.property,
                            XCB_ATOM_ATOM, 32, static_cast<std::uint32_t>(targets.size()),
                            targets.data());
    } else if (form != manner.forms.end() && manner.pieceSize == 0) {
        notice.property = request.property;
        put(request.target, form->second);
    } else if (form != manner.forms.end()) {
        notice.property = request.property;
        content = form->second;
        const std::uint32_t wanted = XCB_EVENT_MASK_PROPERTY_CHANGE;
        xcb_change_window_attributes(display, request.requestor, XCB_CW_EVENT_MASK, &wanted);
        put(connection->atom("INCR"), "");
    }
    xcb_send_event(display, 0, request.requestor, 0, reinterpret_cast<const char*>(&notice));
    xcb_flush(display);
}

void ClipboardOwner::givePiece() {
    if (piecesGiven == manner.mostPieces)
        return;
    const std::size_t start = std::min(piecesGiven++ * manner.pieceSize, content.size());
    put(asked.target, std::string_view(content).substr(start, manner.pieceSize));
    xcb_flush(display);
}

void ClipboardOwner::put(xcb_atom_t type, std::string_view bytes) {
    xcb_change_property(display, XCB_PROP_MODE_REPLACE, asked.requestor, asked.property, type, 8,
                        static_cast<std::uint32_t>(bytes.size()), bytes.data());
}

std::string ClipboardOwner::nameOf(xcb_atom_t atom) {
    const XReply<xcb_get_atom_name_reply_t> reply(
        xcb_get_atom_name_reply(display, xcb_get_atom_name(display, atom), nullptr));
    return {xcb_get_atom_name_name(reply.get()), reply->name_len};
}

} // namespace tavik
