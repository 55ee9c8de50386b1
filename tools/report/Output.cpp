#include "tools/report/Output.h"

#include "tools/report/Json.h"
#include "tools/report/PrintableText.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace tool {

std::string dumpJson(const Json& json, int indent) {
    return json.dump(indent, ' ', false, Json::error_handler_t::replace);
}

namespace {

void print(const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
}

Json withSchema(const Json& fields) {
    Json document = {{"schema", 1}};
    document.update(fields);
    return document;
}

void printJson(const Json& fields) {
    print(Output::document(fields));
}

std::string cellText(const Json& value) {
    if (value.is_null())
        return "-";
    if (value.is_boolean())
        return value.get<bool>() ? "yes" : "no";
    return value.is_string() ? value.get<std::string>() : dumpJson(value);
}

// Characters, not bytes: what continues a UTF-8 sequence takes no room.
std::size_t shownWidth(const std::string& text) {
    return static_cast<std::size_t>(std::count_if(
        text.begin(), text.end(), [](unsigned char c) { return (c & 0xC0U) != 0x80; }));
}

using Line = std::vector<std::string>;

std::vector<Line> linesOf(const std::vector<Json>& rows) {
    std::vector<Line> lines;
    for (const Json& row : rows) {
        Line line;
        for (const Json& value : row)
            line.push_back(printableText(cellText(value)));
        lines.push_back(line);
    }
    return lines;
}

void printTabbed(const std::vector<Line>& lines) {
    for (const Line& line : lines) {
        std::string text;
        for (const std::string& cell : line)
            text += (&cell == &line.front() ? "" : "\t") + cell;
        print(text + "\n");
    }
}

std::vector<std::size_t> columnWidths(const std::vector<Line>& lines) {
    std::vector<std::size_t> widths(lines.empty() ? 0 : lines.front().size());
    for (const Line& line : lines)
        for (std::size_t column = 0; column < line.size(); ++column)
            widths[column] = std::max(widths[column], shownWidth(line[column]));
    return widths;
}

std::string aligned(const Line& line, const std::vector<std::size_t>& widths) {
    std::string text;
    for (std::size_t column = 0; column < line.size(); ++column) {
        text += line[column];
        if (column + 1 < line.size())
            text.append(widths[column] - shownWidth(line[column]) + 2, ' ');
    }
    return text;
}

} // namespace

std::string Output::document(const Json& fields) {
    return dumpJson(withSchema(fields), 2) + "\n";
}

void Output::table(const std::string& key, const std::vector<Json>& rows) const {
    if (options_.json) {
        printJson({{key, rows}});
        return;
    }
    std::vector<Line> lines = linesOf(rows);
    if (::isatty(STDOUT_FILENO) == 0 || rows.empty() || rows.front().size() < 2) {
        printTabbed(lines);
        return;
    }
    Line heading;
    for (const auto& column : rows.front().items())
        heading.push_back(column.key());
    lines.insert(lines.begin(), heading);
    const std::vector<std::size_t> widths = columnWidths(lines);
    for (const Line& line : lines) {
        const std::string text = aligned(line, widths);
        print((&line == &lines.front() ? bold(text) : text) + "\n");
    }
}

void Output::tables(const std::string& key, const std::vector<Table>& tables) const {
    std::vector<Json> rows;
    for (const Table& one : tables) {
        rows.insert(rows.end(), one.rows.begin(), one.rows.end());
        if (options_.json)
            continue;
        if (tables.size() > 1)
            print((&one == &tables.front() ? "" : "\n") + printableText(one.heading) + ":\n");
        table(key, one.rows);
    }
    if (options_.json)
        table(key, rows);
}

void Output::record(const Json& fields) const {
    if (options_.json) {
        printJson(fields);
        return;
    }
    std::vector<Line> lines;
    for (const auto& field : fields.items())
        lines.push_back({field.key(), printableText(cellText(field.value()))});
    if (::isatty(STDOUT_FILENO) == 0) {
        printTabbed(lines);
        return;
    }
    const std::vector<std::size_t> widths = columnWidths(lines);
    for (const Line& line : lines)
        print(aligned(line, widths) + "\n");
}

void Output::text(const std::string& lines, const Json& fields) const {
    options_.json ? printJson(fields) : print(lines);
}

void Output::wouldDo(const std::vector<std::string>& steps) const {
    std::string lines;
    for (const std::string& step : steps)
        lines += "would " + step + "\n";
    text(lines, {{"would", steps}});
}

void Output::result(const Json& fields) const {
    if (options_.json)
        printJson(fields);
}

void Output::note(const std::string& line) const {
    if (!options_.quiet && !options_.json)
        std::fprintf(stderr, "%s\n", printableText(line).c_str());
}

void Output::failure(const Failure& failure) const {
    if (options_.json) {
        Json error = {{"status", static_cast<int>(failure.status())}, {"message", failure.what()}};
        for (const auto& [key, value] : failure.details())
            std::visit([&, &name = key](const auto& detail) { error[name] = detail; }, value);
        std::fprintf(stderr, "%s\n", dumpJson(withSchema({{"error", error}})).c_str());
        return;
    }
    std::fprintf(stderr, "%s %s\n", red("lantrix:").c_str(), printableText(failure.what()).c_str());
}

void Output::requireNoTerminal() {
    if (::isatty(STDOUT_FILENO) != 0)
        throw Failure(Status::Usage, "standard output is a terminal: send the frames through a "
                                     "pipe or into a file");
}

void Output::finish() {
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
        throw fileFailure("can't write to", "standard output", errno);
}

bool Output::hasColor(int descriptor) const {
    if (options_.color != "auto")
        return options_.color == "always";
    const char* noColor = std::getenv("NO_COLOR");
    return (noColor == nullptr || *noColor == '\0') && ::isatty(descriptor) != 0;
}

std::string Output::bold(const std::string& text) const {
    return hasColor(STDOUT_FILENO) ? "\x1b[1m" + text + "\x1b[0m" : text;
}

std::string Output::red(const std::string& text) const {
    return hasColor(STDERR_FILENO) ? "\x1b[31m" + text + "\x1b[0m" : text;
}

} // namespace tool
