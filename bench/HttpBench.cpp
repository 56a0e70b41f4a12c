// What the model's requests cost besides the model. First brainPost's own time for an exchange with
// a server on this machine, beside that of libcurl's plain handle, both on one kept connection.
// Then the first encrypted request on a way where each read is 50 ms late, both ways, cold and with
// the connection prepared a second ahead. Last the memory for a body of 20 MB.

#include "bench/FreshHome.h"
#include "brains/BrainPost.h"
#include "platform/http/HttpSession.h"
#include "tools/stand-ins/http/TlsServer.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <curl/curl.h>
#include <fstream>
#include <stdexcept>
#include <thread>

namespace {

using namespace tavik;
using namespace std::chrono_literals;
using std::chrono::steady_clock;

constexpr int exchanges = 2000;
constexpr int firstRequests = 5;
constexpr std::size_t bigBody = 20'000'000;

double milliseconds(const std::function<void()>& work) {
    const auto started = steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(steady_clock::now() - started).count();
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// The least that libcurl itself needs for a POST whose answer is kept as text.
class PlainHandle {
public:
    PlainHandle(const std::string& url, const std::string& body)
        : headers(curl_slist_append(nullptr, "Content-Type: application/json"),
                  curl_slist_free_all) {
        curl_easy_setopt(handle.get(), CURLOPT_URL, url.c_str());
        curl_easy_setopt(handle.get(), CURLOPT_HTTPHEADER, headers.get());
        curl_easy_setopt(handle.get(), CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
        curl_easy_setopt(handle.get(), CURLOPT_COPYPOSTFIELDS, body.c_str());
        curl_easy_setopt(handle.get(), CURLOPT_WRITEFUNCTION, take);
        curl_easy_setopt(handle.get(), CURLOPT_WRITEDATA, &answer);
    }

    void post() {
        answer.clear();
        if (curl_easy_perform(handle.get()) != CURLE_OK || answer.empty())
            throw std::runtime_error("libcurl brought no answer");
    }

private:
    static std::size_t take(char* bytes, std::size_t, std::size_t size, void* text) {
        static_cast<std::string*>(text)->append(bytes, size);
        return size;
    }

    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> handle{curl_easy_init(),
                                                                     curl_easy_cleanup};
    const std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> headers;
    std::string answer;
};

// A conversation and an answer of the usual size.
Json conversation() {
    Json messages = Json::array();
    for (int turn = 0; turn < 20; ++turn)
        messages.push_back({{"role", "user"}, {"content", std::string(400, 'x')}});
    return {{"model", "bench"}, {"messages", messages}};
}

void compareExchanges() {
    const std::string answer = okReply(compactJson(Json{{"content", std::string(1000, 'y')}}));
    const RawServer server([&](Peer& peer) {
        while (!peer.readRequest().empty())
            peer.write(answer);
    });
    const auto session = makeHttpSession();
    const Json body = conversation();
    HttpRequest request;
    request.url = server.url();
    request.headers = {{"Content-Type", "application/json"}};
    PlainHandle plain(request.url, compactJson(body));

    std::vector<double> ours;
    std::vector<double> theirs;
    for (int round = 0; round < exchanges; ++round) {
        theirs.push_back(milliseconds([&] { plain.post(); }));
        ours.push_back(milliseconds(
            [&] { brainPost(request, body, "anthropic", *session, systemClock(), {}); }));
    }
    std::printf("libcurl's plain handle    %7.3f ms, median of %d exchanges\n", median(theirs),
                exchanges);
    const double more = median(ours) - median(theirs);
    std::printf("brainPost                 %7.3f ms, %.3f ms more, ratio %.2f\n", median(ours),
                more, median(ours) / median(theirs));
    std::printf("connections opened        %7d (limit 2, one each)\n", server.connectionCount());
}

double firstRequest(const TlsServer& server, bool isPrepared) {
    const auto session = makeHttpSession();
    if (isPrepared) {
        session->prepareConnection(server.url());
        std::this_thread::sleep_for(1s);
    }
    HttpRequest request;
    request.url = server.url();
    return milliseconds([&] { session->send(request, {}); });
}

void compareFirstRequests() {
    const TlsServer server(TlsServer::Kind::http2, 50ms);
    server.makeTrusted();
    std::vector<double> cold;
    std::vector<double> prepared;
    for (int round = 0; round < firstRequests; ++round) {
        cold.push_back(firstRequest(server, false));
        prepared.push_back(firstRequest(server, true));
    }
    std::printf("first request, cold       %7.1f ms, median of %d\n", median(cold), firstRequests);
    std::printf("first request, prepared   %7.1f ms, median of %d\n", median(prepared),
                firstRequests);
}

double megabytes(const std::string& field) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with(field + ":"))
            return std::stod(line.substr(field.size() + 1)) * 1024 / 1e6;
    throw std::runtime_error("the system does not say " + field);
}

void measureMemory() {
    const RawServer server(answeringOnce(okReply(std::string(bigBody, 'x'))));
    const auto session = makeHttpSession();
    HttpRequest request;
    request.url = server.url();
    const double before = megabytes("VmRSS");
    std::ofstream("/proc/self/clear_refs") << "5"; // forget the highest so far
    const std::size_t received = session->send(request, {}).body.size();
    std::printf("a body of %.0f MB         %7.1f MB of memory at most\n",
                static_cast<double>(received) / 1e6, megabytes("VmHWM") - before);
}

} // namespace

int main() {
    const FreshHome home;
    compareExchanges();
    compareFirstRequests();
    measureMemory();
    return 0;
}
