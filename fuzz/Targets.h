#pragma once

#include <string_view>

// What reads input from outside, each as a function of the input alone. They let no exception out,
// but sanitizers and failed checks end the process: the fuzzer looks for input that does.
namespace tavik::fuzz {

// A provider's answer. The first byte chooses the provider and what it was asked.
void readBrainReply(std::string_view input);

// A web page. The first byte chooses the content type that comes with it.
void readPage(std::string_view input);

// A tool call that the safety rules judge. The first byte chooses the tool and whether the
// clipboard can be read; the rest is the arguments and the clipboard's text.
void judgeCall(std::string_view input);

// What a model on this machine replies, or a conversation: the first byte says which. Lines are
// turns.
void readSummary(std::string_view input);

// What an engine says: the first byte says in what pieces it comes.
void readEngineLines(std::string_view input);

// The lines that an external agent sends.
void handleAgentRequests(std::string_view input);

} // namespace tavik::fuzz
