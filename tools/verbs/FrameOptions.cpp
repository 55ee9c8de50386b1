#include "tools/verbs/FrameOptions.h"

#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>

#include <string>

namespace tool {

void addFrameOptions(CLI::App& verb, FrameSelection& frames) {
    verb.add_option("-f,--frames", frames.range, "5, 1-100, 1-100x2 or 12-, joined by commas")
        ->check([](const std::string& text) {
            return text.empty() ? "a frame range is empty" : std::string();
        });
    addStartNumberOption(verb, frames.startNumber);
}

void addStartNumberOption(CLI::App& verb, int& startNumber) {
    verb.add_option("--start-number", startNumber, "The number of the clip's first frame")
        ->check(CLI::Range(0, 1000000000, "0.."));
}

void addStoreOptions(CLI::App& verb, StoreRules& rules) {
    verb.add_flag("--verify", rules.verify, "Read back and compare what was written");
    verb.add_flag("--resume", rules.resume, "Leave out what is there already");
}

void addMissingOption(CLI::App& verb, Missing& missing) {
    verb.add_option_function<std::string>(
            "--missing", [&missing](const std::string& text) { missing = parseMissing(text); },
            "What stands in for a hole: error, hold or black")
        ->check(CLI::IsMember({"error", "hold", "black"}));
}

} // namespace tool
