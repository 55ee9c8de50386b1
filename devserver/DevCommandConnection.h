// Serves one command connection: reads request lines, has them answered, sends the replies. What
// does not begin as a request is not read any further: a web page may have sent it.
// Borrows the service, the stream, the log and the memory. One thread.
#ifndef DEVSERVER_DEVCOMMANDCONNECTION_H
#define DEVSERVER_DEVCOMMANDCONNECTION_H

#include "devserver/DevCommandService.h"
#include "devserver/DevMemory.h"
#include "devserver/DevStream.h"

#include <cstddef>
#include <string>
#include <string_view>

class DevCommandConnection {
public:
    DevCommandConnection(DevCommandService& service, DevMemory& memory, DevStream& stream,
                         const DevLog& log)
        : service_(service), stream_(stream), log_(log), share_(memory) {}

    enum class End { Closed, ServerShallEnd };
    /// Until the client closes, or asks for the server's end.
    [[nodiscard]] End serve();

private:
    enum class Next { Request, Close, ServerEnd };

    [[nodiscard]] Next take(std::string_view bytes);
    [[nodiscard]] Next takeLineEnd();
    [[nodiscard]] std::string answer(bool& wantsReply, bool& asksForEnd);
    [[nodiscard]] bool beginsAsRequest(std::string_view bytes);
    void takeText(std::string_view bytes);
    void refuse(const std::string& problem);

    DevCommandService& service_;
    DevStream& stream_;
    const DevLog& log_;
    DevMemory::Share share_;
    rcCommand request_;
    std::string start_; // the first bytes of the connection
    std::size_t length_ = 0;
    bool holdsNul_ = false;
};

#endif
