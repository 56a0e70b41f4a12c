#include "tools/demo/PrivateHome.h"

#include <cstdlib>

namespace tavik::demo {

PrivateHome::PrivateHome(Network network) {
    for (const char* name :
         {"DISPLAY", "WAYLAND_DISPLAY", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME",
          "XDG_STATE_HOME", "PULSE_SERVER", "PULSE_RUNTIME_PATH", "PULSE_STATE_PATH",
          "PULSE_COOKIE", "PULSE_SINK", "PULSE_SOURCE", "SPEECHD_ADDRESS"})
        unsetenv(name);
    setenv("HOME", folder.file("").c_str(), 1);
    setenv("XDG_RUNTIME_DIR", folder.file("").c_str(), 1);
    // Merely unset, the user's bus would be looked for, and with it the user's keyring.
    setenv("DBUS_SESSION_BUS_ADDRESS", "disabled:", 1);
    if (network == Network::provider)
        return;
    for (const char* name :
         {"ANTHROPIC_API_KEY", "OPENAI_API_KEY", "GEMINI_API_KEY", "XAI_API_KEY", "http_proxy",
          "https_proxy", "all_proxy", "HTTP_PROXY", "HTTPS_PROXY", "ALL_PROXY"})
        unsetenv(name);
}

} // namespace tavik::demo
