// Takes the place of the log's router for its lifetime and keeps what is posted.
#ifndef TESTS_SUPPORT_LOGCAPTURE_H
#define TESTS_SUPPORT_LOGCAPTURE_H

#include "base/loggerBase/src/CoMsg.h"

#include <string>

class LogCapture : public CoMsg::Router {
public:
    LogCapture() { CoMsg::router_ = this; }
    ~LogCapture() { CoMsg::router_ = &CoMsg::defaultRouter_; }

    void post(const CoMsg& message) const override {
        lines += std::string(CoMsg::levelToString(message.level())) + " " + message.module() + ":" +
                 std::to_string(message.line()) + " " + message.text() + "\n";
    }

    /// "LEVEL MODULE:LINE TEXT\n" for each message.
    mutable std::string lines;
};

#endif
