// Answers the requests of the command connection: the base, node and metadata methods.
// Borrows the tree and the log; knows no socket. Any thread. A request that can't be served has an
// "error" reply that says what is wrong; nothing is thrown but std::bad_alloc.
#ifndef DEVSERVER_DEVCOMMANDSERVICE_H
#define DEVSERVER_DEVCOMMANDSERVICE_H

#include "devserver/DevLog.h"
#include "devserver/DevServerOptions.h"
#include "devserver/DevTree.h"
#include "rc/rcCommand.h"
#include "rc/rcResult.h"

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
    DevTree& tree_;
    const DevLog& log_;
    const DevServerOptions& options_;
};

#endif
