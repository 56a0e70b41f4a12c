#include "platform/desktop/SelectionReader.h"

#include <algorithm>

namespace tavik {

namespace {

constexpr std::uint32_t mostBytes = 16 * 1024 * 1024;

std::uint8_t kindOf(const xcb_generic_event_t& event) {
    constexpr std::uint8_t sentBit = 0x80; // set when another program sent the event
    return event.response_type & static_cast<std::uint8_t>(~sentBit);
}

std::string_view contentOf(const xcb_get_property_reply_t& reply) {
    return {static_cast<const char*>(xcb_get_property_value(&reply)),
            static_cast<std::size_t>(xcb_get_property_value_length(&reply))};
}

std::string utf8FromLatin1(const std::string& text) {
    constexpr unsigned char firstBeyondAscii = 0x80;
    std::string result;
    for (const char letter : text) {
        const auto code = static_cast<unsigned char>(letter);
        if (code < firstBeyondAscii) {
            result += letter;
        } else {
            result += static_cast<char>(0xC0 | (code >> 6));
            result += static_cast<char>(0x80 | (code & 0x3F));
        }
    }
    return result;
}

} // namespace

SelectionReader::SelectionReader(XConnection& display, const char* name, XConnection::Instant limit)
    : x(display)
    , selection(display.atom(name))
    , property(display.atom("TAVIK_SELECTION"))
    , deadline(limit)
    , window(xcb_generate_id(display.get())) {
    const std::uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_create_window(x.get(), 0, window, x.root(), 0, 0, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                      XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &events);
}

SelectionReader::~SelectionReader() {
    xcb_destroy_window(x.get(), window);
}

std::optional<std::string> SelectionReader::text() {
    for (const char* target : {"UTF8_STRING", "text/plain;charset=utf-8", "STRING"}) {
        const Answer answer = convertTo(target);
        if (answer == Answer::none)
            return std::nullopt;
        if (answer == Answer::refused)
            continue;
        auto content = takeContent();
        const bool isLatin1 = target == std::string_view("STRING");
        return content && isLatin1 ? utf8FromLatin1(*content) : content;
    }
    if (hasUnknownText())
        return std::nullopt;
    return "";
}

// The server itself answers, with a refusal, for a selection without an owner.
SelectionReader::Answer SelectionReader::convertTo(const char* target) {
    const xcb_atom_t wanted = x.atom(target);
    xcb_convert_selection(x.get(), window, selection, wanted, property, XCB_CURRENT_TIME);
    const auto event = awaitEvent([wanted](const xcb_generic_event_t& candidate) {
        const auto& notice = reinterpret_cast<const xcb_selection_notify_event_t&>(candidate);
        return kindOf(candidate) == XCB_SELECTION_NOTIFY && notice.target == wanted;
    });
    if (!event)
        return Answer::none;
    const auto& notice = reinterpret_cast<const xcb_selection_notify_event_t&>(*event);
    return notice.property == XCB_NONE ? Answer::refused : Answer::given;
}

std::optional<std::string> SelectionReader::takeContent() {
    const auto answer = takeProperty();
    if (!answer)
        return std::nullopt;
    return answer->type == x.atom("INCR") ? takePieces() : std::string(contentOf(*answer));
}

// The owner puts one piece after the other into the property, each when the one before is removed,
// and an empty one at the end.
std::optional<std::string> SelectionReader::takePieces() {
    const auto isNewPiece = [this](const xcb_generic_event_t& event) {
        const auto& change = reinterpret_cast<const xcb_property_notify_event_t&>(event);
        return kindOf(event) == XCB_PROPERTY_NOTIFY && change.atom == property &&
               change.state == XCB_PROPERTY_NEW_VALUE;
    };
    std::string content;
    while (awaitEvent(isNewPiece)) {
        const auto piece = takeProperty();
        if (!piece || content.size() + contentOf(*piece).size() > mostBytes)
            return std::nullopt;
        if (contentOf(*piece).empty())
            return content;
        content += contentOf(*piece);
    }
    return std::nullopt;
}

XReply<xcb_get_property_reply_t> SelectionReader::takeProperty() {
    const auto asked =
        xcb_get_property(x.get(), 1, window, property, XCB_GET_PROPERTY_TYPE_ANY, 0, mostBytes / 4);
    XReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(x.get(), asked, nullptr));
    return reply && reply->bytes_after == 0 ? std::move(reply) : nullptr;
}

bool SelectionReader::hasUnknownText() {
    if (convertTo("TARGETS") != Answer::given)
        return false;
    const auto targets = x.numbers(x.ask(window, property));
    return std::any_of(targets.begin(), targets.end(), [this](xcb_atom_t target) {
        const std::string name = nameOf(target);
        return name.starts_with("text/") || name == "TEXT" || name == "COMPOUND_TEXT";
    });
}

std::string SelectionReader::nameOf(xcb_atom_t atom) const {
    const XReply<xcb_get_atom_name_reply_t> reply(
        xcb_get_atom_name_reply(x.get(), xcb_get_atom_name(x.get(), atom), nullptr));
    if (!reply)
        return "";
    return {xcb_get_atom_name_name(reply.get()), reply->name_len};
}

XReply<xcb_generic_event_t> SelectionReader::awaitEvent(const IsMeant& meant) const {
    while (auto event = x.nextEvent(deadline))
        if (meant(*event))
            return event;
    return nullptr;
}

} // namespace tavik
