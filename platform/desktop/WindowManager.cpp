#include "platform/desktop/WindowManager.h"

#include <algorithm>
#include <array>
#include <unistd.h>

namespace tavik {

namespace {

constexpr std::size_t mostWindows = 256;

// Who asks for a window to be activated: pagers and others through which the user speaks are obeyed
// where an application would not be.
constexpr std::uint32_t onBehalfOfTheUser = 2;

bool contains(const std::vector<std::uint32_t>& numbers, std::uint32_t number) {
    return std::find(numbers.begin(), numbers.end(), number) != numbers.end();
}

bool isThisMachine(const std::string& name) {
    std::array<char, 256> own{};
    return name.empty() || (gethostname(own.data(), own.size() - 1) == 0 && name == own.data());
}

// Two texts, each with a zero at its end: the instance and the class.
void readClass(const std::string& property, RunningProgram& program) {
    program.instanceName = property.substr(0, property.find('\0'));
    if (program.instanceName.size() < property.size())
        program.className = property.substr(program.instanceName.size() + 1);
    program.className.resize(std::min(program.className.find('\0'), program.className.size()));
}

std::string withoutPathAndSuffix(std::string id) {
    id.erase(0, id.rfind('/') + 1);
    return id.ends_with(".desktop") ? id.substr(0, id.rfind('.')) : id;
}

} // namespace

bool WindowManager::isRunning() {
    const xcb_window_t sign = x.number(x.root(), "_NET_SUPPORTING_WM_CHECK");
    return sign != XCB_NONE && x.number(sign, "_NET_SUPPORTING_WM_CHECK") == sign;
}

std::vector<DesktopWindow> WindowManager::windows() {
    return listed("_NET_CLIENT_LIST");
}

std::vector<DesktopWindow> WindowManager::windowsFromFront() {
    auto windows = listed("_NET_CLIENT_LIST_STACKING");
    std::reverse(windows.begin(), windows.end());
    return windows;
}

std::optional<DesktopWindow> WindowManager::activeWindow() {
    const xcb_window_t active = x.number(x.root(), "_NET_ACTIVE_WINDOW");
    if (active == XCB_NONE)
        return std::nullopt;
    return described(active);
}

std::vector<DesktopWindow> WindowManager::listed(const char* property) {
    auto identifiers = x.numbers(x.ask(x.root(), property));
    identifiers.resize(std::min(identifiers.size(), mostWindows));
    std::vector<DesktopWindow> windows;
    windows.reserve(identifiers.size());
    for (const xcb_window_t window : identifiers)
        windows.push_back(described(window));
    return windows;
}

DesktopWindow WindowManager::described(xcb_window_t window) {
    const auto wmClass = x.ask(window, XCB_ATOM_WM_CLASS);
    const auto machine = x.ask(window, XCB_ATOM_WM_CLIENT_MACHINE);
    const auto process = x.ask(window, "_NET_WM_PID");
    const auto types = x.ask(window, "_NET_WM_WINDOW_TYPE");
    const auto states = x.ask(window, "_NET_WM_STATE");
    const auto gtkId = x.ask(window, "_GTK_APPLICATION_ID");
    const auto kdeEntry = x.ask(window, "_KDE_NET_WM_DESKTOP_FILE");

    DesktopWindow result{.id = window, .program = {}};
    readClass(x.text(wmClass), result.program);
    const bool isLocal = isThisMachine(x.text(machine));
    const auto processes = x.numbers(process);
    if (isLocal && !processes.empty())
        result.program.process = static_cast<pid_t>(processes.front());
    const auto typeAtoms = x.numbers(types);
    result.isOrdinary = isOrdinary(typeAtoms, x.numbers(states));
    result.program.applicationId = x.text(gtkId);
    const std::string entry = x.text(kdeEntry);
    if (result.program.applicationId.empty())
        result.program.applicationId = withoutPathAndSuffix(entry);
    return result;
}

bool WindowManager::isOrdinary(const std::vector<std::uint32_t>& types,
                               const std::vector<std::uint32_t>& states) {
    if (contains(states, x.atom("_NET_WM_STATE_SKIP_TASKBAR")))
        return false;
    return types.empty() || contains(types, x.atom("_NET_WM_WINDOW_TYPE_NORMAL")) ||
           contains(types, x.atom("_NET_WM_WINDOW_TYPE_DIALOG"));
}

bool WindowManager::activate(const DesktopWindow& window,
                             const std::function<bool(const DesktopWindow&)>& isMeant,
                             XConnection::Instant deadline) {
    const std::uint32_t wanted = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(x.get(), x.root(), XCB_CW_EVENT_MASK, &wanted);
    askToActivate(window.id);
    do {
        const auto active = activeWindow();
        if (active && (active->id == window.id || isMeant(*active)))
            return true;
    } while (x.nextEvent(deadline));
    return false;
}

void WindowManager::askToActivate(xcb_window_t window) {
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = window;
    message.type = x.atom("_NET_ACTIVE_WINDOW");
    message.data.data32[0] = onBehalfOfTheUser;
    message.data.data32[1] = XCB_CURRENT_TIME;
    xcb_send_event(x.get(), 0, x.root(),
                   XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char*>(&message));
}

} // namespace tavik
