#include "platform/speech/SsipText.h"

#include <gtest/gtest.h>

namespace tavik {

TEST(SsipText, CarriesEveryTextAsData) {
    using namespace std::string_view_literals;
    struct Case {
        std::string_view text;
        std::string_view encoded;
    };
    for (const Case& each : {
             Case{"", "\r\n.\r\n"},
             {"Hello.", "Hello.\r\n.\r\n"},
             {"a\nb", "a\r\nb\r\n.\r\n"},
             {".", "..\r\n.\r\n"},
             {"a\n.\nQUIT", "a\r\n..\r\nQUIT\r\n.\r\n"},
             {"a\r\n.\r\nQUIT", "a \r\n.. \r\nQUIT\r\n.\r\n"},
             {"a\r.b", "a .b\r\n.\r\n"},
             {"a\0b\x1b\x7f"sv, "a b  \r\n.\r\n"},
             {"Grüße 👍", "Grüße 👍\r\n.\r\n"},
             {"\xff.", "\uFFFD.\r\n.\r\n"},
         })
        EXPECT_EQ(ssipText(each.text), each.encoded) << each.text;
}

} // namespace tavik
