// The frames of a clip, one at a time: straight between the socket and the array.
#include "python/Memory.h"
#include "python/Node.h"

namespace python {

namespace {

// An array that can be filled in place is asked directly: as a buffer, numpy describes it anew,
// which is a tenth of what a call costs. For any other its refusal as a buffer is the error.
char* writableBytes(py::array& array) {
    const bool isDense = (array.flags() & py::array::c_style) != 0;
    if (!isDense || !array.writeable())
        return Memory(array.ptr(), PyBUF_WRITABLE | PyBUF_C_CONTIGUOUS).bytes();
    return static_cast<char*>(array.mutable_data());
}

} // namespace

const Layout& Node::Clip::known() const {
    if (!layout)
        throw BindingError(ErrorKind::BadFrame, whyNoLayout);
    return *layout;
}

int Node::Clip::place(long long index) const {
    const long long place = index < 0 ? index + frames : index;
    if (place < 0 || place >= frames) {
        throw BindingError(ErrorKind::IndexNotFound, "frame " + std::to_string(index) +
                                                         " is not among the " +
                                                         std::to_string(frames) + " of this clip");
    }
    return static_cast<int>(place);
}

std::shared_ptr<const Node::Clip> Node::askClip() {
    LantrixClipFormat format;
    int frames = 0;
    connection_->call([&](Call& call) {
        const LantrixNodeHandle& node = handle(call.server);
        call.check(node.getClipFormat(format) && node.getNumFrames(frames));
    });
    if (format.frameBufferSize() < 1)
        throw BindingError(ErrorKind::BadFrame, "the frames of this clip have no bytes");
    Clip known{format, static_cast<std::size_t>(format.frameBufferSize()), frames, {}, {}};
    try {
        known.layout.emplace(format);
    } catch (const BindingError& error) {
        known.whyNoLayout = error.what();
    }
    return std::make_shared<const Clip>(known);
}

std::shared_ptr<const Node::Clip> Node::clip() {
    if (!clip_)
        clip_ = askClip();
    return clip_;
}

py::tuple Node::format() {
    return tupleOf(clip()->format);
}

int Node::countFrames() {
    return clip()->frames;
}

void Node::resize(int frames) {
    clip_.reset();
    connection_->call([&](Call& call) { call.check(handle(call.server).setNumFrames(frames)); });
}

void Node::link(const std::vector<Text>& paths) {
    std::vector<LantrixStr> list;
    for (const Text& path : paths)
        list.emplace_back(path.bytes.c_str());
    clip_.reset();
    connection_->call([&](Call& call) {
        call.check(handle(call.server).linkToFrames(list.data(), static_cast<int>(list.size())));
    });
}

template <class Query>
py::list Node::frameTexts(Query query) {
    std::vector<LantrixStr> texts;
    connection_->call([&](Call& call) {
        const LantrixNodeHandle& node = handle(call.server);
        int count = 0;
        bool isGood = call.check(node.getNumFrames(count));
        texts.resize(static_cast<std::size_t>(count));
        for (int i = 0; isGood && i < count; ++i)
            isGood = call.check((node.*query)(i, texts[static_cast<std::size_t>(i)]));
    });
    py::list list(texts.size());
    for (std::size_t i = 0; i < texts.size(); ++i)
        list[i] = pythonText(texts[i].c_str(), texts[i].length());
    return list;
}

py::list Node::frameIds() {
    return frameTexts(&LantrixNodeHandle::getFrameId);
}

py::list Node::framePaths() {
    return frameTexts(&LantrixNodeHandle::getFrameIdPath);
}

void Node::readBytes(int index, char* bytes, std::size_t size) {
    connection_->call([&](Call& call) {
        call.port = framePort;
        call.check(handle(call.server).readFrame(index, bytes, static_cast<int>(size)));
    });
}

void Node::writeBytes(int index, const char* bytes, std::size_t size) {
    connection_->call([&](Call& call) {
        call.port = framePort;
        call.check(handle(call.server).writeFrame(index, bytes, static_cast<int>(size)));
    });
}

py::array Node::read(long long index) {
    py::array frame = clip()->known().newArray();
    readInto(index, frame);
    return frame;
}

py::bytes Node::readRaw(long long index) {
    const auto known = clip();
    const int place = known->place(index);
    PyObject* const bytes =
        PyBytes_FromStringAndSize(nullptr, static_cast<Py_ssize_t>(known->frameSize));
    if (bytes == nullptr)
        throw py::error_already_set();
    auto frame = py::reinterpret_steal<py::bytes>(bytes);
    readBytes(place, PyBytes_AS_STRING(bytes), known->frameSize);
    return frame;
}

void Node::readInto(long long index, const py::object& out) {
    const auto known = clip();
    const int place = known->place(index);
    if (!py::isinstance<py::array>(out)) {
        const Memory memory(out.ptr(), PyBUF_WRITABLE | PyBUF_C_CONTIGUOUS);
        memory.check(known->frameSize);
        readBytes(place, memory.bytes(), known->frameSize);
        return;
    }
    auto array = py::reinterpret_borrow<py::array>(out);
    known->known().check(array);
    char* const samples = writableBytes(array);
    if (known->known().isPlain()) {
        readBytes(place, samples, known->frameSize);
        return;
    }
    // Packed pixels are shorter than their samples: they arrive at the array's end.
    char* const words = samples + known->known().arrayBytes() - known->frameSize;
    readBytes(place, words, known->frameSize);
    runUnlocked([&] { known->known().unpack(words, samples); });
}

void Node::write(long long index, const py::array& frame) {
    const auto known = clip();
    const int place = known->place(index);
    known->known().check(frame);
    const auto dense = py::array::ensure(frame, py::array::c_style);
    if (!dense)
        throw py::error_already_set();
    const Memory memory(dense.ptr(), PyBUF_C_CONTIGUOUS);
    if (known->known().isPlain()) {
        writeBytes(place, memory.bytes(), known->frameSize);
        return;
    }
    const std::unique_ptr<char[]> words(new char[known->frameSize]);
    runUnlocked([&] { known->known().pack(memory.bytes(), words.get()); });
    writeBytes(place, words.get(), known->frameSize);
}

void Node::writeRaw(long long index, const py::buffer& bytes) {
    const auto known = clip();
    const int place = known->place(index);
    const Memory memory(bytes.ptr(), PyBUF_C_CONTIGUOUS);
    memory.check(known->frameSize);
    writeBytes(place, memory.bytes(), known->frameSize);
}

} // namespace python
