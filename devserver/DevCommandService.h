// Answers the requests of the command connection: the base, node and metadata methods.
// Borrows the tree, the frames at hand and the log; knows no socket. Any thread. A request that
// can't be served has an "error" reply that says what is wrong, a lack of memory too.
#ifndef DEVSERVER_DEVCOMMANDSERVICE_H
#define DEVSERVER_DEVCOMMANDSERVICE_H

#include "devserver/DevFrameCache.h"
#include "devserver/DevLog.h"
#include "devserver/DevServerOptions.h"
#include "devserver/DevTree.h"
#include "rc/rcCommand.h"
#include "rc/rcResult.h"

#include <cstddef>
#include <functional>

class DevCommandService {
public:
    /// Takes from \p options the protocol's version and what the plug-in queries answer; methods
    /// that came later than that version are unknown.
    DevCommandService(DevTree& tree, DevFrameCache& cache, const DevLog& log,
                      const DevServerOptions& options);

    /// Told how many bytes a reply is about to have; may throw DevError to refuse them.
    using Charge = std::function<void(std::size_t bytes)>;

    /// Carries out a request, whether or not its sender wants the reply.
    [[nodiscard]] rcResult answer(const rcCommand& request, const Charge& charge);
    /// True for a request that asks for the server's end; the reply is still to be sent.
    [[nodiscard]] static bool asksForEnd(const rcCommand& request);

private:
    DevTree& tree_;
    DevFrameCache& cache_;
    const DevLog& log_;
    const DevServerOptions& options_;
};

#endif
