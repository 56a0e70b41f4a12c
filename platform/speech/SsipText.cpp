#include "platform/speech/SsipText.h"

#include "platform/text/Text.h"

namespace tavik {

std::string ssipText(std::string_view text) {
    std::string encoded;
    bool atLineStart = true;
    for (const char character : validUtf8(text)) {
        if (character == '\n') {
            encoded += "\r\n";
            atLineStart = true;
            continue;
        }
        if (character == '.' && atLineStart)
            encoded += '.';
        const auto byte = static_cast<unsigned char>(character);
        encoded += byte < 0x20 || byte == 0x7F ? ' ' : character;
        atLineStart = false;
    }
    return encoded + "\r\n.\r\n";
}

} // namespace tavik
