#include "tools/stand-ins/services/TemporaryFolder.h"

#include <cstdlib>
#include <gmock/gmock.h>
#include <string>

// Every test binary runs in a home folder of its own and without the keys and services of whoever
// started it.
int main(int argc, char** argv) {
    testing::InitGoogleMock(&argc, argv);
    const tavik::TemporaryFolder home;
    setenv("HOME", home.path().c_str(), 1);
    setenv("XDG_RUNTIME_DIR", home.path().c_str(), 1);
    // Merely unset, it would be looked for, and one might even be started.
    setenv("DBUS_SESSION_BUS_ADDRESS", "disabled:", 1);
    setenv("TZ", "UTC", 1);
    for (const char* name : {"ANTHROPIC_API_KEY", "OPENAI_API_KEY", "GEMINI_API_KEY", "XAI_API_KEY",
                             "http_proxy", "https_proxy", "HTTP_PROXY", "HTTPS_PROXY", "ALL_PROXY",
                             "PULSE_SERVER", "SPEECHD_ADDRESS", "DISPLAY", "WAYLAND_DISPLAY",
                             "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_SESSION_TYPE"})
        unsetenv(name);
    return RUN_ALL_TESTS();
}
