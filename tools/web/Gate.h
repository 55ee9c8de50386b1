// Who may look: only requests that were made for this page, by this page or by a person who has its
// address. A plain value; any thread.
#ifndef TOOLS_WEB_GATE_H
#define TOOLS_WEB_GATE_H

#include "tools/web/HttpServer.h"

#include <string>
#include <vector>

namespace tool {

/// 32 hexadecimal digits from the system's source of random numbers.
[[nodiscard]] std::string randomToken();

class Gate {
public:
    /// For a server on this numeric address, "0.0.0.0" for all of the machine's.
    Gate(const std::string& address, int port, std::string token);

    struct Verdict {
        int status = 200; ///< 404 or 403 of a request that gets no other answer.
        std::string name; ///< What is asked for: the path behind the token.
    };
    [[nodiscard]] Verdict judge(const HttpRequest& request) const;

private:
    [[nodiscard]] bool isOurs(const std::string& host) const;

    std::vector<std::string> hosts_; // as browsers name this server; empty for any number
    std::string port_;               // ":PORT"
    std::string token_;
};

} // namespace tool

#endif
