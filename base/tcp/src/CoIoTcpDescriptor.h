// A TCP client connection to a named host: resolves, connects within a bounded time, and leaves
// the socket non-blocking for the stoppable transfers of its base.
// Owns the socket, also when connecting failed. One thread at a time, as its base; two objects
// may resolve and connect in two threads at once.
// Nothing throws for a failure of the network: lastError() is empty exactly when connected.
#ifndef BASE_TCP_COIOTCPDESCRIPTOR_H
#define BASE_TCP_COIOTCPDESCRIPTOR_H

#include "base/tcp/src/CoIoDescriptor.h"

#include <string>

#include <netinet/in.h>

class CO_EXPORT CoIoTcpDescriptor : public CoIoDescriptor {
public:
    /// Connects to the first IPv4 address of \p hostName, waiting at most \p timeoutSeconds.
    /// Buffer sizes are in bytes; zero or less leaves the system's default. Resolving takes as
    /// long as the system's resolver does and, like connecting, is not ended by stop().
    /// \p hostName must not be null.
    CoIoTcpDescriptor(const char* hostName, int port, int sendBufferSize, int receiveBufferSize,
                      int timeoutSeconds);
    /// Takes over an open socket; the host name is "localhost".
    explicit CoIoTcpDescriptor(int fd);
    ~CoIoTcpDescriptor() override;

    int nonBlockingWrite(const void* buffer, unsigned size) override;
    int nonBlockingRead(void* buffer, unsigned size) override;
    int close() override;

    /// Does nothing.
    void init();

    /// Whether a fork has put this copy of the connection into another process than the one that
    /// opened it. If both used it, each would get bytes meant for the other; closing
    /// the copy does not disturb the other process.
    bool isInherited() const;

    /// Switches O_NONBLOCK of \p fd. On failure logs, keeps the text as lastError(), and returns
    /// false.
    bool setNonBlocking(int fd, bool on);

    /// Each sets one option of \p fd; a failure is logged and nothing else.
    static void setNoDelaySocketOption(int fd, bool on);
    static void setReuseAddressSocketOption(int fd, bool on);
    static void setSendBufferSizeSocketOption(int fd, int size);
    static void setReceiveBufferSizeSocketOption(int fd, int size);

    /// The system's text for errno; valid until this thread's next call.
    static const char* getLastSocketError();
    /// "TCP connection error on port '...': ..." for errno; valid until this thread's next call.
    static const char* makeConnectionError(int port);

private:
    void open(int port, int sendBufferSize, int receiveBufferSize, int timeoutSeconds);
    bool resolve(int port, sockaddr_in& address);
    void connectTo(const sockaddr_in& address, int timeoutSeconds);
    void awaitConnection(int timeoutSeconds);
    void failToConnect(const char* reason);

    std::string hostName_;
    unsigned generation_; // coProcessGeneration() of the process that opened it
};

#endif
