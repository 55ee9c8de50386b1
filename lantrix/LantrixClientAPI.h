// The client interface: handles on a remote media server and on the nodes of its tree.
// Begin with a LantrixServerHandle, get its root with getRootNode, go on from there with
// LantrixNodeHandle. A handle owns its state and its caches; a node handle borrows its server
// handle, which must outlive it.
// Threads: one server handle and the node handles on it are used by one thread at a time; stop()
// is for any other thread. Different server handles are independent.
// A fork is allowed between calls: the child closes its copies of the connections when it first
// uses them and opens its own; the parent notices nothing. Failures: operations return false and
// lastError() tells why (with an empty text when the server closed the command connection in the
// middle of a call); none throws (constructors, copies and assignments of handles do, without
// memory). Outputs are written only on success. A text in lastError() stays until the next failure;
// success keeps it. Connections open with the first call that needs them (commands on TCP port
// 7549, frames on 7550), at most 10 seconds long, and a broken one is opened anew by a later call.
#ifndef LANTRIX_LANTRIXCLIENTAPI_H
#define LANTRIX_LANTRIXCLIENTAPI_H

#include "lantrix/LantrixTypes.h"

class LantrixNodeHandle;
class LantrixNodeImp;
class LantrixServerImp;

/// Brackets an application's use of the library: call it first. Always true; sends nothing.
LANTRIX_EXPORT bool LantrixClientInit();
/// Ends the bracket of LantrixClientInit. Sends nothing.
LANTRIX_EXPORT void LantrixClientUninit();

/// One remote server.
class LANTRIX_EXPORT LantrixServerHandle {
public:
    /// \p host is a name or an IPv4 address, without a port; null is "". Sends nothing.
    explicit LantrixServerHandle(const char* host);
    /// A second, independent handle on the same host: own connections, no error, no caches.
    LantrixServerHandle(const LantrixServerHandle& other);
    /// Closes both connections.
    ~LantrixServerHandle();
    /// Node handles point at their server handle, so it is not assigned to.
    LantrixServerHandle& operator=(const LantrixServerHandle&) = delete;

    /// Makes \p node the root of the server's tree, on this server. Sends "GetRootNode".
    bool getRootNode(LantrixNodeHandle& node) const;

    /// Vendor, product and version of what serves the tree. Each sends one request, every time:
    /// "QueryNodePlugInVendor", "QueryNodePlugInProduct", "QueryNodePlugInVersion". A number that
    /// the reply lacks leaves its output as it was, with true: initialise what you hand in.
    bool getVendor(LantrixStr& vendor) const;
    bool getProduct(LantrixStr& product) const;
    bool getVersion(int& major, int& minor) const;
    /// The protocol that the server speaks. Sends "QueryVersion" once; a server that says major 0
    /// is asked again at every call. A reply without numbers gives 0 and 0, with true.
    bool getProtocolVersion(int& major, int& minor) const;
    /// Names the server's storage. Sends "GetStorageId" once, from protocol 2.6 on, and before it
    /// "QueryVersion" unless the version is known; for an older server, and when the version could
    /// not be asked, the storage id is the host name.
    bool getStorageId(LantrixStr& id) const;
    /// True when the server answers. Sends "Ping".
    bool ping() const;

    /// Translates \p count file paths from one host's view to another's: \p srcPaths and
    /// \p dstPaths are arrays of \p count strings. A null host is this server. Paths hold no
    /// double quote and no comma. When the server answers with fewer paths, the remaining
    /// outputs stay as they are; more are ignored. Sends "TranslatePaths".
    bool translatePaths(const LantrixStr* srcPaths, LantrixStr* dstPaths, int count,
                        const char* srcHost, const char* dstHost, LantrixOS::OsType srcOs,
                        LantrixOS::OsType dstOs) const;

    /// Reads the frame with this id: exactly \p bufferSize bytes into \p buffer, the caller's.
    /// After a failure the buffer's contents are undefined. Sends "ReadFrame".
    bool readFrame(const char* frameId, void* buffer, int bufferSize);
    /// Writes the frame with this id: all \p bufferSize bytes of \p buffer. Sends "WriteFrame".
    bool writeFrame(const char* frameId, const void* buffer, int bufferSize);

    /// The host given at construction; valid as long as the handle.
    const char* getHostName() const;
    /// The text of the last failure, of this handle and of the node handles on it; "" without
    /// any. Valid until the next failure.
    const char* lastError() const;

    /// Ends the request or transfer that another thread waits for on this handle: its call returns
    /// false within a second or so, except while it resolves the host name or connects. A call that
    /// begins later is not affected, nor is one that is just between two of its transfers: to be
    /// certain, call it again until the call has returned. Takes no lock; may be called at any
    /// moment, and from a signal handler.
    void stop();

    /// As constructor and destructor, on the heap. Deleting null does nothing.
    static LantrixServerHandle* LantrixServerHandle_new(const char* host);
    static void LantrixServerHandle_delete(LantrixServerHandle* handle);

private:
    friend class LantrixNodeHandle;
    friend LANTRIX_EXPORT bool LantrixResolveDisplayPath(const LantrixServerHandle& server,
                                                         const char* path,
                                                         LantrixNodeHandle& result);

    LantrixServerImp& imp() const;

    LantrixServerImp* imp_; // owned; never null
};

/// One node of a server's tree: a library, a reel, a clip and the like. What has been asked about
/// the node is kept, so that it is asked at most once; a different id drops it.
class LANTRIX_EXPORT LantrixNodeHandle {
public:
    /// No node, on a server without a host name: set both before use, or let getRootNode,
    /// getChild or createNode do it.
    LantrixNodeHandle();
    /// The node with this id on \p server, which must outlive the handle. Sends nothing.
    LantrixNodeHandle(const LantrixServerHandle& server, const char* id);
    LantrixNodeHandle(const LantrixServerHandle& server, const LantrixNodeId& id);
    /// The same node on the same server, with a copy of everything that is known about it.
    LantrixNodeHandle(const LantrixNodeHandle& other);
    LantrixNodeHandle& operator=(const LantrixNodeHandle& other);
    virtual ~LantrixNodeHandle();

    /// Names another node; what was known is dropped when the id differs from one that named a
    /// node. Sends nothing.
    void setNodeId(const LantrixNodeId& id);
    void setNodeId(const char* id);
    const LantrixNodeId& getNodeId() const;
    /// Points at \p server, which must outlive the handle; what is known about the node stays.
    void setServer(const LantrixServerHandle& server);
    const LantrixServerHandle& getServer() const;
    /// The server's last error.
    const char* lastError() const;

    /// The kind of the node as the server's number and text, and whether it is a clip. They send
    /// "GetNodeType" and "GetNodeTypeStr" once for all three. A number that the reply lacks is 0.
    bool getNodeType(int& type) const;
    bool getNodeTypeStr(LantrixStr& type) const;
    bool getIsClipNode(bool& isClip) const;
    /// The name that people see. Sends "GetDisplayName" once; never for a node from getChild.
    bool getDisplayName(LantrixStr& name) const;
    /// The format of a clip's frames. Sends "GetClipFormat" once. Fields that the reply lacks, or
    /// that do not parse, are zero or empty, with true.
    bool getClipFormat(LantrixClipFormat& format) const;

    /// The children, counted and by index from 0. Send "GetChildren" once. \p child may be this
    /// handle itself.
    bool getNumChildren(int& count) const;
    bool getChild(int index, LantrixNodeHandle& child) const;

    /// Creates a node below this one and makes \p child name it; \p child may be this handle
    /// itself, and stays as it was after a failure. \p type is the server's name, or number, of
    /// a kind of node and holds no blank. Sends "CreateNode".
    bool createNode(const char* name, const char* type, LantrixNodeHandle& child);
    bool createNode(const char* name, int type, LantrixNodeHandle& child);
    /// The same for a clip. \p format is remembered in \p child and reaches the server with
    /// setNumFrames.
    bool createClipNode(const char* name, const LantrixClipFormat& format, const char* type,
                        LantrixNodeHandle& child);
    bool createClipNode(const char* name, const LantrixClipFormat& format, int type,
                        LantrixNodeHandle& child);
    /// Destroys the node on the server. The handle keeps the id and forgets all else. Sends
    /// "DestroyNode".
    bool destroyNode();
    /// Makes existing media files the frames of this clip: \p count paths, as the server's host
    /// sees them, without commas. Needs protocol 2.6. Sends "SetFramePaths", and before it what
    /// is not yet known of "GetClipFormat" and "QueryVersion".
    bool linkToFrames(const LantrixStr* paths, int count);

    /// The number of frames. Sends "GetFrames" once, for this and the operations by index.
    bool getNumFrames(int& numFrames) const;
    /// Gives the clip \p numFrames frames in its present format. Sends "AllocateFrames", and
    /// before it "GetClipFormat" when the format is not known.
    bool setNumFrames(int numFrames);
    /// The id of frame \p frameIndex, from 0.
    bool getFrameId(int frameIndex, LantrixStr& frameId) const;
    /// The file path of frame \p frameIndex; "" beyond the last, from a server older than protocol
    /// 2.5, and when the version could not be asked. Sends "GetFramePaths" once, and before it
    /// "QueryVersion" unless the version is known.
    bool getFrameIdPath(int frameIndex, LantrixStr& path) const;
    /// Reads frame \p frameIndex: \p bufferSize bytes, at least the format's frame buffer size,
    /// into \p buffer, the caller's. After a failure its contents are undefined. From protocol
    /// 2.5 on a frame that is neither the first nor the last announces its successor. Sends
    /// "ReadAhead" and "ReadFrame", and before them what is not yet known of "GetFrames",
    /// "GetClipFormat" and "QueryVersion".
    bool readFrame(int frameIndex, void* buffer, int bufferSize);
    /// Writes frame \p frameIndex: all \p bufferSize bytes of \p buffer, at least the format's
    /// frame buffer size. Sends "WriteFrame", and before it what is not yet known of "GetFrames"
    /// and "GetClipFormat".
    bool writeFrame(int frameIndex, const void* buffer, int bufferSize);

    /// The names of the node's metadata streams, counted and by index from 0. Send
    /// "QueryMetaDataSupport" once.
    bool getNumAvailableMetaDataStreams(int& count) const;
    bool getAvailableMetaDataStream(int index, LantrixStr& name) const;
    /// The text of a metadata stream, asked anew every time. \p filter and \p depth are the
    /// server's; names and filter hold no blank. Sends "GetMetaData".
    bool getMetaData(const char* streamName, const char* filter, int depth, LantrixStr& data) const;
    /// Replaces a metadata stream. Needs protocol 2.5. Sends "SetMetaData", and before it
    /// "QueryVersion" unless the version is known.
    bool setMetaData(const char* streamName, const LantrixStr& data) const;

    /// As constructors and destructor, on the heap. Deleting null does nothing.
    static LantrixNodeHandle* LantrixNodeHandle_new();
    static LantrixNodeHandle* LantrixNodeHandle_new(const LantrixServerHandle& server,
                                                    const char* id);
    static LantrixNodeHandle* LantrixNodeHandle_new(const LantrixServerHandle& server,
                                                    const LantrixNodeId& id);
    static void LantrixNodeHandle_delete(LantrixNodeHandle* node);

private:
    friend class LantrixServerHandle;
    friend LANTRIX_EXPORT bool LantrixFindChild(const LantrixNodeHandle& parent, const char* name,
                                                LantrixNodeHandle& result);

    LantrixNodeImp& imp() const;
    LantrixServerImp& serverImp() const;
    bool create(const char* name, bool isClip, const char* type, LantrixNodeHandle& child);

    LantrixNodeImp* imp_; // owned; never null
};

/// Makes \p result the first child of \p parent whose display name is \p name, byte for byte.
/// \p result may be \p parent. Without a match: false, no error text, and \p result names the
/// last child, if there is any. Sends "GetChildren" unless \p parent knows its children; \p parent
/// itself learns nothing from it.
LANTRIX_EXPORT bool LantrixFindChild(const LantrixNodeHandle& parent, const char* name,
                                     LantrixNodeHandle& result);

/// Makes \p result the node that display names separated by slashes lead to from the root; an
/// empty path is the root itself. An unknown component gives false without an error text, \p result
/// then names the last node looked at; a root that cannot be asked gives true with \p result
/// untouched and lastError() set. Sends "GetRootNode" and at most one "GetChildren" for each
/// component.
LANTRIX_EXPORT bool LantrixResolveDisplayPath(const LantrixServerHandle& server, const char* path,
                                              LantrixNodeHandle& result);

/// For foreign-function bindings, under its plain name: as LantrixServerHandle::getRootNode, after
/// making INThandler the handler of SIGPIPE for the whole process.
extern "C" LANTRIX_EXPORT bool getRootNode__(const LantrixServerHandle* server,
                                             LantrixNodeHandle* node);

/// A handler of SIGPIPE that stays installed and does nothing else.
LANTRIX_EXPORT void INThandler(int signal);

/// Refers to every flat function, so that linkers keep them. Not meant to be called.
LANTRIX_EXPORT void dontdeadstriplantrixplease();

#endif
