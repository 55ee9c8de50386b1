#include "python/Streams.h"

#include "python/Memory.h"

#include <limits>

namespace python {

namespace {

// Arrays hold so many frames of a reader at most; further ones are copied, so that whoever keeps
// all of them does not keep the reader from its buffers.
constexpr int mostLent = 4;
constexpr unsigned mostConnections = 256;
constexpr unsigned mostAhead = 1U << 20U;

lantrix::FrameWindow windowOf(unsigned connections, unsigned ahead) {
    if (ahead > mostAhead)
        throw py::value_error("at most 1048576 frames are read or written ahead");
    return {std::numeric_limits<std::size_t>::max(),
            std::size_t{connections} + ahead + static_cast<std::size_t>(mostLent)};
}

// Readers and writers ask for these when they are made, and would tell a failure as one of theirs,
// later: a call that was ended would not be known as such any more.
bool askOfFrames(const LantrixNodeHandle& clip, Call& call) {
    LantrixClipFormat format;
    int frames = 0;
    return call.check(clip.getClipFormat(format) && clip.getNumFrames(frames));
}

// A frame whose memory is an array's. It is let go with the interpreter's lock.
struct LentFrame {
    lantrix::FrameBuffer pixels;
    std::shared_ptr<std::atomic<int>> count;
    unsigned generation = processGeneration();
};

void takeBack(void* object) {
    std::unique_ptr<LentFrame> frame(static_cast<LentFrame*>(object));
    // A thread that a child does not have may hold the reader's lock there.
    if (frame->generation != processGeneration()) {
        [[maybe_unused]] const auto* const lost = frame.release();
        return;
    }
    --*frame->count;
}

} // namespace

Pooled::Pooled(std::shared_ptr<Connection> connection, unsigned connections)
    : connection_(std::move(connection)), generation_(processGeneration()),
      turn_(std::make_unique<Turn>()) {
    if (connections < 1 || connections > mostConnections)
        throw py::value_error("from 1 to 256 connections are possible");
    if (connection_->isClosed())
        throw BindingError(ErrorKind::Error, connection_->host() + ": this server has been closed");
    pool_ = std::make_unique<lantrix::Pool>(connection_->host(), connections);
}

Pooled::~Pooled() {
    if (isInherited()) {
        [[maybe_unused]] const auto* const lost = pool_.release();
        [[maybe_unused]] const auto* const lostTurn = turn_.release();
    }
}

void Pooled::requireOwn() const {
    if (isInherited())
        throw BindingError(ErrorKind::Error,
                           connection_->host() + ": this was begun before the process was forked");
}

FrameSource::FrameSource(Node& clip, std::vector<int> indices, unsigned connections, unsigned ahead)
    : Pooled(clip.connection(), connections), clip_(clip.clip()),
      lent_(std::make_shared<std::atomic<int>>(0)) {
    static_cast<void>(clip_->known());
    clip.withHandle([&](const LantrixNodeHandle& handle, Call& call) {
        if (askOfFrames(handle, call))
            reader_ = std::make_unique<lantrix::FrameReader>(pool(), handle, std::move(indices),
                                                             windowOf(connections, ahead));
    });
}

py::array FrameSource::arrayOf(lantrix::FrameBuffer pixels) {
    const Layout& layout = clip_->known();
    if (pixels.size() != clip_->frameSize)
        throw BindingError(ErrorKind::BadFrame, "the format of this clip has changed");
    if (!layout.isPlain() || *lent_ >= mostLent) {
        py::array frame = layout.newArray();
        layout.unpack(pixels.data(), static_cast<char*>(frame.mutable_data()));
        return frame;
    }
    auto lent = std::make_unique<LentFrame>(LentFrame{std::move(pixels), lent_});
    char* const bytes = lent->pixels.data();
    ++*lent_;
    const py::capsule owner(lent.release(), takeBack);
    return {py::dtype(layout.typeName()), layout.shape(), bytes, owner};
}

std::optional<std::pair<int, py::array>> FrameSource::next() {
    std::optional<lantrix::Frame> frame;
    wait([&]() -> lantrix::Failure {
        frame = reader_->next();
        return frame ? frame->failure : lantrix::Failure();
    });
    if (!frame)
        return std::nullopt;
    return std::make_pair(frame->index, arrayOf(std::move(frame->pixels)));
}

FrameSink::FrameSink(Node& clip, unsigned connections, unsigned ahead)
    : Pooled(clip.connection(), connections), clip_(clip.clip()),
      results_(std::make_shared<Results>()) {
    static_cast<void>(clip_->known());
    const auto told = [results = results_](const lantrix::WriteResult& result) {
        const std::lock_guard<std::mutex> lock(results->mutex);
        if (result.failure && !results->failure) {
            results->failure = result.failure;
            results->failure.text =
                "frame " + std::to_string(result.index) + ": " + result.failure.text;
        }
    };
    clip.withHandle([&](const LantrixNodeHandle& handle, Call& call) {
        if (askOfFrames(handle, call))
            writer_ = std::make_unique<lantrix::FrameWriter>(pool(), handle, told,
                                                             windowOf(connections, ahead));
    });
}

void FrameSink::throwFailure() {
    lantrix::Failure failure;
    {
        const std::lock_guard<std::mutex> lock(results_->mutex);
        failure = results_->failure;
    }
    if (failure)
        throw errorOf(failure, connection().host(), framePort);
}

void FrameSink::write(long long index, const py::array& frame) {
    const int place = clip_->place(index);
    clip_->known().check(frame);
    const auto dense = py::array::ensure(frame, py::array::c_style);
    if (!dense)
        throw py::error_already_set();
    const Memory memory(dense.ptr(), PyBUF_C_CONTIGUOUS);
    const bool isOpen = wait([&] {
        lantrix::FrameBuffer buffer = writer_->take();
        if (!buffer)
            return writer_->failure();
        if (buffer.size() != clip_->frameSize)
            throw BindingError(ErrorKind::BadFrame, "the format of this clip has changed");
        clip_->known().pack(memory.bytes(), buffer.data());
        writer_->write(place, std::move(buffer));
        return lantrix::Failure();
    });
    if (!isOpen)
        throw BindingError(ErrorKind::Error, "this writer has been closed");
    throwFailure();
}

void FrameSink::finish() {
    wait([&] {
        writer_->finish();
        return lantrix::Failure();
    });
    throwFailure();
}

Walk::Walk(Node& start, unsigned connections, int depth) : Pooled(start.connection(), connections) {
    lantrix::WalkOptions options;
    options.kinds = true;
    options.depth = depth;
    walker_ = std::make_unique<lantrix::TreeWalker>(pool(), start.id().bytes, options);
}

std::optional<py::tuple> Walk::next() {
    std::optional<lantrix::WalkedNode> node;
    // What one node could not tell is told with it; only a broken connection ends the walk.
    wait([&]() -> lantrix::Failure {
        node = walker_->next();
        const bool isOver = node && node->failure.kind != lantrix::Failure::Kind::Refused;
        return isOver ? node->failure : lantrix::Failure();
    });
    if (!node)
        return std::nullopt;
    const py::object failure =
        node->failure ? py::object(pythonText(node->failure.text)) : py::object(py::none());
    return py::make_tuple(node->depth, Text{node->id}, Text{node->name}, node->type,
                          Text{node->kind}, node->isClip, node->children, failure);
}

} // namespace python
