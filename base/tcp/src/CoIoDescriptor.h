// An operating-system descriptor with blocking transfers that another thread can stop.
// Owns the descriptor number and closes it; owns the last-error text; owns its stop flag unless
// one is handed to it, which it then borrows.
// One thread at a time, except for stop(), which any thread may call.
// Nothing throws for a failure of the system: a status is returned and lastError() tells why.
#ifndef BASE_TCP_COIODESCRIPTOR_H
#define BASE_TCP_COIODESCRIPTOR_H

#include "base/CoExport.h"

#include <atomic>
#include <string>

class CO_EXPORT CoIoDescriptor {
public:
    /// Seconds of every wait of the blocking loops: a stop is seen within this time.
    static const int IO_WAIT_RESOLUTION;

    CoIoDescriptor();
    /// Closes an open descriptor directly, not through the virtual close().
    virtual ~CoIoDescriptor();
    CoIoDescriptor(const CoIoDescriptor&) = delete;
    CoIoDescriptor& operator=(const CoIoDescriptor&) = delete;

    /// Writes once what the descriptor takes at present. Returns the bytes written, possibly
    /// fewer than \p size; -1 on failure. Never raises SIGPIPE for a socket. After -1 errno still
    /// holds the cause.
    virtual int nonBlockingWrite(const void* buffer, unsigned size);
    /// Writes all \p size bytes, waiting as long as it takes. Clears the stop flag first. Returns
    /// \p size; 0 when \p size is 0; -1 on failure, after stop(), or beyond INT_MAX bytes.
    virtual int blockingWrite(const void* buffer, unsigned size);
    /// Waits at most IO_WAIT_RESOLUTION seconds for data and reads once. Returns the bytes read;
    /// 0 when nothing came in time or a signal interrupted; -1 on failure and at the end of the
    /// stream ("Connection closed").
    virtual int nonBlockingReadSelect(void* buffer, unsigned size);
    /// Reads once what is there at present. Returns the bytes read; 0 at the end of the stream,
    /// and, unlike a write, without a descriptor ("Not connected."); -1 on failure.
    virtual int nonBlockingRead(void* buffer, unsigned size);
    /// Reads exactly \p size bytes, waiting as long as it takes. Clears the stop flag first.
    /// Returns \p size; 0 when \p size is 0, or when the peer closed, whatever had arrived, and
    /// then without a text; -1 on failure, after stop(), or beyond INT_MAX bytes.
    virtual int blockingRead(void* buffer, unsigned size);
    /// Closes the descriptor. Returns what close(2) does; a negative number when it was closed.
    virtual int close();

    /// Takes over \p fd, which this object closes from now on. What it held before is not closed.
    void setId(int fd);
    /// The descriptor number, -1 without one.
    int id() const { return id_; }

    /// Writes the text without its terminator. True when all of it was written. \p str must not
    /// be null.
    bool writeStr(const char* str);
    /// Reads up to a line feed into \p buff, which holds \p maxLen bytes, and replaces the line
    /// feed by a terminator; what does not fit is read and dropped. Returns the length, 0 for an
    /// empty line and for a failure: lastError() tells them apart. \p buff must not be null.
    int readLine(char* buff, int maxLen);

    /// Text of the last failure, valid until the next one; "" without any. Successes keep it.
    const char* lastError() const { return lastError_.c_str(); }

    /// Ends the blocking transfer that is waiting now, within IO_WAIT_RESOLUTION seconds. A
    /// transfer that begins later is not affected. Any thread.
    void stop();
    bool isStopped() const { return stopFlag_->load(); }
    /// Uses \p flag, which must outlive this object, in place of its own: the owner of a
    /// connection can then be stopped while the descriptor is being replaced.
    void setStopFlag(std::atomic<bool>& flag) { stopFlag_ = &flag; }

    /// While set, what is written to a socket may be held back by the system until the next write
    /// without it, so that a request of small pieces leaves as one segment. A hint only.
    void setMoreToCome(bool more) { moreToCome_ = more; }

protected:
    /// Tells whether the descriptor is in non-blocking mode, so that a transfer may be tried
    /// before it is waited for.
    void setNeverBlocks(bool never) { neverBlocks_ = never; }

    enum class Wait { Ready, TimedOut, Interrupted, Failed, Skipped };
    enum class Direction { Read, Write };

    /// Waits until the descriptor can be read or written, for at most \p milliseconds. Works for
    /// any descriptor number; a negative one fails at once. Failed leaves the cause in errno.
    Wait wait(Direction direction, int milliseconds) const;
    /// Keep the text of errno, or \p text, as the last error and return -1. Leave errno as it is.
    int failWithErrno();
    int fail(const char* text);

private:
    int failTransfer();
    template <class Transfer>
    int transferOnce(Wait waited, Transfer&& transfer);
    template <class Transfer>
    int transferAll(Direction direction, unsigned size, bool tryFirst, Transfer&& transfer);
    bool beginTransfer(unsigned size);

    int id_;
    std::string lastError_;
    std::atomic<bool> ownStopFlag_;
    std::atomic<bool>* stopFlag_; // never null; ownStopFlag_ or a longer-living one
    bool moreToCome_;
    bool neverBlocks_;  // in non-blocking mode: a transfer may be tried without a wait
    bool readyUnknown_; // the transfer that runs is such a try, or follows a signal
    bool moreExpected_; // the last transfer was a read that got all it asked for
};

#endif
