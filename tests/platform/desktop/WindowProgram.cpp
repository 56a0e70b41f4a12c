#include <cstdio>
#include <cstring>
#include <string>
#include <unistd.h>
#include <xcb/xcb.h>

// An application for the tests: shows a window of the class that its first argument names, until
// its display goes. A second argument names the window's type, such as DOCK.

namespace {

xcb_atom_t atom(xcb_connection_t* display, const std::string& name) {
    const auto asked =
        xcb_intern_atom(display, 0, static_cast<std::uint16_t>(name.size()), name.c_str());
    auto* const reply = xcb_intern_atom_reply(display, asked, nullptr);
    const xcb_atom_t found = reply->atom;
    std::free(reply);
    return found;
}

void setNumber(xcb_connection_t* display, xcb_window_t window, const std::string& property,
               xcb_atom_t type, std::uint32_t value) {
    xcb_change_property(display, XCB_PROP_MODE_REPLACE, window, atom(display, property), type, 32,
                        1, &value);
}

} // namespace

int main(int argc, char** argv) {
    xcb_connection_t* const display = xcb_connect(nullptr, nullptr);
    if (argc < 2 || xcb_connection_has_error(display) != 0)
        return 1;
    const xcb_window_t window = xcb_generate_id(display);
    xcb_create_window(display, XCB_COPY_FROM_PARENT, window,
                      xcb_setup_roots_iterator(xcb_get_setup(display)).data->root, 0, 0, 100, 100,
                      0, XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
    const std::string name = std::string("test-window") + '\0' + argv[1] + '\0';
    xcb_change_property(display, XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING,
                        8, static_cast<std::uint32_t>(name.size()), name.data());
    setNumber(display, window, "_NET_WM_PID", XCB_ATOM_CARDINAL,
              static_cast<std::uint32_t>(getpid()));
    if (argc > 2)
        setNumber(display, window, "_NET_WM_WINDOW_TYPE", XCB_ATOM_ATOM,
                  atom(display, std::string("_NET_WM_WINDOW_TYPE_") + argv[2]));
    xcb_map_window(display, window);
    xcb_flush(display);
    while (auto* const event = xcb_wait_for_event(display))
        std::free(event);
    return 0;
}
