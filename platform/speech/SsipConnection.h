#pragma once

#include "platform/speech/SpeechOutput.h"

#include <chrono>
#include <functional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace tavik {

class StopSignal;

// The service answered, and the answer is an error.
class SpeechRefusal : public SpeechError {
public:
    using SpeechError::SpeechError;
};

// A connection that speaks the Speech Synthesis Interface Protocol: lines that end in CR LF,
// replies with a three-digit code, and events (codes 700 to 799) in between at any time
// (https://htmlpreview.github.io/?https://github.com/brailcom/speechd/blob/master/doc/ssip.html).
// For one thread at a time.
class SsipConnection {
public:
    struct Reply {
        int code = 0;
        std::vector<std::string> lines; // without codes; the last one tells the outcome in words
        std::size_t size = 0;           // in bytes
    };
    // The code and the number of the utterance.
    using EventHandler = std::function<void(int code, const std::string& utterance)>;

    // Connects. Throws SpeechError and Cancelled.
    SsipConnection(EventHandler onEvent, const std::stop_token& stop);
    ~SsipConnection();
    SsipConnection(const SsipConnection&) = delete;
    SsipConnection& operator=(const SsipConnection&) = delete;

    // Sends a line, or a text's lines, and waits for the reply: until two seconds have passed
    // without a sign of life, and never longer than four. Throws SpeechRefusal when the reply is an
    // error (code 300 and above), SpeechError when there is none, and Cancelled within 50 ms of a
    // stop request; after both of the latter the connection is of no more use.
    Reply request(std::string_view text, const std::stop_token& stop);

    // Sends a line without waiting for its reply, which is passed over when it comes. False when
    // the connection is lost or clogged.
    bool notify(std::string_view line);

    // Handles what has arrived, or the first megabyte of it, without waiting. False when the
    // connection is lost.
    bool poll();

private:
    using Deadline = std::chrono::steady_clock::time_point;

    void send(std::string_view bytes, Deadline deadline, const StopSignal* stopped = nullptr);
    bool waitFor(short events, Deadline deadline, const StopSignal* stopped = nullptr);
    bool receive();
    void takeLines();
    void takeLine(const std::string& line);
    void finish(Reply reply);

    EventHandler handleEvent;
    int descriptor;
    bool isLost = false;
    std::string received; // bytes not yet taken apart into lines
    Reply growingReply;
    Reply growingEvent;         // the service may tell it in the middle of a reply
    std::vector<Reply> replies; // complete and not yet collected
    int repliesToPassOver = 0;
};

} // namespace tavik
