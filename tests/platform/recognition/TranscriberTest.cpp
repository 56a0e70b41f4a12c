#include "platform/recognition/Transcriber.h"

#include "platform/concurrency/Cancelled.h"
#include "tests/platform/recognition/SpokenSamples.h"

#include <gtest/gtest.h>

namespace tavik {
namespace {

TEST(Transcriber, WritesDownASpokenSentence) {
    const auto transcriber = openEmbeddedTranscriber(Vocabulary::commands);
    const auto utterance = transcriber->begin();
    utterance->feed(spoken("what is the weather like in london today", "flite:slt"));
    EXPECT_EQ(utterance->finish({}), "what is the weather like in london today");
}

} // namespace
} // namespace tavik
