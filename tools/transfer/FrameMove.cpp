#include "tools/transfer/FrameMove.h"

namespace tool {

void FrameTarget::prepare(Piece& /*piece*/, Cores& /*cores*/) {}

MovedFrame FrameTarget::room(std::size_t size) {
    return MovedFrame(Bytes(size));
}

bool FrameSource::isBrief(const Piece& /*piece*/) const {
    return false;
}

void FrameSource::make(Piece& /*piece*/, FrameTarget& /*target*/) {}

namespace {

// Behind a failure: what was taken up before it is to be done, and may fail as well.
void settle(FrameTarget& target, Cores& cores) {
    const auto attempt = [](const auto& step) {
        try {
            step();
        } catch (const std::exception&) { // not the first failure
            return;
        }
    };
    attempt([&] { cores.wait(); });
    attempt([&] { target.finish(); });
}

} // namespace

void moveFrames(FrameSource& source, FrameTarget& target, const StepSpan& span, Cores& cores,
                const StepDone& done) {
    const bool isAlone = span.end - span.begin == 1; // nothing could go on beside it
    try {
        for (std::size_t step = span.begin; step < span.end; ++step) {
            const auto piece = std::make_shared<Piece>();
            piece->step = step;
            if (!source.fetch(*piece))
                break;
            target.prepare(*piece, cores);
            const auto task = [&source, &target, &done, piece] {
                source.make(*piece, target);
                target.take(std::move(*piece), done);
            };
            const bool isBrief = source.isBrief(*piece) && target.isBrief();
            isBrief || isAlone ? cores.runHere(task) : cores.run(task);
        }
        cores.wait();
    } catch (...) {
        settle(target, cores);
        throw;
    }
    target.finish();
}

void moveFrames(Transfer& transfer, const OpenSource& openSource, const OpenTarget& openTarget,
                std::size_t steps) {
    transfer.run([&](const StepDone& done) {
        const StepSpan all{0, steps};
        const auto source = openSource(all);
        const auto target = openTarget(all);
        Cores cores;
        moveFrames(*source, *target, all, cores, done);
    });
}

namespace {

class FunctionTarget : public FrameTarget {
public:
    explicit FunctionTarget(std::function<StepResult(Piece&)> use) : use_(std::move(use)) {}
    void take(Piece piece, const StepDone& done) override { done(piece.step, use_(piece)); }

private:
    std::function<StepResult(Piece&)> use_;
};

} // namespace

OpenTarget toFunction(std::function<StepResult(Piece& piece)> use) {
    return [use = std::move(use)](const StepSpan& /*span*/) {
        return std::make_unique<FunctionTarget>(use);
    };
}

} // namespace tool
