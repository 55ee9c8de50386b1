// A verb is added to the command line in one call: what its help says, what it does, and its
// options. It runs when the command line has been parsed, writes its data to the output and throws
// a Failure when it can't do what was asked.
// The context outlives the application that the verbs are added to.
#ifndef TOOLS_VERBS_ADDVERB_H
#define TOOLS_VERBS_ADDVERB_H

#include "tools/verbs/Context.h"

#include <CLI/App.hpp>

#include <functional>
#include <memory>
#include <string>

namespace tool {

struct VerbText {
    std::string name;
    std::string help;
    std::string example;   ///< Shown below the help.
    bool isHidden = false; ///< From the list of verbs.
};

/// \p addOptions says where the command line puts its words; \p run gets them.
template <class Arguments>
void addVerb(CLI::App& app, Context& context, const VerbText& text,
             std::function<void(Context& context, const Arguments& arguments)> run,
             const std::function<void(CLI::App& verb, Arguments& arguments)>& addOptions) {
    CLI::App* verb = app.add_subcommand(text.name, text.help);
    if (text.isHidden)
        verb->group("");
    if (!context.mayUse(text.name))
        return;
    verb->footer("Example:\n  " + text.example);
    const auto arguments = std::make_shared<Arguments>(); // lives as long as the verb
    addOptions(*verb, *arguments);
    for (CLI::Option* option : verb->get_options())
        if (option->get_default_str() == "[]") // of a list, that it is empty says nothing
            option->default_str("");
    verb->callback([arguments, &context, run = std::move(run)] { run(context, *arguments); });
}

} // namespace tool

#endif
