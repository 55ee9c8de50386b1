// What every fuzz target shares: its entry point, the split of an input, and the check.
// An input is a text, so that seeds can be read and the dictionary applies, followed by single
// control bytes, which are taken from its end.
#ifndef FUZZ_FUZZINPUT_H
#define FUZZ_FUZZINPUT_H

#include <cstddef>
#include <cstdint>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

class FuzzInput {
public:
    FuzzInput(const std::uint8_t* data, std::size_t size)
        : rest_(reinterpret_cast<const char*>(data), size) {}

    /// The next control byte; 0 when the input is used up.
    unsigned control() {
        if (rest_.empty())
            return 0;
        const unsigned byte = static_cast<unsigned char>(rest_.back());
        rest_.remove_suffix(1);
        return byte;
    }
    /// What is left when the control bytes have been taken.
    std::string_view text() const { return rest_; }

private:
    std::string_view rest_;
};

/// Ends the process with a report of the input unless \p condition holds.
inline void require(bool condition) {
    if (!condition)
        __builtin_trap();
}

#endif
