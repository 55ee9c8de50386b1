// Every operation that goes over the wire, with the literal bytes of its request and of a good
// reply: what must hold for each of them is tested over this one table.
#ifndef TESTS_SUPPORT_WIREOPERATIONS_H
#define TESTS_SUPPORT_WIREOPERATIONS_H

#include "lantrix/LantrixBaseInterface.h"
#include "lantrix/LantrixFrameClientAPI.h"
#include "lantrix/LantrixFrameInterface.h"
#include "lantrix/LantrixNodeClientAPI.h"
#include "tests/support/ScriptedServer.h"

#include <string>
#include <vector>

/// The services of one server, and the variables that operations write their outputs to.
struct Services {
    explicit Services(const char* host);
    /// Gives every output its first value again.
    void forgetOutputs();
    /// The outputs that no longer hold their first value, as "name=value;...".
    std::string outputs() const;
    /// Ends the call that runs in another thread.
    void stop();

    LantrixClientConnection commands;
    LantrixRawDataClientConnection frames;
    LantrixBaseClientAPI base;
    LantrixNodeClientAPI nodes;
    LantrixFrameClientAPI frameService;
    std::string error; ///< Of the last operation that failed.

    LantrixNodeId node = "n1"; ///< The node that operations name.

    LantrixNodeId id;
    std::string text;
    int numbers[2];
    LantrixNodeInterface::NodeType type;
    std::vector<LantrixNodeInterface::NodeInfo> children;
    std::vector<LantrixFrameId> frameIds;
    std::vector<std::string> list;
    LantrixStr paths[2];
    LantrixClipFormat format;
    std::string frame; ///< Four bytes.
};

struct WireOperation {
    enum Service { Base, Node, Frame };
    Service service;
    const char* name;
    std::string request;
    std::string reply;
    std::string outputs; ///< Services::outputs() after the reply.
    bool (*call)(Services& services);

    /// Runs the operation; false and Services::error when it fails or throws.
    bool run(Services& services) const;
    /// Plays the script on the port that the operation talks to.
    void play(ScriptedServer& server, Script script) const;
};

const std::vector<WireOperation>& wireOperations();
const WireOperation& wireOperation(const std::string& name);

#endif
