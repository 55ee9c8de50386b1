// meta ls, meta get, meta set: metadata streams.
#include "image/LocalFile.h"
#include "tools/report/Json.h"
#include "tools/report/NearestName.h"
#include "tools/report/PrintableText.h"
#include "tools/session/NodeSearch.h"
#include "tools/verbs/AddVerb.h"
#include "tools/verbs/Verbs.h"

#include <iostream>
#include <iterator>
#include <optional>

#include <unistd.h>

namespace tool {

namespace {

struct MetaArguments {
    std::string address;
    std::string stream;
    std::string filter = "*";
    int depth = 1;
    std::optional<std::string> text;
    std::string file;
    bool isEmpty = false;
    bool raw = false;
};

void checkWord(const std::string& word, const char* what) {
    if (word.empty() || word.find_first_of(" \t\n") != std::string::npos)
        throw Failure(Status::Usage, "'" + word + "' can't be sent as the " + what +
                                         ": it is empty or holds blanks");
}

void runList(Context& context, const MetaArguments& arguments) {
    const Address address = parseAddress(arguments.address, context.options.host);
    Session session(browsingOptions(context.options), address.host);
    std::vector<Json> rows;
    for (const std::string& name : session.streamNames(findNode(session, address)))
        rows.push_back({{"stream", name}});
    context.output.table("streams", rows);
}

// Tells a stream that is not there from other reasons to refuse.
[[noreturn]] void explainRefusal(Session& session, const LantrixNodeHandle& node,
                                 const std::string& stream, const Failure& failure) {
    const std::vector<std::string> names = session.streamNames(node);
    if (failure.status() != Status::Refused ||
        std::find(names.begin(), names.end(), stream) != names.end())
        throw failure;
    const std::string near = nearestName(stream, names);
    throw Failure(Status::FrameMissing, "there is no stream '" + stream + "' on " +
                                            session.endpoint() +
                                            (near.empty() ? "" : "; did you mean '" + near + "'?") +
                                            " (" + failure.what() + ")")
        .with("host", session.host())
        .with("missing", stream);
}

// A text has lines, and a terminal obeys all else; whoever reads a pipe wants the bytes.
std::string shownText(const std::string& text) {
    return ::isatty(STDOUT_FILENO) != 0 ? printableText(text, "\n\t") : text;
}

void runGet(Context& context, const MetaArguments& arguments) {
    checkWord(arguments.stream, "stream");
    checkWord(arguments.filter, "filter");
    const Address address = parseAddress(arguments.address, context.options.host);
    Session session(browsingOptions(context.options), address.host);
    const LantrixNodeHandle node = findNode(session, address);
    LantrixStr text;
    try {
        session.call("read '" + arguments.stream + "' of '" + address.path() + "'", [&] {
            return node.getMetaData(arguments.stream.c_str(), arguments.filter.c_str(),
                                    arguments.depth, text);
        });
    } catch (const Failure& failure) {
        explainRefusal(session, node, arguments.stream, failure);
    }
    context.output.text(
        arguments.raw ? text.c_str() : shownText(text.c_str()) + "\n",
        {{"path", address.path()}, {"stream", arguments.stream}, {"text", text.c_str()}});
}

std::string textToSet(const MetaArguments& arguments) {
    const int sources =
        (arguments.text ? 1 : 0) + (arguments.file.empty() ? 0 : 1) + (arguments.isEmpty ? 1 : 0);
    if (sources != 1)
        throw Failure(Status::Usage, "give the text, or --file FILE, or --empty for a text of "
                                     "no bytes: one of these");
    if (arguments.file.empty())
        return arguments.text.value_or("");
    constexpr std::size_t mostBytes = std::size_t{16} << 20;
    if (arguments.file != "-") {
        const image::Bytes bytes = image::readFile(arguments.file, mostBytes);
        return {bytes.begin(), bytes.end()};
    }
    return {std::istreambuf_iterator<char>(std::cin), {}};
}

void runSet(Context& context, const MetaArguments& arguments) {
    checkWord(arguments.stream, "stream");
    const Address address = parseAddress(arguments.address, context.options.host);
    const std::string text = textToSet(arguments);
    if (const std::size_t nul = text.find('\0'); nul != std::string::npos)
        throw Failure(Status::Usage, "the text can't be sent: byte " + std::to_string(nul) +
                                         " is a NUL, which ends a text");
    const std::string what = "'" + arguments.stream + "' of " + address.text() + " to " +
                             std::to_string(text.size()) + " bytes";
    Session session(context.options, address.host);
    const LantrixNodeHandle node = findNode(session, address);
    if (context.options.dryRun) {
        context.output.wouldDo({"set " + what});
        return;
    }
    static_cast<void>(
        session.protocol()); // or setting would take a broken connection for an old one
    session.call("set '" + arguments.stream + "' of '" + address.path() + "'", [&] {
        return node.setMetaData(arguments.stream.c_str(), LantrixStr(text.c_str()));
    });
    context.output.note("set " + what);
    context.output.result({{"path", address.path()}, {"stream", arguments.stream}});
}

} // namespace

void addMetadataVerbs(CLI::App& app, Context& context) {
    CLI::App* meta = app.add_subcommand("meta", "List, read and write metadata streams");
    meta->require_subcommand(1);
    meta->fallthrough();

    addVerb<MetaArguments>(
        *meta, context,
        {"ls", "List the metadata streams of a node", "lantrix meta ls /Library/Reel/plate"},
        runList, [](CLI::App& verb, MetaArguments& arguments) {
            verb.add_option("ADDRESS", arguments.address, "The node")->required();
        });

    addVerb<MetaArguments>(
        *meta, context,
        {"get", "Print a metadata stream", "lantrix meta get /Library/Reel/plate xml"}, runGet,
        [](CLI::App& verb, MetaArguments& arguments) {
            verb.add_option("ADDRESS", arguments.address, "The node")->required();
            verb.add_option("STREAM", arguments.stream, "The stream")->required();
            verb.add_option("--filter", arguments.filter, "Passed to the server; one word");
            verb.add_option("--depth", arguments.depth, "Passed to the server");
            verb.add_flag("--raw", arguments.raw, "The bytes as they are, without a line feed");
        });

    addVerb<MetaArguments>(
        *meta, context,
        {"set", "Replace a metadata stream",
         "lantrix meta set /Library/Reel/plate note 'second take'"},
        runSet, [](CLI::App& verb, MetaArguments& arguments) {
            verb.add_option("ADDRESS", arguments.address, "The node")->required();
            verb.add_option("STREAM", arguments.stream, "The stream")->required();
            verb.add_option("TEXT", arguments.text, "The text");
            verb.add_option("--file", arguments.file,
                            "Read the text from a file; - is standard input");
            verb.add_flag("--empty", arguments.isEmpty, "Make the stream's text empty");
        });
}

} // namespace tool
