// lantrix-microbench: what happens inside the process, measured against the least that has to be
// done. Prints the table's header and its rows.
#include "bench/inside/Pairs.h"
#include "bench/support/Peer.h"

#include <cstdio>
#include <exception>

int main(int, char** argv) {
    try {
        const bench::Peer peer;
        bench::addReplyPairs();
        bench::addTextPairs();
        bench::addListPairs();
        bench::addFindChildPairs(peer.host());
        bench::Report report;
        bench::runPairs(argv[0], report);
        bench::Report::printHeader();
        report.print("Inside the process, processor time");
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "lantrix-microbench: %s\n", error.what());
        return 1;
    }
}
