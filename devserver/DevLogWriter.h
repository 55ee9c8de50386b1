// Where a program's log goes: a descriptor that may be a full pipe or a stopped terminal. What it
// does not take at once is dropped, counted, and told of with the next line that it takes.
// Borrows the descriptor. One thread at a time. Reports no failure: it is the last place to do so.
#ifndef DEVSERVER_DEVLOGWRITER_H
#define DEVSERVER_DEVLOGWRITER_H

#include <cstddef>
#include <string>

class DevLogWriter {
public:
    DevLogWriter(int descriptor, std::string prefix)
        : descriptor_(descriptor), prefix_(std::move(prefix)) {}

    /// Writes a line, whose length DevLog bounds, with the prefix before and a line feed behind.
    void operator()(const std::string& line);

private:
    [[nodiscard]] bool write(const std::string& text) const;

    int descriptor_;
    std::string prefix_;
    std::size_t dropped_ = 0;
};

#endif
