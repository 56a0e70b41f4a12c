#pragma once

#include "platform/concurrency/Locked.h"
#include "tests/platform/desktop/BusPeer.h"

#include <string>
#include <vector>

namespace tavik {

// A desktop portal for shortcuts on a bus, which answers as it is told.
class ScriptedPortal {
public:
    struct Script {
        bool hasShortcuts = true; // or does not know the interface
        bool isSilent = false;    // answers no request
        unsigned userSays = 0;    // the response to what the user is asked
        bool doesUserAnswer = true;
        bool knowsShortcut = false;  // has it from an earlier session
        std::string keys = "Meta+K"; // what it calls them
        bool isConfused = false;     // answers with values of other types
    };

    ScriptedPortal(const std::string& address, Script script);

    // What was called, "Method" or "Method argument", in order.
    std::vector<std::string> calls();
    void forgetCalls();
    void learnTheShortcut();
    // A signal about a shortcut of a session; of ours when none is named.
    void tell(const std::string& signal, const std::string& session = "");
    void tellOfNewKeys(const std::string& keys);
    void closeSession();
    bool isOnBus(const std::string& name);
    // The last one who asked for anything.
    std::string client();

private:
    struct State {
        Script script;
        std::vector<std::string> calls;
        std::string client;
        std::string session;
        std::string shortcut;
    };

    GVariant* answer(const BusCall& call);
    GVariant* request(State& now, const BusCall& call);
    GVariant* resultsOf(State& now, const BusCall& call, unsigned& response);
    static GVariant* shortcuts(const State& now, const std::string& keys);

    Locked<State> state;
    BusPeer peer; // last: it answers from the above
};

} // namespace tavik
