// A clip as the source of a transfer: its frames are read ahead over the connections of its pool.
#include "stream/FrameReader.h"
#include "tools/transfer/FrameMove.h"

namespace tool {

namespace {

class ClipSource : public FrameSource {
public:
    ClipSource(const LocatedClip& clip, const std::vector<int>& indices, Missing missing)
        : clip_(clip), missing_(missing),
          reader_(*clip.pool, clip.handle, indices, frameWindow(clip)) {}

    bool fetch(Piece& piece) override {
        std::optional<lantrix::Frame> frame = reader_.next();
        if (!frame->failure) {
            piece.frame = MovedFrame(std::move(frame->pixels));
            return true;
        }
        const Failure failure = clip_.failureOf("read", frame->index, frame->failure);
        if (missing_ == Missing::Error || !isHole(failure))
            throw failure;
        piece.frame = MovedFrame(standIn(frame->index, failure));
        return true;
    }

    [[nodiscard]] bool isBrief(const Piece& piece) const override {
        return piece.frame.size() <= smallFrame;
    }

private:
    // Black, or the nearest frame before this one that can be read.
    [[nodiscard]] Bytes standIn(int index, const Failure& failure) const {
        if (missing_ == Missing::Black)
            return Bytes(static_cast<std::size_t>(clip_.format.frameBufferSize()), '\0');
        while (--index >= 0) {
            try {
                return readFrame(clip_, index);
            } catch (const Failure& before) {
                if (!isHole(before))
                    throw;
            }
        }
        throw failure;
    }

    const LocatedClip clip_;
    const Missing missing_;
    lantrix::FrameReader reader_;
};

} // namespace

OpenSource fromClip(const LocatedClip& clip, const std::vector<int>& indices, Missing missing) {
    return [clip, indices, missing](const StepSpan& span) {
        const auto begin = indices.begin() + static_cast<std::ptrdiff_t>(span.begin);
        const auto end = indices.begin() + static_cast<std::ptrdiff_t>(span.end);
        return std::make_unique<ClipSource>(clip, std::vector<int>(begin, end), missing);
    };
}

} // namespace tool
