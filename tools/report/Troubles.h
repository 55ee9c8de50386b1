// What keeps one node of a listing from being told in full, and not the others from being listed.
// Borrows the output. Failures that end all (no connection, an interrupt) are passed on.
#ifndef TOOLS_REPORT_TROUBLES_H
#define TOOLS_REPORT_TROUBLES_H

#include "tools/report/Output.h"

#include <vector>

namespace tool {

class Troubles {
public:
    explicit Troubles(const Output& output) : output_(output) {}

    /// Runs what is about one node. Gives the failure that it ended with, which is kept; "" when
    /// there was none.
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
    /// Behind the listing: reports what was kept, and throws the worst of it.
    void finish();

private:
    void keep(const Failure& failure);

    const Output& output_;
    std::vector<Failure> kept_;
};

} // namespace tool

#endif
