// Failures that concern one node of a listing: the other nodes are still listed, and the failures
// are reported behind them.
// Borrows the output. Failures that end all (no connection, an interrupt) are passed on.
#ifndef TOOLS_REPORT_TROUBLES_H
#define TOOLS_REPORT_TROUBLES_H

#include "tools/report/Output.h"

#include <vector>

namespace tool {

class Troubles {
public:
    explicit Troubles(const Output& output) : output_(output) {}

    /// Asks something about one node. A failure is kept, and its text returned; "" when there was
    /// none.
    template <class Question>
    std::string attempt(Question question) {
        try {
            question();
            return "";
        } catch (const Failure& failure) {
            keep(failure);
            return failure.what();
        }
    }
    /// Keeps a failure of whatever kind.
    void add(const Failure& failure) { kept_.push_back(failure); }
    [[nodiscard]] bool areThere() const { return !kept_.empty(); }
    /// To be called after the listing: reports the failures kept, and throws the worst of them.
    void finish();

private:
    void keep(const Failure& failure);

    const Output& output_;
    std::vector<Failure> kept_;
};

} // namespace tool

#endif
