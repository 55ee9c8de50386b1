// The verb web, done: serves the page until Ctrl-C.
// Called once, by the main thread.
#ifndef TOOLS_WEB_SERVEWEB_H
#define TOOLS_WEB_SERVEWEB_H

#include "tools/verbs/HelperVerbs.h"

namespace tool {

/// Returns after an interrupt; throws Failure when the page can't be served.
void serveWeb(Context& context, const WebVerbArguments& arguments);

} // namespace tool

#endif
