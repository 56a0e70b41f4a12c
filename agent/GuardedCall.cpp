#include "agent/GuardedCall.h"

#include "agent/ActionRules.h"
#include "platform/concurrency/Cancelled.h"
#include "platform/text/Text.h"

#include <algorithm>
#include <stdexcept>
#include <utility>
#include <vector>

namespace tavik {

namespace {

constexpr std::size_t maximumTextBytes = 64 * 1024 * 1024;

// Goes through the values with a stack of its own: the calls of external agents may be nested more
// deeply than the thread's stack allows.
std::vector<std::string> stringsIn(const Json& arguments) {
    std::vector<std::string> strings;
    std::vector<const Json*> rest = {&arguments};
    std::size_t bytes = 0;
    while (!rest.empty()) {
        const Json& value = *rest.back();
        rest.pop_back();
        if (value.is_string()) {
            strings.push_back(value.get<std::string>());
            bytes += strings.back().size() + 1;
        } else if (value.is_structured()) {
            for (const Json& element : value)
                rest.push_back(&element);
        }
        if (bytes > maximumTextBytes)
            throw std::length_error("the text is too long to be judged");
    }
    return strings;
}

std::optional<std::string> clipboardText(const ClipboardReader& clipboard, std::stop_token stop) {
    std::optional<std::string> text;
    try {
        text = clipboard ? clipboard(std::move(stop)) : std::nullopt;
    } catch (const Cancelled&) {
        throw;
    } catch (...) {
        return std::nullopt;
    }
    if (text && text->size() > maximumTextBytes)
        throw std::length_error("the clipboard is too long to be judged");
    return text;
}

std::string sortedAndJoined(std::vector<std::string>& strings) {
    std::sort(strings.begin(), strings.end());
    return joined(strings, " ");
}

// Writes what sortedJson() writes, but however deep the value is.
class SortedWriter {
public:
    explicit SortedWriter(const Json& value) {
        write(value);
        while (!open.empty())
            writeNext();
    }

    std::string text;

private:
    struct Member {
        const std::string* key; // null in an array
        const Json* value;
    };
    struct Container {
        std::vector<Member> members;
        std::size_t written = 0;
        char end = ']';
    };

    void write(const Json& value) {
        if (!value.is_structured()) {
            text += compactJson(value);
            return;
        }
        text += value.is_object() ? '{' : '[';
        open.push_back(value.is_object() ? sortedMembers(value) : elements(value));
    }

    void writeNext() {
        Container& current = open.back();
        if (current.written == current.members.size()) {
            text += current.end;
            open.pop_back();
            return;
        }
        if (current.written > 0)
            text += ',';
        const Member member = current.members[current.written++];
        if (member.key)
            text += compactJson(*member.key) + ":";
        write(*member.value);
    }

    static Container sortedMembers(const Json& object) {
        Container container;
        container.end = '}';
        for (const auto& [key, value] : object.get_ref<const Json::object_t&>())
            container.members.push_back({&key, &value});
        std::sort(container.members.begin(), container.members.end(),
                  [](const Member& one, const Member& other) { return *one.key < *other.key; });
        return container;
    }

    static Container elements(const Json& array) {
        Container container;
        for (const Json& value : array)
            container.members.push_back({nullptr, &value});
        return container;
    }

    std::vector<Container> open;
};

} // namespace

std::optional<GuardedCall> guardedCall(const ToolCall& call, const ClipboardReader& clipboard,
                                       std::stop_token stop) {
    std::vector<std::string> strings = stringsIn(call.args);
    if (strings.empty())
        return std::nullopt;
    GuardedText typed(sortedAndJoined(strings));
    if (!isPaste(call.name, typed))
        return GuardedCall{std::move(typed)};
    auto pasted = clipboardText(clipboard, std::move(stop));
    if (!pasted)
        return GuardedCall{std::move(typed), true, false};
    strings.push_back(std::move(*pasted));
    return GuardedCall{GuardedText(sortedAndJoined(strings)), true};
}

std::string signatureOf(const ToolCall& call, const GuardedText& text) {
    return call.name + "|" + SortedWriter(call.args).text + "|" + text.asItStands();
}

} // namespace tavik
