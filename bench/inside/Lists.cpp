// Splitting of comma-separated lists, and the search for a child by its name.
#include "bench/inside/Pairs.h"
#include "bench/support/Protocols.h"
#include "lantrix/LantrixClientAPI.h"
#include "rc/rcProtocol.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <vector>

namespace bench {

namespace {

constexpr int counts[] = {10, 1000, 100000, 1000000};

void split(const std::string& list) {
    rcProtocol::forEachItem(list, [](std::string_view item) { benchmark::DoNotOptimize(item); });
}

void findCommas(const std::string& list) {
    std::size_t commas = 0;
    const char* next = list.data();
    while ((next = std::strchr(next, ',')) != nullptr) {
        ++commas;
        ++next;
    }
    benchmark::DoNotOptimize(commas);
}

/// A handle whose children are known, and their names beside it.
struct Family {
    Family(const LantrixServerHandle& server, int count)
        : parent(server, std::to_string(count).c_str()) {
        int known = 0;
        if (!parent.getNumChildren(known) || known != count)
            throw std::runtime_error("The benchmark's peer has not told all children");
        for (int i = 0; i < count; ++i)
            names.push_back(childName(i));
    }

    void findLast() const {
        LantrixNodeHandle child;
        if (!LantrixFindChild(parent, names.back().c_str(), child))
            throw std::runtime_error("A child was not found");
    }

    void compareNames() const {
        const char* const wanted = names.back().c_str();
        benchmark::DoNotOptimize(
            std::find_if(names.begin(), names.end(), [wanted](const std::string& name) {
                return std::strcmp(name.c_str(), wanted) == 0;
            }));
    }

    LantrixNodeHandle parent;
    std::vector<std::string> names;
};

} // namespace

void addListPairs() {
    for (const int count : counts) {
        const auto list = std::make_shared<std::string>(childrenList(count / 2));
        list->pop_back(); // no comma at the end, whose place could not be put back
        addPair({"Split a list of " + countText(count) + " items", "item",
                 static_cast<double>(count), [list] { split(*list); }, "strchr alone",
                 [list] { findCommas(*list); }, ""});
    }
}

void addFindChildPairs(const std::string& host) {
    static const LantrixServerHandle server(host.c_str());
    for (const int count : counts) {
        const auto family = std::make_shared<const Family>(server, count);
        addPair({"LantrixFindChild, the last of " + countText(count), "child",
                 static_cast<double>(count), [family] { family->findLast(); },
                 "strcmp of each name", [family] { family->compareNames(); }, ""});
    }
}

} // namespace bench
