// The command connection that every service calls through, and the base service: ping, protocol
// version, shutdown, path translation.
// The connection owns its socket; the service borrows the connection, which must outlive it.
// One thread at a time; stop() of the connection is for any other thread.
// The connection throws CoException; services return false and keep the text in lastError().
#ifndef LANTRIX_LANTRIXBASEINTERFACE_H
#define LANTRIX_LANTRIXBASEINTERFACE_H

#include "lantrix/LantrixTypes.h"
#include "rc/rcAPI.h"

#include <string>

class LANTRIX_EXPORT LantrixClientConnection : public rcAPI {
public:
    /// Remembers host and port; null is the empty host. Does not connect.
    LantrixClientConnection(const char* host, int port);
    ~LantrixClientConnection() override;

    void stop();
    /// Connects if needed, and anew when a reply to a call that was given up may still arrive or a
    /// fork has left this process a copy of the connection; runs one command with id 0 and returns
    /// true with the reply's value in \p result. Throws CoException with the text of a failed
    /// connect or call, or of the server's error reply; a read that failed carries what \p result
    /// held.
    bool callMethod(const char* method, const std::string& args, bool sync, std::string& result);
    /// As a synchronous callMethod, returning the reply's value.
    std::string request(const char* method, const std::string& args);

    /// Throws what a stopped call of \p method fails with if stop() was called since its request
    /// began to be sent. For work on a reply that may take long.
    void checkStopped(const char* method) const;

    /// The host given at construction; valid as long as the connection.
    const char* host() const { return host_.c_str(); }

private:
    std::string host_;
    int port_;
};

/// The base service. Each operation returns false on failure and then leaves its outputs alone.
class LANTRIX_EXPORT LantrixBaseInterface {
public:
    virtual ~LantrixBaseInterface();

    virtual bool ping() = 0;
    /// A number that the reply lacks leaves its output as it was.
    virtual bool queryVersion(int& major, int& minor) = 0;
    virtual bool shutdown() = 0;
    /// Both arrays hold \p count strings. Neither host may be null or empty. Destinations that
    /// the reply lacks stay as they are; paths beyond \p count are ignored.
    virtual bool translatePaths(const LantrixStr* srcPaths, LantrixStr* dstPaths, int count,
                                const char* srcHost, const char* dstHost, LantrixOS::OsType srcOs,
                                LantrixOS::OsType dstOs) = 0;

    /// Text of the last failure, valid until the next one; "" without any.
    const char* lastError() const { return error_.c_str(); }

protected:
    std::string error_;
};

/// The base service of a server; each operation is one request and its reply.
class LANTRIX_EXPORT LantrixBaseClientAPI : public LantrixBaseInterface {
public:
    explicit LantrixBaseClientAPI(LantrixClientConnection& connection);
    ~LantrixBaseClientAPI() override;

    /// Sends "Ping".
    bool ping() override;
    /// Sends "QueryVersion".
    bool queryVersion(int& major, int& minor) override;
    /// Sends "Shutdown" and waits for the reply.
    bool shutdown() override;
    /// Sends "TranslatePaths".
    bool translatePaths(const LantrixStr* srcPaths, LantrixStr* dstPaths, int count,
                        const char* srcHost, const char* dstHost, LantrixOS::OsType srcOs,
                        LantrixOS::OsType dstOs) override;

private:
    LantrixClientConnection& connection_;
};

#endif
