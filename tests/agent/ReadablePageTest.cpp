#include "agent/ReadablePage.h"
#include "platform/concurrency/Cancelled.h"
#include "tests/agent/ScriptedBrain.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

#include <chrono>
#include <filesystem>

namespace tavik {
namespace {

using namespace std::chrono_literals;

std::string read(const std::string& body, const std::string& contentType = "text/html",
                 int status = 200) {
    FakeHttpSession http;
    http.answer = [&](const HttpRequest&, std::stop_token) {
        return HttpResponse{status, {{"Content-Type", contentType}}, body};
    };
    return fetchReadable("https://example.org/", http, {});
}

std::string repeated(const std::string& text, std::size_t count) {
    std::string result;
    for (std::size_t index = 0; index < count; ++index)
        result += text;
    return result;
}

TEST(ReadablePage, KeepsTheTextAndDropsTheMarkup) {
    const std::string empty = "The page had no readable text.";
    const std::pair<std::string, std::string> cases[] = {
        {"<p>One</p><p>two<br/>three</p>", "One two three"},
        {"plain\r\n\ttext", "plain text"},
        {"a<SCRIPT type=x>if (a < b) {\n}</Script>b<style>\np > a {}</STYLE>c", "a b c"},
        {"<script>x</script>kept<script>y</script>", "kept"},
        {"<script>never closed &amp; kept", "never closed & kept"},
        {"<scripted>text</scripted>", "text"},
        {"a <!-- note --> b", "a b"},
        {"1 < 2 and <b>3 > 2</b>", "1 3 > 2"},
        {"open <tag without end", "open <tag without end"},
        {"a <> b", "a <> b"},
        {"Fish &amp; chips &lt;hot&gt; &quot;now&quot; &#39;yes&#39;",
         "Fish & chips <hot> \"now\" 'yes'"},
        {"&amp;lt;b&amp;gt; &AMP; &copy;", "<b> &AMP; &copy;"},
        {"&lt;b&gt;shown&lt;/b&gt;", "<b>shown</b>"},
        {"a&nbsp;&nbsp;b\u00A0\u2003\u2028c", "a b c"},
        {"<script>x</script><style>y</style> &nbsp;", empty},
        {"", empty},
    };
    for (const auto& [page, text] : cases)
        EXPECT_EQ(read(page), text) << page;
}

TEST(ReadablePage, IsReadInItsCharacterSet) {
    const std::string unreadable = "The page isn't readable text.";
    struct Case {
        std::string body, contentType, text;
    };
    const Case cases[] = {
        {"caf\xC3\xA9", "text/html", "café"},
        {"\xEF\xBB\xBF"
         "caf\xC3\xA9",
         "text/html; charset=utf-8", "café"},
        {"caf\xE9 \x93x\x94", "text/html; charset=ISO-8859-1", "café “x”"},
        {"caf\xE9", "text/html; Charset = \"windows-1252\"; x=y", "café"},
        {"<meta charset='iso-8859-15'>\xA4", "text/html", "€"},
        {"<meta http-equiv=x content=\"text/html; charset=windows-1251\">\xE4\xE0", "", "да"},
        {"<meta charset=windows-1251>\xC3\xA9", "text/html; charset=utf-8", "é"},
        {std::string("\xFF\xFEh\0i\0", 6), "text/html", "hi"},
        {"\x82\xA0", "text/html; charset=shift_jis", "あ"},
        {"caf\xC3\xA9", "text/html; charset=no-such-set", "café"},
        {"caf\xE9", "text/html", unreadable},
        {"\x82", "text/html; charset=shift_jis", unreadable},
        {std::string("GIF89a\0\1", 8), "image/gif", unreadable},
        {std::string("a\0b", 3), "text/html; charset=windows-1252", unreadable},
    };
    for (const Case& example : cases)
        EXPECT_EQ(read(example.body, example.contentType), example.text) << example.contentType;
}

// Documents of many kinds; what is to be read in each stands beside it.
TEST(ReadablePage, ReadsDocumentsOfAllKinds) {
    const std::pair<std::string, std::string> documents[] = {
        {"article", "text/html; charset=utf-8"},
        {"timetable", "text/html"},
        {"form", "text/html; charset=utf-8"},
        {"windows-1252", "text/html; charset=windows-1252"},
        {"shift-jis", "text/html"},
        {"gb18030", "text/html; charset=gb18030"},
        {"utf-16-little", "text/html"},
        {"utf-16-big", "text/html"},
        {"koi8-r", "text/html"},
        {"latin-2", "text/html"},
        {"arabic", "text/html; charset=utf-8"},
        {"marked-utf-8", "text/html"},
        {"old-html", "text/html; charset=utf-8"},
        {"xhtml", "application/xhtml+xml; charset=utf-8"},
        {"drawing", "text/html; charset=utf-8"},
        {"plain", "text/plain; charset=utf-8"},
        {"data", "application/json"},
        {"feed", "application/rss+xml"},
        {"only-scripts", "text/html; charset=utf-8"},
        {"comments", "text/html; charset=utf-8"},
        {"minified", "text/html; charset=utf-8"},
        {"symbols", "text/html; charset=utf-8"},
        {"code", "text/html; charset=utf-8"},
    };
    const std::filesystem::path folder = TAVIK_TEST_PAGES;
    for (const auto& [name, contentType] : documents)
        EXPECT_EQ(read(readFile(folder / (name + ".page")), contentType) + "\n",
                  readFile(folder / (name + ".text")))
            << name;
}

TEST(ReadablePage, IsCutByCharactersAndBoundedInBytes) {
    EXPECT_EQ(read(repeated("word ", 2400)), repeated("word ", 1600));
    EXPECT_EQ(read(repeated("e\u0301", 8001)), repeated("e\u0301", 8000));
    // One letter with a megabyte of accents is a single character.
    EXPECT_LT(read("e" + repeated("\u0301", 500'000)).size(), 300'000u);
}

TEST(ReadablePage, ALongPageIsNotTornApart) {
    // Tags with a "<" and white space inside, and long runs of white space, some of it in two
    // bytes.
    EXPECT_EQ(read(repeated("<i class=a < b >", 100'000) + "end"), "end");
    EXPECT_EQ(read("a" + repeated(" \u00A0\n", 200'000) + "b"), "a b");
    EXPECT_EQ(read(repeated("x<b>\u00A0 </b>\n", 100'000)).substr(0, 7), "x x x x");
}

TEST(ReadablePage, AStopIsSeenWhileAPageIsRead) {
    std::stop_source stop;
    FakeHttpSession http;
    http.answer = [&stop](const HttpRequest&, std::stop_token) {
        stop.request_stop();
        return HttpResponse{200, {}, "text"};
    };
    EXPECT_THROW(fetchReadable("http://x/", http, stop.get_token()), Cancelled);
}

TEST(ReadablePage, FailuresAreSentences) {
    EXPECT_EQ(read("gone", "text/html", 404), "The page returned HTTP 404");
    EXPECT_EQ(read("moved", "text/html", 304), "The page returned HTTP 304");
    FakeHttpSession http;
    http.answer = [](const HttpRequest&, std::stop_token) -> HttpResponse {
        throw TransportError(TransportFailure::timedOut, "it took too long");
    };
    EXPECT_EQ(fetchReadable("ftp://x/", http, {}), "Couldn't fetch the page: it took too long");
    ASSERT_EQ(http.requests.size(), 1u);
    EXPECT_EQ(http.requests[0].timeout, 20s);
    EXPECT_LE(http.requests[0].maximumResponseBytes, 8u * 1024 * 1024);
}

TEST(ReadablePage, AHostilePageTakesNoTimeToSpeakOf) {
    const std::string pages[] = {
        repeated("<script", 150'000), repeated("<script>", 130'000) + "</script>",
        repeated("<", 1'000'000),     repeated("<a", 500'000) + ">",
        repeated("&amp", 250'000),    repeated("\u00A0 ", 300'000),
    };
    for (const std::string& page : pages) {
        const auto start = std::chrono::steady_clock::now();
        read(page);
        EXPECT_LT(std::chrono::steady_clock::now() - start, 5s) << page.substr(0, 12);
    }
}

} // namespace
} // namespace tavik
