// Round trips on the command connection, beside the same bytes on a plain socket.
#include "bench/across/Figures.h"

#include "lantrix/LantrixClientAPI.h"

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace bench {

namespace {

constexpr int manyChildren = 100000; // so many take long, and vary little

void require(bool succeeded) {
    if (!succeeded)
        throw std::runtime_error("A call of the benchmark failed");
}

/// The bytes of some calls on a plain socket: each line is sent and its reply awaited.
class PingPong {
public:
    PingPong(const std::string& host, std::vector<std::string> lines)
        : socket_(Socket::connectTo(host, 7549)), lines_(std::move(lines)) {}

    /// With \p waits also the library's poll before each reply.
    void run(int count, bool waits = false) {
        for (int i = 0; i < count; ++i)
            for (const std::string& line : lines_) {
                socket_.sendAll(line.data(), line.size());
                if (waits)
                    socket_.awaitData();
                receiveLine([](const char*, std::size_t) {});
            }
    }

    /// Makes a list of pairs of texts of each reply too, which is what a client is to have.
    void runAndList(int count) {
        for (int i = 0; i < count; ++i)
            for (const std::string& line : lines_) {
                socket_.sendAll(line.data(), line.size());
                std::string reply;
                receiveLine([&](const char* data, std::size_t size) { reply.append(data, size); });
                require(!pairsOf(reply).empty());
            }
    }

private:
    using Pair = std::pair<std::string, std::string>;

    template <class Use>
    void receiveLine(Use&& use) {
        std::size_t size = 0;
        do {
            size = socket_.receiveSome(buffer_, sizeof buffer_);
            require(size > 0);
            use(buffer_, size);
        } while (buffer_[size - 1] != '\n');
    }

    static std::vector<Pair> pairsOf(const std::string& reply) {
        std::vector<Pair> pairs;
        for (std::size_t at = reply.find(' ') + 1; at < reply.size() - 1;) {
            const std::size_t middle = reply.find(',', at), end = reply.find(',', middle + 1);
            pairs.emplace_back(reply.substr(middle + 1, end - middle - 1),
                               reply.substr(at, middle - at));
            at = end + 1;
        }
        return pairs;
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
    int children; ///< That a call lists; 0: none.
};

// A fresh handle has to ask; its answers are dropped with it.
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

template <int Count>
Call children(const char* goal) {
    return {countText(Count) + " children",
            {line("GetChildren " + std::to_string(Count))},
            askForChildren<Count>,
            goal,
            Count};
}

const std::vector<Call>& calls() {
    static const std::vector<Call> all{
        {"Ping", {line("Ping ")}, [](const LantrixServerHandle& s) { return s.ping(); }, "0.90", 0},
        {"Type of a node (two calls)",
         {line("GetNodeType 7"), line("GetNodeTypeStr 7")},
         askForType,
         "0.90",
         0},
        children<10>(""),
        children<1000>("0.50"),
        children<100000>("0.50"),
        children<1000000>("")};
    return all;
}

// Of calls, or of the children that a call lists.
std::string speedOf(const Samples& samples, const Call& call) {
    return call.children == 0 ? countText(samples.perSecond()) + "/s"
                              : timeText(samples.perItem() / call.children) + "/child";
}

} // namespace

void addCallFigures(const Arena& arena, Report& report) {
    arena.place(Placement::OneCore);
    const LantrixServerHandle server(arena.peer().host().c_str());
    for (const Call& call : calls()) {
        PingPong pingPong(arena.peer().host(), call.lines);
        std::vector<Work> works{[&](int count) {
                                    for (int i = 0; i < count; ++i)
                                        require(call.make(server));
                                },
                                [&](int count) { pingPong.run(count); }};
        const bool lists = call.children > 0;
        works.emplace_back([&](int count) {
            lists ? pingPong.runAndList(count) : pingPong.run(count, /*waits=*/true);
        });
        Effort effort;
        if (call.children >= manyChildren)
            effort.rounds = 5;
        const auto samples = race(works, effort);
        const auto add = [&](std::size_t yardstick, const std::string& name, const char* goal) {
            report.add({call.name, speedOf(samples[0], call),
                        name + speedOf(samples[yardstick], call),
                        ratioText(samples[0].speedBeside(samples[yardstick])), goal});
        };
        add(1, "ping-pong ", call.goal);
        add(2, lists ? "ping-pong and list " : "ping-pong, one poll each ", "");
    }
}

} // namespace bench
