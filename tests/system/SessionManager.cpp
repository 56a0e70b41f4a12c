#include "tests/system/SessionManager.h"

#include <X11/ICE/ICElib.h>
#include <X11/SM/SMlib.h>
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <stdexcept>
#include <vector>

// Only the header of libICE's own sources declares it.
extern "C" int _IceTransNoListen(const char* protocol);

namespace tavik {

struct SessionManager::State {
    int listenerCount = 0;
    IceListenObj* listeners = nullptr;
    IceConn connection = nullptr;
    SmsConn client = nullptr;
    bool isLoggingOut = false;
    bool hasSaved = false;
    std::optional<int> restartStyle;

    void accept(IceListenObj listener);
    void forgetClient();
    void process();
    void step();
};

namespace {

using State = SessionManager::State*;

Bool acceptEverybody(char*) {
    return True;
}

template<typename Data>
State stateOf(Data data) {
    return static_cast<State>(data);
}

Status registerClient(SmsConn client, SmPointer, char* previousID) {
    std::string id = previousID ? previousID : "client-of-the-test";
    free(previousID);
    SmsRegisterClientReply(client, id.data());
    SmsSaveYourself(client, SmSaveLocal, False, SmInteractStyleNone, False);
    return 1;
}

void keepProperties(SmsConn, SmPointer data, int count, SmProp** properties) {
    for (int index = 0; index < count; ++index) {
        if (std::strcmp(properties[index]->name, SmRestartStyleHint) == 0)
            stateOf(data)->restartStyle = *static_cast<char*>(properties[index]->vals[0].value);
        SmFreeProperty(properties[index]);
    }
    free(properties);
}

void clientSaved(SmsConn client, SmPointer data, Bool) {
    if (!stateOf(data)->isLoggingOut) {
        SmsSaveComplete(client);
        return;
    }
    stateOf(data)->hasSaved = true;
    SmsDie(client);
}

void clientLeaves(SmsConn, SmPointer data, int count, char** reasons) {
    SmFreeReasons(count, reasons);
    stateOf(data)->forgetClient();
}

void ignoreDeletion(SmsConn, SmPointer, int count, char** names) {
    std::for_each_n(names, count, free);
    free(names);
}

template<typename Callback, typename Function>
void answerBy(Callback& callback, Function* function, SmPointer data) {
    callback.callback = function;
    callback.manager_data = data;
}

Status clientComes(SmsConn client, SmPointer data, unsigned long* mask, SmsCallbacks* callbacks,
                   char**) {
    stateOf(data)->client = client;
    *mask = SmsRegisterClientProcMask | SmsSaveYourselfDoneProcMask | SmsCloseConnectionProcMask |
            SmsSetPropertiesProcMask | SmsInteractRequestProcMask | SmsInteractDoneProcMask |
            SmsSaveYourselfRequestProcMask | SmsSaveYourselfP2RequestProcMask |
            SmsDeletePropertiesProcMask | SmsGetPropertiesProcMask;
    *callbacks = {};
    answerBy(callbacks->register_client, registerClient, data);
    answerBy(callbacks->save_yourself_done, clientSaved, data);
    answerBy(callbacks->close_connection, clientLeaves, data);
    answerBy(callbacks->set_properties, keepProperties, data);
    answerBy(
        callbacks->interact_request, +[](SmsConn, SmPointer, int) {}, data);
    answerBy(
        callbacks->interact_done, +[](SmsConn, SmPointer, Bool) {}, data);
    answerBy(
        callbacks->save_yourself_request, +[](SmsConn, SmPointer, int, Bool, int, Bool, Bool) {},
        data);
    answerBy(
        callbacks->save_yourself_phase2_request, +[](SmsConn, SmPointer) {}, data);
    answerBy(callbacks->delete_properties, ignoreDeletion, data);
    answerBy(
        callbacks->get_properties, +[](SmsConn, SmPointer) {}, data);
    return 1;
}

} // namespace

void SessionManager::State::accept(IceListenObj listener) {
    IceAcceptStatus status = IceAcceptSuccess;
    connection = IceAcceptConnection(listener, &status);
    while (connection && IceConnectionStatus(connection) == IceConnectPending)
        IceProcessMessages(connection, nullptr, nullptr);
}

void SessionManager::State::process() {
    if (IceProcessMessages(connection, nullptr, nullptr) == IceProcessMessagesIOError)
        forgetClient();
}

void SessionManager::State::forgetClient() {
    if (client)
        SmsCleanUp(client);
    IceSetShutdownNegotiation(connection, False);
    IceCloseConnection(connection);
    client = nullptr;
    connection = nullptr;
}

void SessionManager::State::step() {
    std::vector<pollfd> polled;
    for (int index = 0; index < listenerCount; ++index)
        polled.push_back({IceGetListenConnectionNumber(listeners[index]), POLLIN, 0});
    if (connection)
        polled.push_back({IceConnectionNumber(connection), POLLIN, 0});
    poll(polled.data(), polled.size(), 20);
    if (connection && polled.back().revents != 0)
        process();
    for (int index = 0; index < listenerCount; ++index)
        if (polled[static_cast<std::size_t>(index)].revents != 0)
            accept(listeners[index]);
}

SessionManager::SessionManager()
    : state(std::make_unique<State>()) {
    std::array<char, 256> error{};
    _IceTransNoListen("tcp");
    if (SmsInitialize("test", "1", clientComes, state.get(), acceptEverybody, error.size(),
                      error.data()) == 0 ||
        IceListenForConnections(&state->listenerCount, &state->listeners, error.size(),
                                error.data()) == 0)
        throw std::runtime_error(error.data());
    for (int index = 0; index < state->listenerCount; ++index)
        IceSetHostBasedAuthProc(state->listeners[index], acceptEverybody);
    IceSetIOErrorHandler([](IceConn) {}); // instead of ending the tests
}

SessionManager::~SessionManager() {
    IceFreeListenObjs(state->listenerCount, state->listeners);
}

std::string SessionManager::address() const {
    char* const list = IceComposeNetworkIdList(state->listenerCount, state->listeners);
    const std::string addresses = list;
    free(list);
    return addresses;
}

bool SessionManager::attend(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        state->step();
    }
    return true;
}

bool SessionManager::hasClient() const {
    return state->client != nullptr;
}

void SessionManager::logOut() {
    state->isLoggingOut = true;
    SmsSaveYourself(state->client, SmSaveBoth, True, SmInteractStyleNone, True);
}

bool SessionManager::hasSaved() const {
    return state->hasSaved;
}

std::optional<int> SessionManager::restartStyle() const {
    return state->restartStyle;
}

} // namespace tavik
