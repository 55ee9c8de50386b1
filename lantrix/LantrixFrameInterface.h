// The raw data connection, over which frames travel as plain bytes: connects on demand, transfers
// exactly what it is asked to, and is dropped by any failure, so that the next call starts anew.
// Owns its socket. One transfer at a time, by one thread; stop() is for any other thread.
// Every failure is a CoException, thrown with the connection already dropped; connecting without
// memory throws std::bad_alloc.
#ifndef LANTRIX_LANTRIXFRAMEINTERFACE_H
#define LANTRIX_LANTRIXFRAMEINTERFACE_H

#include "lantrix/LantrixTypes.h"

#include <atomic>
#include <memory>
#include <string>

class CoIoTcpDescriptor;

class LANTRIX_EXPORT LantrixRawDataClientConnection {
public:
    /// Remembers host and port; null is the empty host. Not connected. The two sizes are ignored:
    /// the socket's buffers are set by the environment variable KV_LANTRIX_TCP_BUF_SIZE alone,
    /// in bytes, read once; zero or none leaves the system's.
    LantrixRawDataClientConnection(const char* host, int port, int sendBufferSize,
                                   int receiveBufferSize);
    ~LantrixRawDataClientConnection();
    LantrixRawDataClientConnection(const LantrixRawDataClientConnection&) = delete;
    LantrixRawDataClientConnection& operator=(const LantrixRawDataClientConnection&) = delete;

    /// Connects, dropping a connection that exists; waits at most 10 seconds for the host.
    void connect();
    /// Sends exactly \p size bytes, connecting first if needed. Returns \p size.
    int write(const char* buffer, int size);
    /// As write, for a part of a request that another write follows at once: the system may hold
    /// it back until then, so that small parts leave together.
    int writePart(const char* buffer, int size);
    /// Receives exactly \p size bytes, connecting first if needed. Returns \p size. A request for
    /// 0 bytes fails with "Connection closed".
    int read(char* buffer, int size);
    /// Closes the connection; does nothing without one.
    void disconnect();
    /// True until a failure or disconnect(); the socket itself is not probed.
    bool isConnected() const;

    /// Ends the transfer that is running now, within about a second. Between transfers it has no
    /// effect. Follows no pointer, takes no lock.
    void stop();

private:
    int send(const char* buffer, int size, bool moreFollows);
    void connectIfNeeded();
    [[noreturn]] void failAndDrop(const char* text, int line);

    std::unique_ptr<CoIoTcpDescriptor> descriptor_; // null: not connected
    std::string host_;
    int port_;
    int sendBufferSize_;         // bytes; 0: the system's default
    int receiveBufferSize_;      // bytes; 0: the system's default
    std::atomic<bool> stopFlag_; // lent to each descriptor, so that stop() follows no pointer
};

#endif
