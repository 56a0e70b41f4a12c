#include "platform/hotkey/PortalSession.h"

#include <optional>
#include <utility>

namespace tavik {

namespace {

using namespace std::chrono_literals;

constexpr const char* shortcutsInterface = "org.freedesktop.portal.GlobalShortcuts";
constexpr const char* sessionInterface = "org.freedesktop.portal.Session";
constexpr const char* registryInterface = "org.freedesktop.host.portal.Registry";
constexpr const char* activationType = "(osta{sv})";
constexpr const char* changeType = "(oa(sa{sv}))";
constexpr const char* shortcutsType = "a(sa{sv})";
constexpr int left = 1; // the portal's number for a user who chose nothing
// A key that is held down may be told again and again; one whose release was lost is not held for
// ever.
constexpr auto longestRepeat = 1s;

std::string textIn(GVariant* dictionary, const char* key) {
    const char* text = "";
    g_variant_lookup(dictionary, key, "&s", &text);
    return text;
}

// The keys of one of the shortcuts, in the desktop's words; nothing when it is not among them.
std::optional<std::string> keysIn(GVariant* shortcuts, const std::string& id) {
    GVariantIter all;
    g_variant_iter_init(&all, shortcuts);
    const char* each = nullptr;
    GVariant* properties = nullptr;
    while (g_variant_iter_next(&all, "(&s@a{sv})", &each, &properties) == TRUE) {
        const GioVariant owner(properties);
        if (id == each)
            return textIn(properties, "trigger_description");
    }
    return std::nullopt;
}

std::optional<std::string> keysOf(const GioVariant& results, const std::string& id) {
    const GioVariant shortcuts(
        g_variant_lookup_value(results.get(), "shortcuts", G_VARIANT_TYPE(shortcutsType)));
    return shortcuts ? keysIn(shortcuts.get(), id) : std::nullopt;
}

GVariant* listOf(const PortalShortcut& shortcut) {
    GVariantBuilder list;
    g_variant_builder_init(&list, G_VARIANT_TYPE(shortcutsType));
    g_variant_builder_open(&list, G_VARIANT_TYPE("(sa{sv})"));
    g_variant_builder_add(&list, "s", shortcut.id.c_str());
    g_variant_builder_open(&list, G_VARIANT_TYPE_VARDICT);
    g_variant_builder_add(&list, "{sv}", "description",
                          g_variant_new_string(shortcut.description.c_str()));
    g_variant_builder_add(&list, "{sv}", "preferred_trigger",
                          g_variant_new_string(shortcut.trigger.c_str()));
    g_variant_builder_close(&list);
    g_variant_builder_close(&list);
    return g_variant_builder_end(&list);
}

} // namespace

PortalSession::PortalSession(const std::string& applicationID, PortalPatience portalPatience,
                             Events whatToDo, std::stop_token stop)
    : patience(portalPatience)
    , events(std::move(whatToDo))
    , portal(std::move(stop)) {
    nameOurselves(applicationID);
    create();
    listen();
}

// Newer portals want to know who asks before anything else, older ones find out by themselves.
void PortalSession::nameOurselves(const std::string& applicationID) {
    try {
        portal.call(registryInterface, "Register",
                    g_variant_new("(s@a{sv})", applicationID.c_str(),
                                  g_variant_new_array(G_VARIANT_TYPE("{sv}"), nullptr, 0)),
                    "()", patience.answer);
    } catch (const PortalError& error) {
        if (error.kind == PortalError::Kind::silent)
            throw;
    }
}

GVariant* PortalSession::optionsFor(const std::string& token) const {
    GVariantBuilder options;
    g_variant_builder_init(&options, G_VARIANT_TYPE_VARDICT);
    g_variant_builder_add(&options, "{sv}", "handle_token", g_variant_new_string(token.c_str()));
    if (handle.empty())
        g_variant_builder_add(&options, "{sv}", "session_handle_token",
                              g_variant_new_string(token.c_str()));
    return g_variant_builder_end(&options);
}

GioVariant PortalSession::request(const char* method, const std::string& token, GVariant* arguments,
                                  std::chrono::milliseconds limit) {
    return portal.request(shortcutsInterface, method, token, arguments, patience.answer, limit,
                          [this] { return isClosed; });
}

void PortalSession::create() {
    const std::string token = portal.nextToken();
    const GioVariant results = request(
        "CreateSession", token, g_variant_new("(@a{sv})", optionsFor(token)), patience.answer);
    const GioVariant path(g_variant_lookup_value(results.get(), "session_handle", nullptr));
    if (path && (g_variant_is_of_type(path.get(), G_VARIANT_TYPE_STRING) ||
                 g_variant_is_of_type(path.get(), G_VARIANT_TYPE_OBJECT_PATH)))
        handle = g_variant_get_string(path.get(), nullptr);
    if (!g_variant_is_object_path(handle.c_str()))
        throw PortalError(PortalError::Kind::refused, EPROTO, "the portal opens no session");
}

void PortalSession::listen() {
    portal.listen(sessionInterface, "Closed", handle, [this](GVariant*) { isClosed = true; });
    portal.listen(shortcutsInterface, "Activated", portalPath,
                  [this](GVariant* values) { activated(values); });
    portal.listen(shortcutsInterface, "Deactivated", portalPath,
                  [this](GVariant* values) { deactivated(values); });
    portal.listen(shortcutsInterface, "ShortcutsChanged", portalPath,
                  [this](GVariant* values) { changed(values); });
}

// The signals of all programs' sessions come by.
bool PortalSession::isOurs(GVariant* values) const {
    if (!g_variant_is_of_type(values, G_VARIANT_TYPE(activationType)))
        return false;
    const char* session = "";
    const char* id = "";
    g_variant_get(values, "(&o&st@a{sv})", &session, &id, nullptr, nullptr);
    return handle == session && shortcutID == id;
}

void PortalSession::activated(GVariant* values) {
    if (!isOurs(values))
        return;
    const auto now = std::chrono::steady_clock::now();
    const bool isRepeat = isHeld && now - lastPress < longestRepeat;
    isHeld = true;
    lastPress = now;
    if (!isRepeat)
        events.pressed();
}

void PortalSession::deactivated(GVariant* values) {
    if (isOurs(values))
        isHeld = false;
}

void PortalSession::changed(GVariant* values) {
    if (!g_variant_is_of_type(values, G_VARIANT_TYPE(changeType)))
        return;
    const char* session = "";
    GVariant* shortcuts = nullptr;
    g_variant_get(values, "(&o@a(sa{sv}))", &session, &shortcuts);
    const GioVariant owner(shortcuts);
    const auto keys = keysIn(shortcuts, shortcutID);
    if (handle == session && keys)
        events.granted(*keys);
}

void PortalSession::bind(const PortalShortcut& shortcut) {
    shortcutID = shortcut.id;
    const std::string listing = portal.nextToken();
    const GioVariant known =
        request("ListShortcuts", listing,
                g_variant_new("(o@a{sv})", handle.c_str(), optionsFor(listing)), patience.answer);
    auto keys = keysOf(known, shortcut.id);
    if (!keys || keys->empty())
        keys = keysOf(askUser(shortcut), shortcut.id);
    if (!keys)
        throw PortalError(PortalError::Kind::refused, left, "the user left the shortcut out");
    events.granted(*keys);
}

// A dialog that nobody answers is not shown again and again.
GioVariant PortalSession::askUser(const PortalShortcut& shortcut) {
    const std::string token = portal.nextToken();
    try {
        return request("BindShortcuts", token,
                       g_variant_new("(o@a(sa{sv})s@a{sv})", handle.c_str(), listOf(shortcut), "",
                                     optionsFor(token)),
                       patience.user);
    } catch (const PortalError& error) {
        if (error.kind != PortalError::Kind::silent || portal.isOver() || isClosed)
            throw;
        throw PortalError(PortalError::Kind::refused, error.status, "the user did not answer");
    }
}

void PortalSession::serve() {
    portal.waitUntil([this] { return isClosed || portal.isOver(); }, std::nullopt);
}

} // namespace tavik
