// Why a request of the page is not answered: the text for people, and the kind by which the page
// decides what to do next.
#ifndef TOOLS_WEB_WEBFAILURE_H
#define TOOLS_WEB_WEBFAILURE_H

#include <stdexcept>
#include <string>

namespace tool {

class WebFailure : public std::runtime_error {
public:
    enum class Kind {
        Argument,   ///< The request makes no sense.
        NotFound,   ///< There is no such node, frame or stream.
        Connection, ///< The media server can't be reached.
        Refused,    ///< It said no.
        Busy        ///< Not now: asking again may help.
    };

    WebFailure(Kind kind, const std::string& text) : std::runtime_error(text), kind_(kind) {}

    [[nodiscard]] Kind kind() const { return kind_; }

private:
    Kind kind_;
};

} // namespace tool

#endif
