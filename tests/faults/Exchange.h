// One exchange of a wire operation that goes wrong at one byte: of the request that the server has
// received, or of the reply that it has sent. The cases of the tests, and what must hold after
// each of them.
#ifndef TESTS_FAULTS_EXCHANGE_H
#define TESTS_FAULTS_EXCHANGE_H

#include "tests/support/WireOperations.h"

#include <cstddef>
#include <string>
#include <vector>

struct Exchange {
    const WireOperation* operation;
    std::size_t at; ///< Bytes of request and reply before the fault.

    bool isFrame() const { return operation->service == WireOperation::Frame; }
    std::string received() const { return operation->request.substr(0, requestBytes()); }
    std::string unread() const { return operation->request.substr(requestBytes()); }
    std::string sent() const { return operation->reply.substr(0, at - requestBytes()); }
    std::string unsent() const { return operation->reply.substr(at - requestBytes()); }
    /// All that the operation waits for has been sent.
    bool isAnswered() const { return unsent().empty(); }
    std::size_t requestBytes() const;
};

Exchange wholeExchange(const WireOperation& operation);
/// Each byte of each operation, that before the first and that behind the last included.
std::vector<Exchange> exchangesAtEveryByte();

/// The method of a command operation.
std::string methodOf(const WireOperation& operation);

/// An operation that tells whether the handle works again. Its outputs differ from the broken
/// one's, so that no byte of that reply is taken for an answer.
const WireOperation& probeAfter(const Exchange& broken);

/// What is wrong with the result, or with the outputs; "" if nothing. Success is expected when all
/// was answered.
std::string problemOfOutcome(const Exchange& broken, bool succeeded, Services& services);
/// What is wrong with the handle, whose probe may fail so many times first; "" if nothing.
std::string problemOfRecovery(const Exchange& broken, Services& services, int failuresAllowed);

/// A problem with the place of its exchange; "" without one.
std::string placed(const Exchange& broken, const std::string& problem);

#endif
