#pragma once

#include <functional>
#include <gio/gio.h>
#include <string>

namespace tavik {

struct BusCall {
    std::string sender;
    std::string path;
    std::string member;
    GVariant* arguments;
};

// An answer that is an error of the bus, by its name.
struct BusError {
    std::string name;
};

// A program on a bus that answers every call as a function says.
class BusPeer {
public:
    // Gives the values of a reply, a tuple; none for no answer. May throw BusError. Called on a
    // thread of GIO's.
    using Answer = std::function<GVariant*(const BusCall&)>;

    BusPeer(const std::string& address, Answer answer);
    ~BusPeer();

    void own(const std::string& name);
    std::string uniqueName() const;
    // The reply's values, to be released. Throws std::runtime_error when the call fails.
    GVariant* call(const char* owner, const char* path, const char* interface, const char* method,
                   GVariant* arguments);
    // The same for a reply that is a text; any other is an empty one.
    std::string callForText(const char* owner, const char* path, const char* interface,
                            const char* method, GVariant* arguments);
    // Sends a signal to everybody.
    void tell(const std::string& path, const std::string& interface, const std::string& signal,
              GVariant* values);

private:
    GDBusMessage* reply(GDBusMessage* call) const;
    static GDBusMessage* filter(GDBusConnection* bus, GDBusMessage* message, gboolean isIncoming,
                                gpointer data);

    Answer answer;
    GDBusConnection* const connection;
};

} // namespace tavik
