#include "tests/faults/Exchange.h"

#include <algorithm>

std::size_t Exchange::requestBytes() const {
    return std::min(at, operation->request.size());
}

Exchange wholeExchange(const WireOperation& operation) {
    return {&operation, operation.request.size() + operation.reply.size()};
}

std::vector<Exchange> exchangesAtEveryByte() {
    std::vector<Exchange> all;
    for (const WireOperation& operation : wireOperations())
        for (std::size_t at = 0; at <= wholeExchange(operation).at; ++at)
            all.push_back({&operation, at});
    return all;
}

std::string methodOf(const WireOperation& operation) {
    return operation.request.substr(7, operation.request.find(' ', 7) - 7);
}

const WireOperation& probeAfter(const Exchange& broken) {
    const std::string name = broken.operation->name;
    if (broken.isFrame())
        return wireOperation(name == "readFrame" ? "readFrame" : "writeFrame");
    return wireOperation(name == "queryNodePlugInVendor" ? "getRootNode" : "queryNodePlugInVendor");
}

std::string problemOfOutcome(const Exchange& broken, bool succeeded, Services& services) {
    if (!succeeded)
        services.frame = "kept"; // a buffer is not an output until it is full
    const bool mayFailEarly = broken.at == 0 && broken.operation->reply.empty();
    if (succeeded != broken.isAnswered() && !mayFailEarly)
        return succeeded ? " succeeds" : " fails with '" + services.error + "'";
    const bool asItShould = services.outputs() == (succeeded ? broken.operation->outputs : "");
    return asItShould ? "" : " gives " + services.outputs();
}

std::string problemOfRecovery(const Exchange& broken, Services& services, int failuresAllowed) {
    const WireOperation& probe = probeAfter(broken);
    services.forgetOutputs();
    while (!probe.run(services))
        if (failuresAllowed-- == 0)
            return " still fails with '" + services.error + "'";
    return services.outputs() == probe.outputs ? "" : " later gives " + services.outputs();
}

std::string placed(const Exchange& broken, const std::string& problem) {
    return problem.empty() ? ""
                           : std::string(broken.operation->name) + " at byte " +
                                 std::to_string(broken.at) + ":" + problem;
}
