// What the tool writes: data to standard output, as tables for people, as fields between tabs for
// pipes or as JSON for programs; everything else to standard error.
// Borrows the options. Used by the main thread. A standard output that can't be written to is a
// Failure, found at the end by finish().
#ifndef TOOLS_REPORT_OUTPUT_H
#define TOOLS_REPORT_OUTPUT_H

#include "tools/report/Failure.h"
#include "tools/report/Options.h"

#include <nlohmann/json_fwd.hpp>

#include <string>
#include <vector>

namespace tool {

using Json = nlohmann::ordered_json;

class Output {
public:
    explicit Output(const Options& options) : options_(options) {}

    /// One row for each JSON object, whose members are the columns; all rows have the same. JSON:
    /// an array under \p key. Tables for people have headings.
    void table(const std::string& key, const std::vector<Json>& rows) const;
    /// Tables one after the other, each below its heading when there are several. JSON: one array.
    struct Table {
        std::string heading;
        std::vector<Json> rows;
    };
    void tables(const std::string& key, const std::vector<Table>& tables) const;
    /// One line for each member. JSON: the members beside the schema.
    void record(const Json& fields) const;
    /// Lines that only people read, and their data for programs.
    void text(const std::string& lines, const Json& fields) const;
    /// The steps that -n leaves undone, a line each; JSON: an array.
    void wouldDo(const std::vector<std::string>& steps) const;
    /// What a verb that prints no data has done: only for programs.
    void result(const Json& fields) const;
    /// A remark on standard error: nothing with -q or for JSON.
    void note(const std::string& line) const;
    /// The failure on standard error; with JSON as an object.
    void failure(const Failure& failure) const;

    /// A whole document as JSON, as record() prints it.
    [[nodiscard]] static std::string document(const Json& fields);
    /// Standard output as an image or other bytes: refuses a terminal.
    static void requireNoTerminal();
    static void finish();

    [[nodiscard]] const Options& options() const { return options_; }
    /// The text in bold or in red, where standard output, or error, shows colours.
    [[nodiscard]] std::string bold(const std::string& text) const;
    [[nodiscard]] std::string red(const std::string& text) const;

private:
    [[nodiscard]] bool hasColor(int descriptor) const;

    const Options& options_;
};

} // namespace tool

#endif
