// Nodes: names, children, metadata. Frames are in Clip.cpp.
#include "python/Node.h"

namespace python {

Node::Node(std::shared_ptr<Connection> connection, Text id)
    : connection_(std::move(connection)), id_(std::move(id)), generation_(processGeneration()) {}

// What a thread of another process may have been using when that was forked is left where it is.
Node::~Node() {
    if (generation_ != processGeneration()) {
        [[maybe_unused]] const auto* const lost = handle_.release();
    }
}

LantrixNodeHandle Node::freshHandle(const LantrixServerHandle& server) const {
    return {server, id_.bytes.c_str()};
}

LantrixNodeHandle& Node::handle(const LantrixServerHandle& server) {
    if (generation_ != processGeneration()) {
        [[maybe_unused]] const auto* const lost = handle_.release();
        generation_ = processGeneration();
    }
    if (handle_ == nullptr || handleNumber_ != connection_->handleNumber()) {
        handle_ = std::make_unique<LantrixNodeHandle>(server, id_.bytes.c_str());
        handleNumber_ = connection_->handleNumber();
    }
    return *handle_;
}

Text Node::name() {
    LantrixStr name;
    connection_->call([&](Call& call) { call.check(handle(call.server).getDisplayName(name)); });
    return {name.c_str()};
}

py::tuple Node::kind() {
    int number = 0;
    LantrixStr text;
    bool isClip = false;
    connection_->call([&](Call& call) {
        const LantrixNodeHandle& node = handle(call.server);
        call.check(node.getNodeType(number) && node.getNodeTypeStr(text) &&
                   node.getIsClipNode(isClip));
    });
    return py::make_tuple(number, Text{text.c_str()}, isClip);
}

int Node::countChildren() {
    int count = 0;
    connection_->call([&](Call& call) { call.check(handle(call.server).getNumChildren(count)); });
    return count;
}

NamedId Node::child(int index) {
    NamedId found;
    connection_->call([&](Call& call) {
        LantrixNodeHandle child;
        LantrixStr name;
        if (!call.check(handle(call.server).getChild(index, child) && child.getDisplayName(name)))
            return;
        found = {{child.getNodeId().id()}, {name.c_str()}};
    });
    return found;
}

std::optional<Text> Node::findChild(const Text& name) {
    std::optional<Text> found;
    connection_->call([&](Call& call) {
        const LantrixNodeHandle& node = handle(call.server);
        LantrixNodeHandle child;
        int count = 0; // asked first: not to find the name is not a failure
        if (call.check(node.getNumChildren(count)) &&
            LantrixFindChild(node, name.bytes.c_str(), child))
            found = Text{child.getNodeId().id()};
    });
    return found;
}

py::list Node::childNames() {
    std::vector<LantrixStr> names;
    connection_->call([&](Call& call) {
        const LantrixNodeHandle& node = handle(call.server);
        LantrixNodeHandle child;
        int count = 0;
        bool isGood = call.check(node.getNumChildren(count));
        names.resize(static_cast<std::size_t>(count));
        for (int i = 0; isGood && i < count; ++i)
            isGood = call.check(node.getChild(i, child) &&
                                child.getDisplayName(names[static_cast<std::size_t>(i)]));
    });
    py::list list(names.size());
    for (std::size_t i = 0; i < names.size(); ++i)
        list[i] = pythonText(names[i].c_str(), names[i].length());
    return list;
}

Text Node::createFolder(const Text& name, const Text& type) {
    Text id;
    connection_->call([&](Call& call) {
        LantrixNodeHandle child;
        if (call.check(
                handle(call.server).createNode(name.bytes.c_str(), type.bytes.c_str(), child)))
            id.bytes = child.getNodeId().id();
    });
    return id;
}

Text Node::createClip(const Text& name, const py::tuple& format, const Text& type, int frames) {
    const LantrixClipFormat wanted = formatOf(format);
    Text id;
    connection_->call([&](Call& call) {
        LantrixNodeHandle child;
        if (call.check(
                handle(call.server)
                    .createClipNode(name.bytes.c_str(), wanted, type.bytes.c_str(), child)) &&
            call.check(child.setNumFrames(frames)))
            id.bytes = child.getNodeId().id();
    });
    return id;
}

void Node::destroy() {
    connection_->call([&](Call& call) { call.check(handle(call.server).destroyNode()); });
    clip_.reset();
}

// Asked afresh each time, since the handle would not learn of streams that have been set.
std::vector<Text> Node::streamNames() {
    std::vector<Text> names;
    connection_->call([&](Call& call) {
        const LantrixNodeHandle node = freshHandle(call.server);
        int count = 0;
        LantrixStr name;
        bool isGood = call.check(node.getNumAvailableMetaDataStreams(count));
        for (int i = 0; isGood && i < count; ++i) {
            isGood = call.check(node.getAvailableMetaDataStream(i, name));
            names.push_back({name.c_str()});
        }
    });
    return names;
}

Text Node::metadata(const Text& stream, const Text& filter, int depth) {
    LantrixStr text;
    connection_->call([&](Call& call) {
        call.check(handle(call.server)
                       .getMetaData(stream.bytes.c_str(), filter.bytes.c_str(), depth, text));
    });
    return {text.c_str()};
}

void Node::setMetadata(const Text& stream, const Text& text) {
    connection_->call([&](Call& call) {
        call.check(handle(call.server).setMetaData(stream.bytes.c_str(), text.bytes.c_str()));
    });
}

} // namespace python
