#include "lantrix/LantrixNodeClientAPI.h"

#include "base/loggerBase/src/CoException.h"
#include "base/loggerBase/src/CoText.h"
#include "lantrix/LantrixBaseInterface.h"
#include "lantrix/LantrixClipFormatFields.h"
#include "lantrix/LantrixGuard.h"
#include "lantrix/LantrixReplyText.h"
#include "rc/rcParam.h"
#include "rc/rcProtocol.h"

#include <string_view>

namespace {

const char* const source = "lantrix/LantrixNodeClientAPI";
constexpr std::size_t longestTag = 255;
constexpr std::size_t longestMetaData = 4095;

void checkNodeId(const LantrixNodeId& node) {
    if (!node.isValid())
        throw CoException(coFormatCut(128, "Invalid node id: '%s'.", node.id()).c_str(), 35,
                          source);
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
    void operator()(const char*, const char* (LantrixClipFormat::*)() const,
                    void (LantrixClipFormat::*set)(const char*)) {
        std::string word;
        reader_.readWord(word, longestTag);
        (format_.*set)(word.c_str());
    }
    LantrixClipFormat withMetaData() {
        std::string metaData;
        reader_.readRest(metaData, longestMetaData); // sent escaped, but answered as it stands
        format_.setMetaData(metaData.c_str());
        return format_;
    }

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

LantrixClipFormat parseClipFormat(const std::string& reply) {
    ClipFormatReader reader(reply);
    lantrixForEachClipFormatField(reader);
    return reader.withMetaData();
}

template <class Item>
std::vector<Item> itemsOf(const std::string& reply) {
    std::vector<Item> items;
    std::string item;
    rcProtocol::forEachItem(reply, [&](std::string_view piece) {
        item = piece;
        items.emplace_back(item.c_str());
    });
    return items;
}

// Ids and display texts alternate; empty ones count.
std::vector<LantrixNodeInterface::NodeInfo> childrenOf(const std::string& reply) {
    std::vector<LantrixNodeInterface::NodeInfo> children;
    std::string_view pendingId;
    bool isSecond = false;
    rcProtocol::forEachPiece(reply, [&](std::string_view piece) {
        if (isSecond)
            children.push_back({std::string(piece), std::string(pendingId)});
        pendingId = piece;
        isSecond = !isSecond;
    });
    return children;
}

void storeId(LantrixNodeId& id, const std::string& reply) {
    id.setId(reply.c_str());
    lantrixRequireStored(id, reply.c_str());
}

} // namespace

LantrixNodeInterface::~LantrixNodeInterface() = default;

LantrixNodeClientAPI::LantrixNodeClientAPI(LantrixClientConnection& connection)
    : connection_(connection) {}

LantrixNodeClientAPI::~LantrixNodeClientAPI() = default;

// Every operation on a node comes through here, with its arguments built.
std::string LantrixNodeClientAPI::ask(const char* method, const LantrixNodeId& node,
                                      const std::string& args) {
    checkNodeId(node);
    return connection_.request(method, args);
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
        storeId(root, connection_.request("GetRootNode", ""));
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
        storeId(newNode, ask("CreateNode", parent, args));
        return true;
    });
}

bool LantrixNodeClientAPI::destroyNode(const LantrixNodeId& node) {
    return lantrixGuarded(error_, [&] {
        ask("DestroyNode", node, node.id());
        return true;
    });
}

bool LantrixNodeClientAPI::getChildren(const LantrixNodeId& node, std::vector<NodeInfo>& children) {
    return lantrixGuarded(error_, [&] {
        children = childrenOf(ask("GetChildren", node, node.id()));
        return true;
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

bool LantrixNodeClientAPI::allocateFrames(const LantrixNodeId& node, int numFrames,
                                          const LantrixClipFormat& format,
                                          std::vector<LantrixFrameId>& frames) {
    return lantrixGuarded(error_, [&] {
        const std::string args = coFormatCut(2048, "%s %d %s", node.id(), numFrames,
                                             lantrixClipFormatText(format).c_str()) +
                                 rcParamStringToEscapedString(format.metaData());
        const auto added = itemsOf<LantrixFrameId>(ask("AllocateFrames", node, args));
        frames.insert(frames.end(), added.begin(), added.end());
        return true;
    });
}

bool LantrixNodeClientAPI::getFrames(const LantrixNodeId& node,
                                     std::vector<LantrixFrameId>& frames) {
    return lantrixGuarded(error_, [&] {
        frames = itemsOf<LantrixFrameId>(ask("GetFrames", node, node.id()));
        return true;
    });
}

bool LantrixNodeClientAPI::getFramePaths(const LantrixNodeId& node,
                                         std::vector<std::string>& paths) {
    return lantrixGuarded(error_, [&] {
        const std::string args =
            coFormatCut(512, "%s %s %d %s", node.id(), LantrixOS::getHostName().c_str(),
                        LantrixOS::getOSType(), LantrixOS::getOSVersion().c_str());
        paths = itemsOf<std::string>(ask("GetFramePaths", node, args));
        return true;
    });
}

bool LantrixNodeClientAPI::setFramePaths(const LantrixNodeId& node,
                                         const std::vector<std::string>& paths,
                                         const LantrixClipFormat& format) {
    return lantrixGuarded(error_, [&] {
        const std::string args =
            node.id() + (" " + rcProtocol::joined(paths)) +
            coFormatCut(2048, " %s %d %s %s", LantrixOS::getHostName().c_str(),
                        LantrixOS::getOSType(), LantrixOS::getOSVersion().c_str(),
                        lantrixClipFormatText(format).c_str()) +
            rcParamStringToEscapedString(format.metaData());
        ask("SetFramePaths", node, args);
        return true;
    });
}

bool LantrixNodeClientAPI::getClipFormat(const LantrixNodeId& node, LantrixClipFormat& format) {
    return lantrixGuarded(error_, [&] {
        format = parseClipFormat(ask("GetClipFormat", node, node.id()));
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

bool LantrixNodeClientAPI::queryMetaDataSupport(const LantrixNodeId& node,
                                                std::vector<std::string>& streams) {
    return lantrixGuarded(error_, [&] {
        streams = itemsOf<std::string>(ask("QueryMetaDataSupport", node, node.id()));
        return true;
    });
}
