// web: a page for looking at a server's tree and clips.
#include "tools/verbs/AddVerb.h"
#include "tools/verbs/HelperProgram.h"
#include "tools/verbs/Verbs.h"

namespace tool {

void addWebVerb(CLI::App& app, Context& context, const HelperVerbs& own) {
    addVerb<WebVerbArguments>(
        app, context,
        {"web", "Serve a page on which a tree and its clips can be looked at",
         "lantrix web farm:/Library/Reel --open"},
        own.web, [&](CLI::App& verb, WebVerbArguments& web) {
            verb.add_option("ADDRESS", web.address, "The node that the page shows first");
            verb.add_option("--listen", web.listen,
                            "The numeric address to listen on, and behind a \":\" the port, which "
                            "the system chooses unless given");
            verb.add_flag("--allow-remote", web.allowRemote,
                          "For an address that others reach: nothing is encrypted, and whoever has "
                          "the page's address may look at everything");
            verb.add_flag("--open", web.open, "Show the page in the browser");
            verb.add_option("--memory", web.memoryMiB, "MiB of frames that are kept in memory")
                ->check(CLI::Range(1, 1 << 20, "1..1048576"));
            if (!own.web)
                leaveToHelper(verb, context, {"lantrix-web", "cpp-httplib"});
        });
}

} // namespace tool
