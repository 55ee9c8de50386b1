// Transfers over a link that breaks, through the relay of the soak: every frame arrives once and
// whole, or the failure is told and --resume brings the rest.
#include "soak/FaultyRelay.h"
#include "tests/tools/ToolProgram.h"

#include <thread>

namespace {

using Channel = FaultyRelay::Channel;
using Fault = FaultyRelay::Fault;
using Side = FaultyRelay::Side;

constexpr int count = 60;

class BrokenLinkTest : public ToolTest {
protected:
    BrokenLinkTest() : relay_(context_, address_, host_) {
        makeClip("plate", {"8x4x24"}, 96, count);
        output({"mkclip", "/back", "--format", "8x4x24", "--frames", std::to_string(count)});
    }
    ~BrokenLinkTest() override {
        context_.stop();
        thread_.join();
    }
    ToolResult overLink(const Words& words) const {
        return ToolProgram(address_, folder_, words).finish();
    }
    void endsWhole(const Words& words, const FaultyRelay::Plan& plan) {
        relay_.arm(plan);
        ToolResult result = overLink(words + Words{"--timeout", "2"});
        EXPECT_TRUE(relay_.disarm());
        if (plan.fault == Fault::Stall) {
            EXPECT_EQ(5, result.status);
            EXPECT_NE(std::string::npos, result.errors.find("no answer within 2 s; "));
            EXPECT_NE(std::string::npos, result.errors.find(" done, --resume goes on from there"));
            result = overLink(words + Words{"--resume"});
        }
        EXPECT_EQ(0, result.status) << result.errors;
        EXPECT_EQ("", output(words[0] == "get" ? Words{"check", "/plate", "out.#", "--raw"}
                                               : Words{"check", "/back", "plate.#", "--raw"}));
    }

    asio::io_context context_;
    const std::string address_ = "127.207" + host_.substr(host_.find('.', host_.find('.') + 1));
    FaultyRelay relay_;
    std::thread thread_{[this] { context_.run(); }};
};

TEST_F(BrokenLinkTest, EveryFrameArrivesWholeOrTheFailureIsTold) {
    const Words get{"get", "/plate", "out.#", "--raw", "-y", "-j", "3"};
    const Words put{"put", "plate.#", "/back", "--raw", "-y", "-j", "3"};
    for (const Fault fault : {Fault::Close, Fault::Reset, Fault::Stall})
        for (const Side side : {Side::Request, Side::Reply})
            for (const Words& words : {get, put}) {
                SCOPED_TRACE(words[0] + " " + std::to_string(static_cast<int>(fault)) +
                             std::to_string(static_cast<int>(side)));
                endsWhole(words, {Channel::Frame, side, fault, 20});
                for (int i = 0; words == get && i < count; ++i)
                    ::unlink(path("out." + std::to_string(i)).c_str());
            }
}

} // namespace
