#include "python/Log.h"

#include "base/loggerBase/src/CoMsg.h"
#include "python/Binding.h"

#include <atomic>
#include <mutex>
#include <vector>

#include <pthread.h>

namespace python {

namespace {

struct Message {
    int level;
    std::string text;
};

struct Kept {
    std::mutex mutex;
    std::vector<Message> messages;
    std::atomic<bool> isEmpty{true};
};

constexpr std::size_t mostKept = 1000; // later ones are dropped until the next call

Kept* kept = new Kept; // never destroyed: other threads may post until the very end

// Whether another thread held the lock at the fork is not known: a child begins with a new one.
void beginChild() {
    kept = new Kept;
}

// Python's levels: 10 debug, 20 info, 30 warning, 40 error.
int pythonLevel(CoMsg::Level level) {
    switch (level) {
    case CoMsg::Error:
        return 40;
    case CoMsg::Warning:
        return 30;
    case CoMsg::User:
    case CoMsg::Notice:
        return 20;
    default:
        return 10;
    }
}

class Router : public CoMsg::Router {
public:
    void post(const CoMsg& message) const override {
        const std::lock_guard<std::mutex> lock(kept->mutex);
        if (kept->messages.size() < mostKept)
            kept->messages.push_back({pythonLevel(message.level()), message.text()});
        kept->isEmpty = false;
    }
};

} // namespace

void takeLogOver() {
    static Router router;
    CoMsg::router_ = &router;
    ::pthread_atfork(nullptr, nullptr, beginChild);
}

void passLogOn() {
    if (kept->isEmpty)
        return;
    std::vector<Message> messages;
    {
        const std::lock_guard<std::mutex> lock(kept->mutex);
        messages.swap(kept->messages);
        kept->isEmpty = true;
    }
    const py::object logger = py::module_::import("logging").attr("getLogger")("lantrix");
    for (const Message& message : messages)
        logger.attr("log")(message.level, "%s", pythonText(message.text));
}

} // namespace python
