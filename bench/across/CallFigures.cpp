#include "bench/across/Figures.h"

#include "lantrix/LantrixClientAPI.h"

#include <stdexcept>
#include <string>
#include <vector>

namespace bench {

namespace {

void require(bool succeeded) {
    if (!succeeded)
        throw std::runtime_error("A call of the benchmark failed");
}

/// The bytes of some calls on a plain socket: each line is sent and its reply awaited.
class PingPong {
public:
    PingPong(const std::string& host, const std::vector<std::string>& lines)
        : socket_(Socket::connectTo(host, 7549)), lines_(lines) {}

    void run(int count) {
        for (int i = 0; i < count; ++i)
            for (const std::string& line : lines_) {
                socket_.sendAll(line.data(), line.size());
                receiveLine();
            }
    }

private:
    void receiveLine() {
        std::size_t size = 0;
        do {
            size = socket_.receiveSome(buffer_, sizeof buffer_);
            require(size > 0);
        } while (buffer_[size - 1] != '\n');
    }

    Socket socket_;
    std::vector<std::string> lines_;
    char buffer_[32768]; // as much as the library reads at once
};

std::string line(const std::string& request) {
    return "sync 0 " + request + "\n";
}

struct Call {
    std::string name;
    std::vector<std::string> lines; ///< What it sends.
    bool (*make)(const LantrixServerHandle& server);
    const char* goal;
};

// A fresh handle asks; what it is told goes with it.
template <int Count>
bool askForChildren(const LantrixServerHandle& server) {
    const LantrixNodeHandle node(server, std::to_string(Count).c_str());
    int count = 0;
    return node.getNumChildren(count) && count == Count;
}

bool askForType(const LantrixServerHandle& server) {
    const LantrixNodeHandle node(server, "7");
    int type = 0;
    return node.getNodeType(type);
}

const std::vector<Call>& calls() {
    static const std::vector<Call> all{
        {"Ping", {line("Ping ")}, [](const LantrixServerHandle& s) { return s.ping(); }, "0.90"},
        {"Type of a node (two calls)",
         {line("GetNodeType 7"), line("GetNodeTypeStr 7")},
         askForType,
         "0.90"},
        {"10 children", {line("GetChildren 10")}, askForChildren<10>, ""},
        {"1,000 children", {line("GetChildren 1000")}, askForChildren<1000>, "0.90"},
        {"100,000 children", {line("GetChildren 100000")}, askForChildren<100000>, ""}};
    return all;
}

std::string callRate(const Samples& samples) {
    return countText(samples.perSecond()) + "/s";
}

} // namespace

void addCallFigures(const Arena& arena, Report& report) {
    arena.place(Placement::OneCore);
    const LantrixServerHandle server(arena.peer().host().c_str());
    for (const Call& call : calls()) {
        PingPong pingPong(arena.peer().host(), call.lines);
        const auto samples = race({[&](int count) { pingPong.run(count); },
                                   [&](int count) {
                                       for (int i = 0; i < count; ++i)
                                           require(call.make(server));
                                   }},
                                  Effort());
        report.add({call.name, callRate(samples[1]), "ping-pong " + callRate(samples[0]),
                    ratioText(samples[1].speedBeside(samples[0])), call.goal});
    }
}

} // namespace bench
