#include "platform/http/ProxyLookup.h"

#include "platform/concurrency/Locked.h"

#include <deque>
#include <gio/gio.h>
#include <mutex>
#include <utility>

namespace tavik {

namespace {

// As many questions may be stuck before the next ones wait for their limit only.
constexpr int questionsAtOnce = 8;

// The desktop's resolver hears of changed settings through the main context that it was made in.
// It gets one of its own, since a program without windows runs no other.
GProxyResolver* upToDateResolver() {
    static auto& mutex = *new std::mutex; // a stuck question may outlive the program's last line
    static GMainContext* const context = g_main_context_new();
    const std::lock_guard lock(mutex);
    g_main_context_push_thread_default(context);
    GProxyResolver* const resolver = g_proxy_resolver_get_default();
    while (g_main_context_iteration(context, FALSE)) {
    }
    g_main_context_pop_thread_default(context);
    return resolver;
}

std::vector<std::string> lookUp(const std::string& url, GCancellable* cancellable) {
    const std::unique_ptr<char*, decltype(&g_strfreev)> uris(
        g_proxy_resolver_lookup(upToDateResolver(), url.c_str(), cancellable, nullptr), g_strfreev);
    std::vector<std::string> result;
    for (char** uri = uris.get(); uri && *uri; ++uri)
        result.emplace_back(*uri);
    return result;
}

} // namespace

// Shared between the asker and the thread that waits for the answer. That thread comes from GLib's
// pool, since no implementation of the look-up can be trusted to end when it is cancelled.
class ProxyLookup::Question {
public:
    Question(std::string askedUrl, Found whenFound)
        : url(std::move(askedUrl))
        , found(std::move(whenFound))
        , cancellable(g_cancellable_new(), g_object_unref) {}

    static void ask(std::shared_ptr<Question> question) {
        static GThreadPool* const pool =
            g_thread_pool_new(answerNext, nullptr, questionsAtOnce, FALSE, nullptr);
        waiting().with([&](auto& questions) { questions.push_back(std::move(question)); });
        g_thread_pool_push(pool, pool, nullptr); // one more to be answered
    }

    void giveUp() {
        {
            const std::lock_guard lock(mutex);
            found = nullptr;
        }
        g_cancellable_cancel(cancellable.get());
    }

private:
    using Questions = std::deque<std::shared_ptr<Question>>;

    static Locked<Questions>& waiting() {
        static auto& questions = *new Locked<Questions>; // never destroyed, as above
        return questions;
    }

    static void answerNext(gpointer, gpointer) {
        const auto question = waiting().with([](Questions& questions) {
            auto next = std::move(questions.front());
            questions.pop_front();
            return next;
        });
        if (!question->isGivenUp())
            question->settle(desktopProxies(lookUp(question->url, question->cancellable.get())));
    }

    bool isGivenUp() {
        const std::lock_guard lock(mutex);
        return !found;
    }

    void settle(ProxyList proxies) {
        const std::lock_guard lock(mutex);
        if (found)
            found(std::move(proxies));
    }

    const std::string url;
    std::mutex mutex;
    Found found; // guarded by mutex; none once the question was given up
    const std::unique_ptr<GCancellable, decltype(&g_object_unref)> cancellable;
};

ProxyLookup::ProxyLookup(std::string url, Instant waitsUntil, Found found)
    : limit(waitsUntil)
    , question(std::make_shared<Question>(std::move(url), std::move(found))) {
    Question::ask(question);
}

ProxyLookup::~ProxyLookup() {
    question->giveUp();
}

} // namespace tavik
