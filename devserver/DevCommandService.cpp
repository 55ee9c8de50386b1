#include "devserver/DevCommandService.h"

#include "base/loggerBase/src/CoText.h"
#include "devserver/DevError.h"
#include "devserver/DevText.h"

#include <algorithm>
#include <cstring>

namespace {

// What the plug-in version query answers: the version of this server's way to keep a tree.
constexpr char plugInVersion[] = "1 0";

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

} // namespace

// A method, and the minor version of protocol 2 that brought it.
struct DevCommandService::Row {
    const char* name;
    int sinceMinor;
    Method method;
};

const DevCommandService::Row DevCommandService::rows[] = {
    {"Ping", 0, &DevCommandService::ping},
    {"QueryVersion", 0, &DevCommandService::queryVersion},
    {"Shutdown", 0, &DevCommandService::ping},
    {"TranslatePaths", 0, &DevCommandService::translatePaths},
    {"GetRootNode", 0, &DevCommandService::getRootNode},
    {"GetChildren", 0, &DevCommandService::getChildren},
    {"GetNodeType", 0, &DevCommandService::getNodeType},
    {"GetNodeTypeStr", 0, &DevCommandService::getNodeTypeStr},
    {"GetDisplayName", 0, &DevCommandService::getDisplayName},
    {"CreateNode", 0, &DevCommandService::createNode},
    {"DestroyNode", 0, &DevCommandService::destroyNode},
    {"AllocateFrames", 0, &DevCommandService::allocateFrames},
    {"GetFrames", 0, &DevCommandService::getFrames},
    {"GetFramePaths", 5, &DevCommandService::getFramePaths},
    {"SetFramePaths", 6, &DevCommandService::setFramePaths},
    {"GetClipFormat", 0, &DevCommandService::getClipFormat},
    {"QueryNodePlugInVendor", 0, &DevCommandService::queryVendor},
    {"QueryNodePlugInProduct", 0, &DevCommandService::queryProduct},
    {"QueryNodePlugInVersion", 0, &DevCommandService::queryPlugInVersion},
    {"GetStorageId", 6, &DevCommandService::getStorageId},
    {"GetMetaData", 0, &DevCommandService::getMetaData},
    {"SetMetaData", 5, &DevCommandService::setMetaData},
    {"QueryMetaDataSupport", 0, &DevCommandService::queryMetaDataSupport},
};

DevCommandService::DevCommandService(DevTree& tree, const DevLog& log,
                                     const DevServerOptions& options)
    : tree_(tree), log_(log), options_(options) {}

bool DevCommandService::asksForEnd(const rcCommand& request) {
    return std::strcmp(request.method(), "Shutdown") == 0;
}

rcResult DevCommandService::answer(const rcCommand& request) {
    const std::string& value = request.value();
    if (log_.isVerbose())
        log_(std::string(request.method()) + " " + value.substr(0, 200));
    rcResult result;
    try {
        if (value.find('\0') != std::string::npos)
            throw DevError("The request holds a NUL byte.");
        DevArguments arguments(value);
        const std::string text = (this->*rowOf(request.method()).method)(arguments);
        result.setCode(rcResult::Ok);
        result.setValue(text.c_str());
    } catch (const DevError& error) {
        result.setCode(rcResult::Error);
        result.setValue(error.what());
        log_(std::string(request.method()) + ": " + error.what());
    }
    return result;
}

const DevCommandService::Row& DevCommandService::rowOf(const std::string& method) const {
    for (const Row& row : rows) {
        const bool isKnown =
            options_.protocolMajor > 2 ||
            (options_.protocolMajor == 2 && options_.protocolMinor >= row.sinceMinor);
        if (isKnown && method == row.name)
            return row;
    }
    throw DevError("Unknown method " + devQuoted(method) + ".");
}

std::string DevCommandService::ping(DevArguments&) {
    return "";
}

std::string DevCommandService::queryVersion(DevArguments&) {
    return std::to_string(options_.protocolMajor) + " " + std::to_string(options_.protocolMinor);
}

// Hosts are taken to see the same files; only the separators differ between systems.
std::string DevCommandService::translatePaths(DevArguments& arguments) {
    (void)arguments.quotedWord("source host");
    const LantrixOS::OsType source = osOf(arguments, "source system");
    (void)arguments.quotedWord("destination host");
    const LantrixOS::OsType destination = osOf(arguments, "destination system");
    std::vector<std::string> paths;
    if (!arguments.rest().empty())
        paths = devSplit(arguments.rest(), ',');
    for (std::string& path : paths) {
        if (path.size() < 2 || path.front() != '"' || path.back() != '"')
            throw DevError("The path " + devQuoted(path) + " is no text in double quotes.");
        path = path.substr(1, path.size() - 2);
        if (destination == LantrixOS::WindowsNT)
            std::replace(path.begin(), path.end(), '/', '\\');
        else if (source == LantrixOS::WindowsNT)
            std::replace(path.begin(), path.end(), '\\', '/');
    }
    return devJoin(paths);
}

std::string DevCommandService::getRootNode(DevArguments&) {
    return DevTree::rootId();
}

std::string DevCommandService::getChildren(DevArguments& arguments) {
    std::string list;
    for (const auto& [id, name] : tree_.children(arguments.rest())) {
        if (!list.empty())
            list += ',';
        list.append(id).append(1, ',').append(name);
    }
    return list;
}

// A type that is no number has the number 0.
std::string DevCommandService::getNodeType(DevArguments& arguments) {
    const auto [kind, type] = tree_.kindAndType(arguments.rest());
    return std::to_string(kind) + " " + std::to_string(devInteger<int>(type).value_or(0));
}

std::string DevCommandService::getNodeTypeStr(DevArguments& arguments) {
    return tree_.kindAndType(arguments.rest()).second;
}

std::string DevCommandService::getDisplayName(DevArguments& arguments) {
    return tree_.name(arguments.rest());
}

// The name is not escaped: it goes from the first quote to the last.
std::string DevCommandService::createNode(DevArguments& arguments) {
    const std::string parent = arguments.word("parent's id");
    const std::string_view rest = arguments.rest();
    const std::size_t last = rest.rfind('"');
    if (rest.size() < 2 || rest.front() != '"' || last == 0)
        throw DevError("The node's name is no text in double quotes.");
    const std::string name(rest.substr(1, last - 1));
    if (rest.substr(last + 1, 1) != " ")
        throw DevError("The node kind is missing.");
    DevArguments behindName(rest.substr(last + 2));
    const DevNode::Kind kind = kindOf(behindName.number("node kind"));
    const std::string type = behindName.word("node type");
    if (!behindName.rest().empty())
        throw DevError("The node type holds a blank.");
    return tree_.createNode(parent, name, kind, type);
}

std::string DevCommandService::destroyNode(DevArguments& arguments) {
    tree_.destroyNode(arguments.rest());
    return "";
}

std::string DevCommandService::allocateFrames(DevArguments& arguments) {
    const std::string id = arguments.word("node's id");
    const int count = arguments.number("number of frames");
    if (count < 0)
        throw DevError("The number of frames is negative.");
    const LantrixClipFormat format = arguments.clipFormat();
    return devJoin(tree_.allocateFrames(id, static_cast<std::size_t>(count), format));
}

std::string DevCommandService::getFrames(DevArguments& arguments) {
    return devJoin(tree_.frameIds(arguments.rest()));
}

std::string DevCommandService::getFramePaths(DevArguments& arguments) {
    const std::string id = arguments.word("node's id");
    (void)arguments.word("host");
    (void)arguments.number("operating system");
    (void)arguments.word("operating system's version");
    return devJoin(tree_.framePaths(id));
}

// Paths may hold blanks; so the fields behind them are counted from the end: host, system and its
// version, and ten of the clip format in front of its metadata.
std::string DevCommandService::setFramePaths(DevArguments& arguments) {
    const std::string id = arguments.word("node's id");
    DevArguments behindPaths(arguments.takeLast(13, "clip format"));
    (void)behindPaths.word("host");
    (void)behindPaths.number("operating system");
    (void)behindPaths.word("operating system's version");
    const LantrixClipFormat format = behindPaths.clipFormat();
    std::vector<std::string> paths;
    if (!arguments.rest().empty())
        paths = devSplit(arguments.rest(), ',');
    tree_.linkFrames(id, paths, format);
    return "";
}

// An empty tag travels as a word, for the client reads words; the metadata is the rest of the line.
std::string DevCommandService::getClipFormat(DevArguments& arguments) {
    const LantrixClipFormat format = tree_.clipFormat(arguments.rest());
    const std::string numbers = coFormatCut(
        256, "%d %d %d %d %d %g %g ", format.width(), format.height(), format.bitsPerPixel(),
        format.numChannels(), format.frameBufferSize(), static_cast<double>(format.pixelRatio()),
        static_cast<double>(format.frameRate()));
    return numbers + orNone(format.formatTag()) + " " + std::to_string(format.scanFormat()) + " " +
           orNone(format.metaDataTag()) + " " + format.metaData();
}

std::string DevCommandService::queryVendor(DevArguments&) {
    return options_.vendor;
}

std::string DevCommandService::queryProduct(DevArguments&) {
    return options_.product;
}

std::string DevCommandService::queryPlugInVersion(DevArguments&) {
    return plugInVersion;
}

std::string DevCommandService::getStorageId(DevArguments&) {
    return tree_.storageId();
}

// A stream is returned whole: filter and depth, which mean what each server likes, mean nothing.
std::string DevCommandService::getMetaData(DevArguments& arguments) {
    const std::string id = arguments.word("node's id");
    const std::string stream = arguments.word("metadata stream");
    (void)arguments.word("filter");
    (void)arguments.number("depth");
    return tree_.stream(id, stream);
}

std::string DevCommandService::setMetaData(DevArguments& arguments) {
    const std::string id = arguments.word("node's id");
    const std::string stream = arguments.word("metadata stream");
    tree_.setStream(id, stream, arguments.escapedText("metadata"));
    return "";
}

std::string DevCommandService::queryMetaDataSupport(DevArguments& arguments) {
    return devJoin(tree_.streamNames(arguments.rest()));
}
