#include "lantrix/LantrixNodeClientAPI.h"

#include "base/loggerBase/src/CoException.h"
#include "base/loggerBase/src/CoText.h"
#include "lantrix/LantrixBaseInterface.h"
#include "lantrix/LantrixClipFormatFields.h"
#include "lantrix/LantrixGuard.h"
#include "lantrix/LantrixReplyText.h"
#include "lantrix/LantrixStored.h"
#include "lantrix/LantrixTextList.h"
#include "rc/rcParam.h"
#include "rc/rcProtocol.h"

#include <new>

namespace {

const char* const source = "lantrix/LantrixNodeClientAPI";
constexpr int checkNodeIdLine = 35;
constexpr std::size_t longestTag = 255;
constexpr std::size_t longestMetaData = 4095;

void checkNodeId(const LantrixNodeId& node) {
    if (!node.isValid())
        throw CoException(coFormatCut(128, "Invalid node id: '%s'.", node.id()).c_str(),
                          checkNodeIdLine, source);
}

// Reads the fields of a clip format; those that the reply lacks become zero or empty.
class ClipFormatReader {
public:
    explicit ClipFormatReader(const std::string& reply) : reader_(reply) {}

    template <class Value, class Taken>
    void operator()(const char*, Value (LantrixClipFormat::*)() const,
                    void (LantrixClipFormat::*set)(Taken)) {
        (format_.*set)(next(Value()));
    }
    void operator()(const char*, const char* (LantrixClipFormat::*get)() const,
                    void (LantrixClipFormat::*set)(const char*)) {
        std::string word;
        reader_.readWord(word, longestTag);
        (format_.*set)(word.c_str());
        lantrixRequireStored((format_.*get)(), word.c_str());
    }
    // Sent escaped, but answered as it stands.
    void readMetaData() {
        std::string metaData;
        reader_.readRest(metaData, longestMetaData);
        format_.setMetaData(metaData.c_str());
        lantrixRequireStored(format_.metaData(), metaData.c_str());
    }
    LantrixClipFormat& format() { return format_; }

private:
    int next(int value) {
        reader_.readInt(value);
        return value;
    }
    float next(float value) {
        reader_.readFloat(value);
        return value;
    }
    LantrixClipFormat::ScanFormat next(LantrixClipFormat::ScanFormat) {
        return static_cast<LantrixClipFormat::ScanFormat>(static_cast<unsigned char>(next(0)));
    }

    LantrixReplyReader reader_;
    LantrixClipFormat format_;
};

void storeFrameId(LantrixFrameId& frame, const char* id) {
    frame.setId(id);
    lantrixRequireStored(frame.id(), id);
}

// This machine, as requests name it.
std::string thisSystem() {
    const LantrixStr host = LantrixOS::getHostName(), version = LantrixOS::getOSVersion();
    if (host.length() == 0 || version.length() == 0)
        throw std::bad_alloc(); // without them it would be a different request
    return coFormatCut(512, "%s %d %s", host.c_str(), LantrixOS::getOSType(), version.c_str());
}

} // namespace

LantrixNodeInterface::~LantrixNodeInterface() = default;

LantrixNodeClientAPI::LantrixNodeClientAPI(LantrixClientConnection& connection)
    : connection_(connection) {}

LantrixNodeClientAPI::~LantrixNodeClientAPI() = default;

// Every operation on a node comes through here, with its arguments ready.
std::string LantrixNodeClientAPI::ask(const char* method, const LantrixNodeId& node,
                                      const std::string& args) {
    checkNodeId(node);
    return connection_.request(method, args);
}

LantrixTextList LantrixNodeClientAPI::askItems(const char* method, const LantrixNodeId& node,
                                               const std::string& args) {
    return LantrixTextList(ask(method, node, args), LantrixTextList::Form::Items,
                           [&] { connection_.checkStopped(method); });
}

// Makes the objects for the items of a list. The call can still be stopped meanwhile.
template <class Object, class Fill>
bool LantrixNodeClientAPI::makeObjects(const char* method, std::vector<Object>& objects,
                                       std::size_t count, Fill&& fill) {
    constexpr std::size_t objectsBetweenChecks = 1 << 16;
    return lantrixGuarded(error_, [&] {
        std::vector<Object> made;
        made.reserve(count);
        for (std::size_t i = 0; i < count; ++i) {
            if (i % objectsBetweenChecks == 0)
                connection_.checkStopped(method);
            made.emplace_back();
            fill(made.back(), i);
        }
        objects.swap(made);
        return true;
    });
}

bool LantrixNodeClientAPI::askText(const char* method, std::string& text) {
    return lantrixGuarded(error_, [&] {
        text = connection_.request(method, "");
        return true;
    });
}

bool LantrixNodeClientAPI::askNodeText(const char* method, const LantrixNodeId& node,
                                       std::string& text) {
    return lantrixGuarded(error_, [&] {
        text = ask(method, node, node.id());
        return true;
    });
}

bool LantrixNodeClientAPI::getRootNode(LantrixNodeId& root) {
    return lantrixGuarded(error_, [&] {
        lantrixStoreId(root, connection_.request("GetRootNode", "").c_str());
        return true;
    });
}

bool LantrixNodeClientAPI::createNode(const LantrixNodeId& parent, const char* name, NodeType type,
                                      int typeNum, LantrixNodeId& newNode) {
    return lantrixGuarded(error_, [&] {
        LantrixNodeInterface& service = *this;
        return service.createNode(parent, name, type, coFormatCut(32, "%d", typeNum).c_str(),
                                  newNode);
    });
}

bool LantrixNodeClientAPI::createNode(const LantrixNodeId& parent, const char* name, NodeType type,
                                      const char* typeStr, LantrixNodeId& newNode) {
    return lantrixGuarded(error_, [&] {
        const std::string args = coFormatCut(512, "%s \"%s\" %d %s", parent.id(),
                                             coTextOrEmpty(name), type, coTextOrEmpty(typeStr));
        lantrixStoreId(newNode, ask("CreateNode", parent, args).c_str());
        return true;
    });
}

bool LantrixNodeClientAPI::destroyNode(const LantrixNodeId& node) {
    return lantrixGuarded(error_, [&] {
        ask("DestroyNode", node, node.id());
        return true;
    });
}

bool LantrixNodeClientAPI::listChildren(const LantrixNodeId& node, LantrixTextList& children) {
    return lantrixGuarded(error_, [&] {
        children =
            LantrixTextList(ask("GetChildren", node, node.id()), LantrixTextList::Form::Pairs,
                            [&] { connection_.checkStopped("GetChildren"); });
        return true;
    });
}

bool LantrixNodeClientAPI::getChildren(const LantrixNodeId& node, std::vector<NodeInfo>& children) {
    LantrixTextList list;
    return listChildren(node, list) &&
           makeObjects("GetChildren", children, list.size(), [&](NodeInfo& child, std::size_t i) {
               child.first = list.second(i);
               child.second = list[i];
           });
}

bool LantrixNodeClientAPI::getNodeType(const LantrixNodeId& node, NodeType& type, int& subType) {
    return lantrixGuarded(error_, [&] {
        const std::string reply = ask("GetNodeType", node, node.id());
        LantrixReplyReader reader(reply);
        int number = 0;
        reader.readInt(number);
        reader.readInt(subType);
        type = static_cast<NodeType>(static_cast<unsigned char>(number));
        return true;
    });
}

bool LantrixNodeClientAPI::getNodeTypeStr(const LantrixNodeId& node, std::string& typeStr) {
    return askNodeText("GetNodeTypeStr", node, typeStr);
}

bool LantrixNodeClientAPI::getDisplayName(const LantrixNodeId& node, std::string& name) {
    return askNodeText("GetDisplayName", node, name);
}

bool LantrixNodeClientAPI::listNewFrames(const LantrixNodeId& node, int numFrames,
                                         const LantrixClipFormat& format, LantrixTextList& frames) {
    return lantrixGuarded(error_, [&] {
        const std::string args = coFormatCut(2048, "%s %d %s", node.id(), numFrames,
                                             lantrixClipFormatText(format).c_str()) +
                                 rcParamStringToEscapedString(format.metaData());
        frames = askItems("AllocateFrames", node, args);
        return true;
    });
}

bool LantrixNodeClientAPI::allocateFrames(const LantrixNodeId& node, int numFrames,
                                          const LantrixClipFormat& format,
                                          std::vector<LantrixFrameId>& frames) {
    LantrixTextList list;
    const std::size_t kept = frames.size();
    return listNewFrames(node, numFrames, format, list) &&
           makeObjects("AllocateFrames", frames, kept + list.size(),
                       [&](LantrixFrameId& frame, std::size_t i) {
                           storeFrameId(frame, i < kept ? frames[i].id() : list[i - kept]);
                       });
}

bool LantrixNodeClientAPI::listFrames(const LantrixNodeId& node, LantrixTextList& frames) {
    return lantrixGuarded(error_, [&] {
        frames = askItems("GetFrames", node, node.id());
        return true;
    });
}

bool LantrixNodeClientAPI::getFrames(const LantrixNodeId& node,
                                     std::vector<LantrixFrameId>& frames) {
    LantrixTextList list;
    return listFrames(node, list) &&
           makeObjects("GetFrames", frames, list.size(),
                       [&](LantrixFrameId& frame, std::size_t i) { storeFrameId(frame, list[i]); });
}

bool LantrixNodeClientAPI::listFramePaths(const LantrixNodeId& node, LantrixTextList& paths) {
    return lantrixGuarded(error_, [&] {
        const std::string args = coFormatCut(512, "%s %s", node.id(), thisSystem().c_str());
        paths = askItems("GetFramePaths", node, args);
        return true;
    });
}

bool LantrixNodeClientAPI::getFramePaths(const LantrixNodeId& node,
                                         std::vector<std::string>& paths) {
    LantrixTextList list;
    return listFramePaths(node, list) &&
           makeObjects("GetFramePaths", paths, list.size(),
                       [&](std::string& path, std::size_t i) { path = list[i]; });
}

bool LantrixNodeClientAPI::setFramePaths(const LantrixNodeId& node,
                                         const std::vector<std::string>& paths,
                                         const LantrixClipFormat& format) {
    return lantrixGuarded(error_, [&] {
        const std::string args = node.id() + (" " + rcProtocol::joined(paths)) +
                                 coFormatCut(2048, " %s %s", thisSystem().c_str(),
                                             lantrixClipFormatText(format).c_str()) +
                                 rcParamStringToEscapedString(format.metaData());
        ask("SetFramePaths", node, args);
        return true;
    });
}

bool LantrixNodeClientAPI::getClipFormat(const LantrixNodeId& node, LantrixClipFormat& format) {
    return lantrixGuarded(error_, [&] {
        const std::string reply = ask("GetClipFormat", node, node.id());
        ClipFormatReader reader(reply);
        lantrixForEachClipFormatField(reader);
        reader.readMetaData();
        format.swap(reader.format());
        return true;
    });
}

bool LantrixNodeClientAPI::queryNodePlugInVendor(std::string& vendor) {
    return askText("QueryNodePlugInVendor", vendor);
}

bool LantrixNodeClientAPI::queryNodePlugInProduct(std::string& product) {
    return askText("QueryNodePlugInProduct", product);
}

bool LantrixNodeClientAPI::queryNodePlugInVersion(int& major, int& minor) {
    return lantrixGuarded(error_, [&] {
        const std::string reply = connection_.request("QueryNodePlugInVersion", "");
        LantrixReplyReader reader(reply);
        reader.readInt(major);
        reader.readInt(minor);
        return true;
    });
}

bool LantrixNodeClientAPI::getStorageId(std::string& storageId) {
    return askText("GetStorageId", storageId);
}

bool LantrixNodeClientAPI::getMetaData(const LantrixNodeId& node, const char* streamName,
                                       const char* filter, int depth, std::string& data) {
    return lantrixGuarded(error_, [&] {
        const std::string args =
            coFormatCut(1024, "%s %s %s %d", node.id(), coTextOrEmpty(streamName),
                        coTextOrEmpty(filter), depth);
        data = ask("GetMetaData", node, args);
        return true;
    });
}

bool LantrixNodeClientAPI::setMetaData(const LantrixNodeId& node, const char* streamName,
                                       const char* data) {
    return lantrixGuarded(error_, [&] {
        const std::string args = std::string(node.id()) + " " + coTextOrEmpty(streamName) + " " +
                                 rcParamStringToEscapedString(coTextOrEmpty(data));
        ask("SetMetaData", node, args);
        return true;
    });
}

bool LantrixNodeClientAPI::listMetaDataStreams(const LantrixNodeId& node,
                                               LantrixTextList& streams) {
    return lantrixGuarded(error_, [&] {
        streams = askItems("QueryMetaDataSupport", node, node.id());
        return true;
    });
}

bool LantrixNodeClientAPI::queryMetaDataSupport(const LantrixNodeId& node,
                                                std::vector<std::string>& streams) {
    LantrixTextList list;
    return listMetaDataStreams(node, list) &&
           makeObjects("QueryMetaDataSupport", streams, list.size(),
                       [&](std::string& stream, std::size_t i) { stream = list[i]; });
}
