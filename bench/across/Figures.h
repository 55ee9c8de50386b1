// The figures of lantrix-bench: each function measures some and adds them to the report.
#ifndef BENCH_ACROSS_FIGURES_H
#define BENCH_ACROSS_FIGURES_H

#include "bench/across/Arena.h"
#include "bench/across/Link.h"
#include "bench/support/Curve.h"
#include "bench/support/Report.h"

#include <string>
#include <vector>

namespace bench {

/// The row that compares one contender with another, where both moved frames of \p size bytes.
Row frameRow(std::size_t size, const std::string& name, const Samples& samples,
             const std::string& yardstick, const Samples& yardsticks, const char* goal);

/// Frames of all sizes, read and written. Below 1 MiB the bare exchange is the yardstick of rows,
/// from there on the bare copy. Adds a panel for each direction.
void addFrameFigures(const Arena& arena, Placement placement, Report& report,
                     std::vector<Panel>& panels);
/// Round trips on the command connection.
void addCallFigures(const Arena& arena, Report& report);
/// The development server compared with what a client can take, alone and with ten clients.
void addServerFigures(const Arena& arena, Report& report);
/// Allocations for each frame, and memory over many frames.
void addMemoryFigures(const Arena& arena, Report& report);
/// The command-line tool's put and get compared with the slower of their two halves.
void addToolFigures(const Arena& arena, Report& report);
/// The Python package beside C++, and beside what a Python program would take instead.
void addPythonFigures(const Arena& arena, Report& report);
/// A reader beside a bare copy, and the memory of readers and writers.
void addStreamFigures(const Peer& peer, Report& report);
/// The command-line tool over a link with this round trip, with several connections beside one and
/// beside what a user would take instead; a player's jumps.
void addLinkFigures(const Link& link, int milliseconds, Report& report);
/// The time from a player's request to its frame.
void addPlayerFigures(const Link& link, int milliseconds, Report& report);
/// The command-line tool without a link beside another build of it.
void addBuildFigures(const Link& link, const std::string& program, Report& report);
/// What KV_LANTRIX_TCP_BUF_SIZE does to large frames; the panel's curves are over buffer size.
Panel addBufferSizeFigures(const Arena& arena, Report& report);

} // namespace bench

#endif
