// The arguments of a request of the page, checked as they are read. Borrows the request. Failures
// are thrown as WebFailure.
#ifndef TOOLS_WEB_WEBARGUMENTS_H
#define TOOLS_WEB_WEBARGUMENTS_H

#include "tools/web/HttpServer.h"

#include <string>

namespace tool {

class WebArguments {
public:
    explicit WebArguments(const HttpRequest& request) : request_(request) {}

    [[nodiscard]] bool has(const std::string& name) const;
    /// The text, or \p otherwise where there is none.
    [[nodiscard]] std::string text(const std::string& name, const std::string& otherwise) const;
    [[nodiscard]] std::string text(const std::string& name) const;
    /// The number, from \p least to \p most.
    [[nodiscard]] int number(const std::string& name, int least, int most, int otherwise) const;
    [[nodiscard]] int number(const std::string& name, int least, int most) const;
    [[nodiscard]] double real(const std::string& name, double least, double most,
                              double otherwise) const;

private:
    const HttpRequest& request_;
};

} // namespace tool

#endif
