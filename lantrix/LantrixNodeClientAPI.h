// The node service: walks and changes the tree, lists and allocates frames, reads and writes
// metadata, by node id. Each operation is one request on the command connection and its reply.
// The client borrows the connection, which must outlive it. One thread at a time.
// Operations return false on failure, keep the text in lastError(), and leave their outputs
// alone. A node id with a comma is refused before anything is sent.
#ifndef LANTRIX_LANTRIXNODECLIENTAPI_H
#define LANTRIX_LANTRIXNODECLIENTAPI_H

#include "lantrix/LantrixTypes.h"

#include <cstddef>
#include <string>
#include <vector>

class LantrixClientConnection;
class LantrixTextList;

class LANTRIX_EXPORT LantrixNodeInterface {
public:
    /// The kind of a node, one byte wide. Values that are not named here pass through unchanged.
    enum NodeType : unsigned char { PlainNode = 0, ClipNode = 1 };

    /// One child of a node.
    struct NodeInfo {
        std::string first;  ///< Display text.
        std::string second; ///< Node id.
    };

    virtual ~LantrixNodeInterface();

    virtual bool getRootNode(LantrixNodeId& root) = 0;
    /// \p typeNum is sent in decimal, as the text overload's \p typeStr.
    virtual bool createNode(const LantrixNodeId& parent, const char* name, NodeType type,
                            int typeNum, LantrixNodeId& newNode) = 0;
    virtual bool destroyNode(const LantrixNodeId& node) = 0;
    /// Children in the server's order; a final unpaired item of the reply is dropped.
    virtual bool getChildren(const LantrixNodeId& node, std::vector<NodeInfo>& children) = 0;
    /// A reply without numbers gives type 0; without a second one \p subType stays as it was.
    virtual bool getNodeType(const LantrixNodeId& node, NodeType& type, int& subType) = 0;
    virtual bool getNodeTypeStr(const LantrixNodeId& node, std::string& typeStr) = 0;
    virtual bool getDisplayName(const LantrixNodeId& node, std::string& name) = 0;
    /// Appends the ids of the new frames: \p frames is not emptied first.
    virtual bool allocateFrames(const LantrixNodeId& node, int numFrames,
                                const LantrixClipFormat& format,
                                std::vector<LantrixFrameId>& frames) = 0;
    virtual bool getFrames(const LantrixNodeId& node, std::vector<LantrixFrameId>& frames) = 0;
    virtual bool getFramePaths(const LantrixNodeId& node, std::vector<std::string>& paths) = 0;
    /// Paths hold no comma.
    virtual bool setFramePaths(const LantrixNodeId& node, const std::vector<std::string>& paths,
                               const LantrixClipFormat& format) = 0;
    /// All fields are stored; those that the reply lacks are zero or empty.
    virtual bool getClipFormat(const LantrixNodeId& node, LantrixClipFormat& format) = 0;
    virtual bool queryNodePlugInVendor(std::string& vendor) = 0;
    virtual bool queryNodePlugInProduct(std::string& product) = 0;
    /// A number that the reply lacks leaves its output as it was.
    virtual bool queryNodePlugInVersion(int& major, int& minor) = 0;
    virtual bool getStorageId(std::string& storageId) = 0;
    /// \p filter and \p depth are the server's. The argument text is cut at 1023 characters.
    virtual bool getMetaData(const LantrixNodeId& node, const char* streamName, const char* filter,
                             int depth, std::string& data) = 0;
    virtual bool setMetaData(const LantrixNodeId& node, const char* streamName,
                             const char* data) = 0;
    virtual bool queryMetaDataSupport(const LantrixNodeId& node,
                                      std::vector<std::string>& streams) = 0;
    /// \p name is sent in double quotes, not escaped, \p typeStr without quotes; the argument text
    /// is cut at 511 characters.
    virtual bool createNode(const LantrixNodeId& parent, const char* name, NodeType type,
                            const char* typeStr, LantrixNodeId& newNode) = 0;

    /// Text of the last failure, valid until the next one; "" without any.
    const char* lastError() const { return error_.c_str(); }

protected:
    std::string error_;
};

/// The node service of a server. Each operation sends the request of its own name in upper camel
/// case: getRootNode sends "GetRootNode".
class LANTRIX_EXPORT LantrixNodeClientAPI : public LantrixNodeInterface {
public:
    explicit LantrixNodeClientAPI(LantrixClientConnection& connection);
    ~LantrixNodeClientAPI() override;

    bool getRootNode(LantrixNodeId& root) override;
    bool createNode(const LantrixNodeId& parent, const char* name, NodeType type, int typeNum,
                    LantrixNodeId& newNode) override;
    bool destroyNode(const LantrixNodeId& node) override;
    bool getChildren(const LantrixNodeId& node, std::vector<NodeInfo>& children) override;
    bool getNodeType(const LantrixNodeId& node, NodeType& type, int& subType) override;
    bool getNodeTypeStr(const LantrixNodeId& node, std::string& typeStr) override;
    bool getDisplayName(const LantrixNodeId& node, std::string& name) override;
    bool allocateFrames(const LantrixNodeId& node, int numFrames, const LantrixClipFormat& format,
                        std::vector<LantrixFrameId>& frames) override;
    bool getFrames(const LantrixNodeId& node, std::vector<LantrixFrameId>& frames) override;
    bool getFramePaths(const LantrixNodeId& node, std::vector<std::string>& paths) override;
    bool setFramePaths(const LantrixNodeId& node, const std::vector<std::string>& paths,
                       const LantrixClipFormat& format) override;
    bool getClipFormat(const LantrixNodeId& node, LantrixClipFormat& format) override;
    bool queryNodePlugInVendor(std::string& vendor) override;
    bool queryNodePlugInProduct(std::string& product) override;
    bool queryNodePlugInVersion(int& major, int& minor) override;
    bool getStorageId(std::string& storageId) override;
    bool getMetaData(const LantrixNodeId& node, const char* streamName, const char* filter,
                     int depth, std::string& data) override;
    bool setMetaData(const LantrixNodeId& node, const char* streamName, const char* data) override;
    bool queryMetaDataSupport(const LantrixNodeId& node,
                              std::vector<std::string>& streams) override;
    bool createNode(const LantrixNodeId& parent, const char* name, NodeType type,
                    const char* typeStr, LantrixNodeId& newNode) override;

    /// As getChildren (pairs of id and display text), allocateFrames, getFrames, getFramePaths and
    /// queryMetaDataSupport, with a list that needs no string for each item and is replaced.
    bool listChildren(const LantrixNodeId& node, LantrixTextList& children);
    bool listNewFrames(const LantrixNodeId& node, int numFrames, const LantrixClipFormat& format,
                       LantrixTextList& frames);
    bool listFrames(const LantrixNodeId& node, LantrixTextList& frames);
    bool listFramePaths(const LantrixNodeId& node, LantrixTextList& paths);
    bool listMetaDataStreams(const LantrixNodeId& node, LantrixTextList& streams);

private:
    std::string ask(const char* method, const LantrixNodeId& node, const std::string& args);
    bool askText(const char* method, std::string& text);
    bool askNodeText(const char* method, const LantrixNodeId& node, std::string& text);
    LantrixTextList askItems(const char* method, const LantrixNodeId& node,
                             const std::string& args);
    template <class Object, class Fill>
    bool makeObjects(const char* method, std::vector<Object>& objects, std::size_t count,
                     Fill&& fill);

    LantrixClientConnection& connection_;
};

#endif
