#include "devserver/DevCommandService.h"

#include "devserver/DevArguments.h"
#include "devserver/DevError.h"
#include "devserver/DevNodeChecks.h"
#include "devserver/DevText.h"
#include "devserver/DevTreeNames.h"
#include "lantrix/LantrixClipFormatFields.h"
#include "rc/rcProtocol.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace {

// One request on its way to an answer.
struct Call {
    DevTree& tree;
    const DevServerOptions& options;
    DevArguments& arguments;
    const DevCommandService::Charge& charge;
};

// What the plug-in version query answers: the version of this server's way to keep a tree.
constexpr int plugInMajor = 1;
constexpr int plugInMinor = 0;

// While metadata becomes part of a description: unquoted, in the description, in its text.
constexpr std::size_t copiesOfText = 3;

std::string orNone(const char* tag) {
    return *tag == '\0' ? "none" : tag;
}

DevNode::Kind kindOf(int number) {
    if (number != DevNode::Plain && number != DevNode::Clip)
        throw DevError("The node kind " + std::to_string(number) + " is neither 0 nor 1.");
    return static_cast<DevNode::Kind>(number);
}

LantrixOS::OsType osOf(DevArguments& arguments, const char* what) {
    const int number = arguments.number(what);
    if (number < LantrixOS::Unknown || number > LantrixOS::MacOSX)
        throw DevError("The " + std::string(what) + " " + std::to_string(number) +
                       " is not from 0 to 4.");
    return static_cast<LantrixOS::OsType>(number);
}

// What a change of a node takes beside the request: its description is copied and written anew.
std::size_t descriptionSize(const DevNode& node) {
    std::size_t size = std::strlen(node.format.metaData());
    for (const auto& [name, text] : node.streams)
        size += name.size() + text.size();
    for (const std::string& path : node.links)
        size += sizeof(std::string) + path.size();
    return size;
}

// A list's pieces take more memory than the request has bytes; \p beside is what else is taken.
std::vector<std::string> chargedList(const Call& call, std::string_view text,
                                     std::size_t beside = 0) {
    const auto commas = std::count(text.begin(), text.end(), ',');
    call.charge(beside + text.size() +
                (static_cast<std::size_t>(commas) + 1) * sizeof(std::string));
    return devListOf(text);
}

// The ids of a clip's frames, as a list; \p beside is what else is taken of memory.
std::string frameIds(const Call& call, std::string_view clip, std::size_t count,
                     std::size_t beside = 0) {
    const std::string start = std::string(clip) + "-" + DevTreeNames::frameStart;
    const std::size_t size = count * (start.size() + sizeof "1000000");
    call.charge(size + beside);
    std::string list;
    list.reserve(size);
    for (std::size_t index = 0; index < count; ++index) {
        if (index > 0)
            list += ',';
        list.append(start);
        devAppend(list, index);
    }
    return list;
}

std::string ping(const Call&) {
    return "";
}

std::string queryVersion(const Call& call) {
    return rcProtocol::versionText(call.options.protocolMajor, call.options.protocolMinor);
}

// Hosts are taken to see the same files; only the separators differ between systems.
std::string translatePaths(const Call& call) {
    (void)call.arguments.quotedWord("source host");
    const LantrixOS::OsType source = osOf(call.arguments, "source system");
    (void)call.arguments.quotedWord("destination host");
    const LantrixOS::OsType destination = osOf(call.arguments, "destination system");
    std::vector<std::string> paths = chargedList(call, call.arguments.rest());
    for (std::string& path : paths) {
        if (path.size() < 2 || path.front() != '"' || path.back() != '"')
            throw DevError("The path " + devQuoted(path) + " is not a text in double quotes.");
        path = path.substr(1, path.size() - 2);
        if (destination == LantrixOS::WindowsNT)
            std::replace(path.begin(), path.end(), '/', '\\');
        else if (source == LantrixOS::WindowsNT)
            std::replace(path.begin(), path.end(), '\\', '/');
    }
    return rcProtocol::joined(paths);
}

std::string getRootNode(const Call&) {
    return DevTree::rootId();
}

std::string getChildren(const Call& call) {
    const std::vector<DevIndex::Child> children = call.tree.children(call.arguments.rest());
    std::size_t size = 0;
    for (const auto& [number, node] : children)
        size += DevTreeNames::folderName(number).size() + node->name.size() + 2;
    call.charge(size);
    std::string list;
    list.reserve(size);
    for (const auto& [number, node] : children) {
        rcProtocol::appendItem(list, DevTreeNames::folderName(number));
        rcProtocol::appendItem(list, node->name);
    }
    return list;
}

// A type that is not a number has the number 0.
std::string getNodeType(const Call& call) {
    const DevTree::Node node = call.tree.node(call.arguments.rest());
    return std::to_string(node->kind) + " " +
           std::to_string(devInteger<int>(node->type).value_or(0));
}

std::string getNodeTypeStr(const Call& call) {
    return call.tree.node(call.arguments.rest())->type;
}

std::string getDisplayName(const Call& call) {
    return call.tree.node(call.arguments.rest())->name;
}

// The name is not escaped: it goes from the first quote to the last.
std::string createNode(const Call& call) {
    const std::string parent = call.arguments.word("parent's id");
    const std::string_view rest = call.arguments.rest();
    const std::size_t last = rest.rfind('"');
    if (rest.size() < 2 || rest.front() != '"' || last == 0)
        throw DevError("The node's name is not a text in double quotes.");
    const std::string name(rest.substr(1, last - 1));
    if (rest.substr(last + 1, 1) != " ")
        throw DevError("The node kind is missing.");
    DevArguments behindName(rest.substr(last + 2));
    const DevNode::Kind kind = kindOf(behindName.number("node kind"));
    const std::string type = behindName.word("node type");
    if (!behindName.rest().empty())
        throw DevError("The node type holds a blank.");
    return call.tree.createNode(parent, name, kind, type);
}

std::string destroyNode(const Call& call) {
    call.tree.destroyNode(call.arguments.rest());
    return "";
}

std::string allocateFrames(const Call& call) {
    const std::string id = call.arguments.word("node's id");
    const int count = call.arguments.number("number of frames");
    if (count < 0)
        throw DevError("The number of frames is negative.");
    const LantrixClipFormat format = call.arguments.clipFormat();
    devCheckFrameCount(static_cast<std::size_t>(count));
    // Before the change: what can't be answered is not done.
    std::string ids =
        frameIds(call, id, static_cast<std::size_t>(count), descriptionSize(*call.tree.clip(id)));
    call.tree.allocateFrames(id, static_cast<std::size_t>(count), format);
    return ids;
}

std::string getFrames(const Call& call) {
    const std::string_view id = call.arguments.rest();
    return frameIds(call, id, call.tree.clip(id)->frames);
}

std::string getFramePaths(const Call& call) {
    const std::string id = call.arguments.word("node's id");
    (void)call.arguments.word("host");
    (void)call.arguments.number("operating system");
    (void)call.arguments.word("operating system's version");
    const DevTree::Node clip = call.tree.clip(id);
    const std::string folder = call.tree.frameFolder(id);
    std::size_t size = (clip->frames - clip->links.size()) * (folder.size() + sizeof "f1000000");
    for (const std::string& path : clip->links)
        size += path.size() + 1;
    call.charge(size);
    std::string list = rcProtocol::joined(clip->links);
    list.reserve(size);
    for (std::size_t index = clip->links.size(); index < clip->frames; ++index)
        list.append(index == 0 ? "" : ",").append(folder).append(DevTreeNames::frameName(index));
    return list;
}

// Paths may hold blanks; so the fields behind them are counted from the end: host, system and its
// version, and those of the clip format in front of its metadata.
std::string setFramePaths(const Call& call) {
    const std::string id = call.arguments.word("node's id");
    DevArguments behindPaths(call.arguments.takeLast(3 + lantrixClipFormatFields, "clip format"));
    (void)behindPaths.word("host");
    (void)behindPaths.number("operating system");
    (void)behindPaths.word("operating system's version");
    const LantrixClipFormat format = behindPaths.clipFormat();
    const std::vector<std::string> paths =
        chargedList(call, call.arguments.rest(), descriptionSize(*call.tree.clip(id)));
    call.tree.linkFrames(id, paths, format);
    return "";
}

// An empty tag travels as a word, for the client reads words; the metadata is the rest of the line.
std::string getClipFormat(const Call& call) {
    const DevTree::Node clip = call.tree.clip(call.arguments.rest());
    call.charge(std::strlen(clip->format.metaData()));
    LantrixClipFormat format = clip->format;
    format.setFormatTag(orNone(format.formatTag()).c_str());
    format.setMetaDataTag(orNone(format.metaDataTag()).c_str());
    return lantrixClipFormatText(format) + format.metaData();
}

std::string queryVendor(const Call& call) {
    return call.options.vendor;
}

std::string queryProduct(const Call& call) {
    return call.options.product;
}

std::string queryPlugInVersion(const Call&) {
    return rcProtocol::versionText(plugInMajor, plugInMinor);
}

std::string getStorageId(const Call& call) {
    return call.tree.storageId();
}

// A stream is returned whole: filter and depth, which mean what each server likes, mean nothing.
std::string getMetaData(const Call& call) {
    const std::string id = call.arguments.word("node's id");
    const std::string stream = call.arguments.word("metadata stream");
    (void)call.arguments.word("filter");
    (void)call.arguments.number("depth");
    const DevTree::Node node = call.tree.node(id);
    const auto found = node->streams.find(stream);
    if (found == node->streams.end())
        throw DevError("The node " + devQuoted(id) + " has no metadata stream " +
                       devQuoted(stream) + ".");
    call.charge(found->second.size());
    return found->second;
}

std::string setMetaData(const Call& call) {
    const std::string id = call.arguments.word("node's id");
    const std::string stream = call.arguments.word("metadata stream");
    call.charge(call.arguments.rest().size() * copiesOfText + descriptionSize(*call.tree.node(id)));
    call.tree.setStream(id, stream, call.arguments.escapedText("metadata"));
    return "";
}

std::string queryMetaDataSupport(const Call& call) {
    const DevTree::Node node = call.tree.node(call.arguments.rest());
    std::size_t size = 0;
    for (const auto& [name, text] : node->streams)
        size += name.size() + 1;
    call.charge(size);
    std::string list;
    list.reserve(size);
    for (const auto& [name, text] : node->streams)
        rcProtocol::appendItem(list, name);
    return list;
}

struct Row {
    const char* name;
    std::string (*method)(const Call& call);
};

constexpr Row rows[] = {
    {"Ping", ping},
    {"QueryVersion", queryVersion},
    {"Shutdown", ping},
    {"TranslatePaths", translatePaths},
    {"GetRootNode", getRootNode},
    {"GetChildren", getChildren},
    {"GetNodeType", getNodeType},
    {"GetNodeTypeStr", getNodeTypeStr},
    {"GetDisplayName", getDisplayName},
    {"CreateNode", createNode},
    {"DestroyNode", destroyNode},
    {"AllocateFrames", allocateFrames},
    {"GetFrames", getFrames},
    {"GetFramePaths", getFramePaths},
    {"SetFramePaths", setFramePaths},
    {"GetClipFormat", getClipFormat},
    {"QueryNodePlugInVendor", queryVendor},
    {"QueryNodePlugInProduct", queryProduct},
    {"QueryNodePlugInVersion", queryPlugInVersion},
    {"GetStorageId", getStorageId},
    {"GetMetaData", getMetaData},
    {"SetMetaData", setMetaData},
    {"QueryMetaDataSupport", queryMetaDataSupport},
};

const Row& rowOf(const std::string& method, const DevServerOptions& options) {
    for (const Row& row : rows)
        if (method == row.name &&
            rcProtocol::knows(options.protocolMajor, options.protocolMinor, method))
            return row;
    throw DevError("Unknown method " + devQuoted(method) + ".");
}

} // namespace

DevCommandService::DevCommandService(DevTree& tree, DevFrameCache& cache, const DevLog& log,
                                     const DevServerOptions& options)
    : tree_(tree), cache_(cache), log_(log), options_(options) {}

bool DevCommandService::asksForEnd(const rcCommand& request) {
    return std::strcmp(request.method(), "Shutdown") == 0;
}

rcResult DevCommandService::answer(const rcCommand& request, const Charge& charge) {
    if (log_.isVerbose())
        log_(std::string(request.method()) + " " + request.value().substr(0, 200));
    rcResult result;
    try {
        const std::string text = cache_.withDescriptors([&] {
            DevArguments arguments(request.value());
            return rowOf(request.method(), options_).method({tree_, options_, arguments, charge});
        });
        result.setCode(rcResult::Ok);
        result.setValue(text.c_str());
    } catch (const DevError& error) {
        result.setCode(rcResult::Error);
        result.setValue(error.what());
        log_(std::string(request.method()) + ": ", error.what());
    } catch (const std::bad_alloc&) {
        result.setCode(rcResult::Error);
        result.setValue("The server has no memory left for this request.");
        log_("A request found no memory: ", request.method());
    }
    return result;
}
