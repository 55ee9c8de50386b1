#include "bench/across/Figures.h"

#include <cstdio>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

namespace bench {

namespace {

constexpr std::size_t frameSize = std::size_t{12} << 20;
constexpr std::size_t bufferSizes[] = {0,
                                       std::size_t{16} << 10,
                                       std::size_t{64} << 10,
                                       std::size_t{256} << 10,
                                       std::size_t{1} << 20,
                                       std::size_t{4} << 20,
                                       std::size_t{16} << 20};

struct Pipe {
    Pipe() {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0)
            failWithErrno("pipe");
        reader = Socket(ends[0]);
        writer = Socket(ends[1]);
    }
    Socket reader; // each owns its descriptor
    Socket writer;
};

/// A process whose library was loaded with a certain buffer size.
class Probe {
public:
    Probe(const char* program, const std::string& host, std::size_t bufferSize)
        : process_(Process::running([&] {
              ::dup2(orders_.reader.fd(), STDIN_FILENO);
              ::dup2(answers_.writer.fd(), STDOUT_FILENO);
              ::setenv("KV_LANTRIX_TCP_BUF_SIZE", std::to_string(bufferSize).c_str(), 1);
              ::execl(program, program, "--probe", host.c_str(), nullptr);
              failWithErrno(program);
          })) {}

    Work moving(bool reads) {
        return [this, reads](int count) {
            const std::string order = (reads ? "r " : "w ") + std::to_string(count) + "\n";
            char answer = '\0';
            if (::write(orders_.writer.fd(), order.data(), order.size()) < 0 ||
                ::read(answers_.reader.fd(), &answer, 1) != 1)
                throw std::runtime_error("The process with other buffer sizes has gone");
        };
    }

private:
    Pipe orders_;
    Pipe answers_;
    Process process_;
};

void addRows(bool reads, const std::vector<Samples>& samples, Report& report) {
    const auto rate = [&](std::size_t i) {
        return rateText(static_cast<double>(frameSize) * samples[i].perSecond());
    };
    for (std::size_t i = 1; i < samples.size(); ++i)
        report.add({std::string(reads ? "Read " : "Written ") + sizeText(frameSize) +
                        ", buffers of " + sizeText(bufferSizes[i]),
                    rate(i), "the system's buffers " + rate(0),
                    ratioText(samples[i].speedBeside(samples[0])), ""});
}

} // namespace

void addBufferSizeFigures(const Arena& arena, const char* program, Report& report) {
    arena.place(Placement::TwoCores);
    std::vector<std::unique_ptr<Probe>> probes;
    for (const std::size_t size : bufferSizes)
        probes.push_back(std::make_unique<Probe>(program, arena.peer().host(), size));
    for (const bool reads : {true, false}) {
        std::vector<Work> works;
        for (const auto& probe : probes)
            works.push_back(probe->moving(reads));
        addRows(reads, race(works, Effort()), report);
    }
}

void probeBufferSize(const char* host) {
    const auto library = libraryFrames(
        host, [](std::size_t) { return "frame"; }, "lantrix");
    char direction = '\0';
    int count = 0;
    while (std::cin >> direction >> count) {
        library->moving(direction == 'r', frameSize)(count);
        std::cout << '.' << std::flush;
    }
}

} // namespace bench
