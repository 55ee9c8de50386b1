// The frame service: writes and reads frames and announces reads, by frame id. A request is a run
// of NUL-terminated texts, for a write followed by the frame's bytes; the answer is a
// NUL-terminated status, empty on success, for a read followed by the frame's bytes.
// Borrows the connection, which must outlive it. One thread at a time.
// Every failure is a CoException, or std::bad_alloc from connecting. After a transport failure the
// connection is dropped; after a status it stays open, unless that was too long to be read whole.
#ifndef LANTRIX_LANTRIXFRAMECLIENTAPI_H
#define LANTRIX_LANTRIXFRAMECLIENTAPI_H

#include "lantrix/LantrixTypes.h"

#include <cstddef>

class LantrixRawDataClientConnection;

class LANTRIX_EXPORT LantrixFrameClientAPI {
public:
    explicit LantrixFrameClientAPI(LantrixRawDataClientConnection& connection);
    virtual ~LantrixFrameClientAPI();

    /// Sends "WriteFrame" and \p size bytes of \p buffer; returns 1. A negative size is sent as
    /// it stands, without bytes, and then fails.
    int writeFrame(const LantrixFrameId& frameId, const char* buffer, int size);
    /// The same for an id that is a text already; null is the empty one. Makes no copy of it.
    int writeFrameById(const char* frameId, const char* buffer, int size);
    /// Sends "ReadFrame" and fills exactly \p size bytes of \p buffer; returns \p size. A size of
    /// zero or less is sent as it stands and then fails.
    int readFrame(const LantrixFrameId& frameId, char* buffer, int size);
    /// The same for an id that is a text already; null is the empty one. Makes no copy of it.
    int readFrameById(const char* frameId, char* buffer, int size);
    /// Sends "ReadAhead", which has no answer; what \p count means is the server's. Returns the
    /// bytes of the last text sent.
    int readAhead(const LantrixFrameId& frameId, int count);
    /// The same for an id that is a text already; null is the empty one. Makes no copy of it.
    int readAheadById(const char* frameId, int count);

private:
    int sendRequest(const char* name, const char* frameId, int number, bool payloadFollows);
    int sendText(const char* text, bool moreFollows);
    void readStatus(char* status, std::size_t limit, int line);

    LantrixRawDataClientConnection* connection_; // not owned, never null
};

#endif
