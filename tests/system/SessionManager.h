#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace tavik {

// An X11 session manager with one program in its session. Works while `attend` runs.
class SessionManager {
public:
    // Throws std::runtime_error when it cannot listen.
    SessionManager();
    ~SessionManager();

    // For SESSION_MANAGER.
    std::string address() const;

    // Does its work until `condition()` holds; false after ten seconds.
    bool attend(const std::function<bool()>& condition);

    bool hasClient() const;
    // The session ends: asks the program to save itself, and when it has, to die.
    void logOut();
    bool hasSaved() const;
    // What the program said of being started with the next session, in the protocol's numbers.
    std::optional<int> restartStyle() const;

    struct State;

private:
    std::unique_ptr<State> state;
};

} // namespace tavik
