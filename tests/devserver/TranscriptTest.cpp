// The worked exchange of docs/transcript.txt, replayed against the server.
#include "tests/devserver/RawClient.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>

namespace {

std::string withBytes(std::string text, const std::string& sign, char byte) {
    for (std::size_t at; (at = text.find(sign)) != std::string::npos;)
        text.replace(at, sign.size(), 1, byte);
    return text;
}

class TranscriptTest : public testing::Test {
protected:
    /// The bytes that a line of the transcript sends.
    std::string filled(std::string line) const {
        for (const auto& [name, text] : chosen_)
            for (std::size_t at; (at = line.find(name)) != std::string::npos;)
                line.replace(at, name.size(), text);
        return line;
    }
    /// Compares what is heard with a line. A text that is not known yet ends at the byte behind it.
    void hear(RawClient& client, const std::string& line) {
        const std::string expected = filled(line);
        const std::size_t open = expected.find('{');
        const std::string known = expected.substr(0, open);
        ASSERT_EQ(known, client.receive(known.size()));
        if (open == std::string::npos)
            return;
        const std::size_t end = expected.find('}', open) + 1;
        chosen_[expected.substr(open, end - open)] = client.receiveUntil(expected[end]);
        hear(client, expected.substr(end + 1));
    }

    std::map<std::string, std::string> chosen_; // "{clip}": its id
};

TEST_F(TranscriptTest, TheServerAnswersAsTheTranscriptShows) {
    const ScratchDirectory directory;
    DevServerOptions options;
    options.root = directory / "media";
    options.listen = "127.41.3.1";
    options.clips = {"/Library/Reel/shot=4x2x24"};
    const DevServer server(options);
    CommandClient commands(options.listen);
    FrameClient frames(options.listen);
    RawClient* client = nullptr;
    int replies = 0;
    std::ifstream transcript(TRANSCRIPT_PATH);
    for (std::string line; std::getline(transcript, line);) {
        SCOPED_TRACE(line);
        const std::string text =
            withBytes(withBytes(line.substr(0, 2) == "# " ? "" : line, "␊", '\n'), "␀", '\0');
        if (text.substr(0, 2) == "> ") {
            client = text.substr(2, 5) == "sync " ? static_cast<RawClient*>(&commands) : &frames;
            ASSERT_TRUE(client->send(filled(text.substr(2))));
        } else if (text.substr(0, 2) == "< ") {
            ASSERT_NO_FATAL_FAILURE(hear(*client, text.substr(2)));
            ++replies;
        }
    }
    EXPECT_EQ(22, replies);
}

} // namespace
