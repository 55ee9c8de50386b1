#include "bench/across/Probe.h"

#include "bench/across/FrameMover.h"
#include "lantrix/LantrixClientAPI.h"

#include <functional>
#include <iostream>
#include <map>
#include <stdexcept>

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

namespace bench {

namespace {

constexpr const char* thisProgram = "/proc/self/exe";

void require(bool succeeded) {
    if (!succeeded)
        throw std::runtime_error("A call of the benchmark failed");
}

bool askForChildren(const LantrixServerHandle& server, std::size_t count) {
    const LantrixNodeHandle node(server, std::to_string(count).c_str());
    int told = 0;
    return node.getNumChildren(told) && told == static_cast<int>(count);
}

} // namespace

Probe::Pipe::Pipe() {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
        failWithErrno("pipe");
    reader = Socket(ends[0]);
    writer = Socket(ends[1]);
}

Probe::Probe(const std::string& host, std::size_t bufferSize)
    : Probe({thisProgram, "--probe", host},
            {{"KV_LANTRIX_TCP_BUF_SIZE", std::to_string(bufferSize)}}) {}

Probe::Probe(const std::vector<std::string>& arguments, const Environment& environment)
    : process_(Process::running([&] {
          ::dup2(orders_.reader.fd(), STDIN_FILENO);
          ::dup2(answers_.writer.fd(), STDOUT_FILENO);
          for (const auto& [name, value] : environment)
              ::setenv(name.c_str(), value.c_str(), 1);
          Process::execute(arguments);
      })) {
    answers_.writer = Socket(); // so that the end of the process is the end of its answers
}

std::string Probe::answer() const {
    std::string line;
    for (char next = '\0'; next != '\n'; line.push_back(next))
        if (::read(answers_.reader.fd(), &next, 1) != 1)
            throw std::runtime_error("A process that the benchmark asks has gone");
    line.pop_back();
    return line;
}

std::string Probe::ask(const std::string& order) const {
    const std::string line = order + "\n";
    if (::write(orders_.writer.fd(), line.data(), line.size()) < 0)
        failWithErrno("write");
    return answer();
}

Work Probe::moving(bool reads, std::size_t frameSize) const {
    return doing(reads ? "read" : "write", frameSize);
}

Work Probe::doing(const std::string& what, std::size_t size, unsigned port) const {
    const std::string first = what + " " + std::to_string(size) + " ";
    const std::string last = port != 0 ? " " + std::to_string(port) : "";
    return [this, first, last](int count) { (void)ask(first + std::to_string(count) + last); };
}

void runProbe(const std::string& host) {
    const FrameIds ids = [](std::size_t) { return "frame"; };
    const auto library = libraryFrames(host, ids, "");
    const auto bare = bareExchange(host, ids);
    const LantrixServerHandle server(host.c_str());
    std::map<std::size_t, LantrixNodeHandle> clips; // by the size of their frames
    const std::map<std::string, std::function<void(std::size_t, int)>> actions{
        {"read", [&](std::size_t size, int count) { library->read(size, count); }},
        {"write", [&](std::size_t size, int count) { library->write(size, count); }},
        {"bare-read", [&](std::size_t size, int count) { bare->read(size, count); }},
        {"bare-write", [&](std::size_t size, int count) { bare->write(size, count); }},
        {"read-by-index",
         [&](std::size_t size, int count) {
             const auto clip = clips.try_emplace(size, server, std::to_string(size).c_str()).first;
             readByIndex(clip->second, size, count);
         }},
        {"ping",
         [&](std::size_t, int count) {
             while (count-- > 0)
                 require(server.ping());
         }},
        {"children", [&](std::size_t size, int count) {
             while (count-- > 0)
                 require(askForChildren(server, size));
         }}};
    std::string what;
    std::size_t size = 0;
    int count = 0;
    while (std::cin >> what >> size >> count) {
        actions.at(what)(size, count);
        std::cout << std::endl;
    }
}

} // namespace bench
