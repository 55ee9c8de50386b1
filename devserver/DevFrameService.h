// Serves frame connections: reads requests, moves payloads between the socket and files or memory.
//
// A write takes exactly the frame's size; any other size that a frame may have is read and thrown
// away, answered with a status that says what is wrong, and the connection goes on. A read may ask
// for more than the frame holds, as clients do whose buffer is larger: zeros follow the frame. It
// may not ask for less. A frame that was never written is all zeros.
// Borrows the tree, the frames in memory and the log. Any thread; one call per connection.
#ifndef DEVSERVER_DEVFRAMESERVICE_H
#define DEVSERVER_DEVFRAMESERVICE_H

#include "devserver/DevFrameCache.h"
#include "devserver/DevLog.h"
#include "devserver/DevStream.h"
#include "devserver/DevTree.h"

class DevFrameService {
public:
    /// Without \p knowsReadAhead that request is unknown, as older protocols have it.
    DevFrameService(DevTree& tree, DevFrameCache& cache, const DevLog& log, bool knowsReadAhead);

    /// Serves one connection until the client closes it, or sends what can't be understood.
    void serve(DevStream& stream);

private:
    class Session;

    DevTree& tree_;
    DevFrameCache& cache_;
    const DevLog& log_;
    const bool knowsReadAhead_;
};

#endif
