// Answers the requests of the command connection: the base, node and metadata methods.
// Borrows the tree and the log; knows no socket. Any thread. A request that can't be served has an
// "error" reply that says what is wrong; nothing is thrown but std::bad_alloc.
#ifndef DEVSERVER_DEVCOMMANDSERVICE_H
#define DEVSERVER_DEVCOMMANDSERVICE_H

#include "devserver/DevArguments.h"
#include "devserver/DevLog.h"
#include "devserver/DevServer.h"
#include "devserver/DevTree.h"
#include "rc/rcCommand.h"
#include "rc/rcResult.h"

#include <string>

class DevCommandService {
public:
    /// Takes from \p options the protocol's version and what the plug-in queries answer; methods
    /// that came later than that version are unknown.
    DevCommandService(DevTree& tree, const DevLog& log, const DevServerOptions& options);

    /// Carries out a request, whether or not its sender wants the reply.
    [[nodiscard]] rcResult answer(const rcCommand& request);
    /// True for a request that asks for the server's end; the reply is still to be sent.
    [[nodiscard]] static bool asksForEnd(const rcCommand& request);

private:
    using Method = std::string (DevCommandService::*)(DevArguments& arguments);
    struct Row;
    static const Row rows[];

    [[nodiscard]] const Row& rowOf(const std::string& method) const;

    std::string ping(DevArguments& arguments);
    std::string queryVersion(DevArguments& arguments);
    std::string translatePaths(DevArguments& arguments);
    std::string getRootNode(DevArguments& arguments);
    std::string getChildren(DevArguments& arguments);
    std::string getNodeType(DevArguments& arguments);
    std::string getNodeTypeStr(DevArguments& arguments);
    std::string getDisplayName(DevArguments& arguments);
    std::string createNode(DevArguments& arguments);
    std::string destroyNode(DevArguments& arguments);
    std::string allocateFrames(DevArguments& arguments);
    std::string getFrames(DevArguments& arguments);
    std::string getFramePaths(DevArguments& arguments);
    std::string setFramePaths(DevArguments& arguments);
    std::string getClipFormat(DevArguments& arguments);
    std::string queryVendor(DevArguments& arguments);
    std::string queryProduct(DevArguments& arguments);
    std::string queryPlugInVersion(DevArguments& arguments);
    std::string getStorageId(DevArguments& arguments);
    std::string getMetaData(DevArguments& arguments);
    std::string setMetaData(DevArguments& arguments);
    std::string queryMetaDataSupport(DevArguments& arguments);

    DevTree& tree_;
    const DevLog& log_;
    const DevServerOptions& options_;
};

#endif
