// mount: a server's tree as a folder.
#include "tools/verbs/AddVerb.h"
#include "tools/verbs/FrameOptions.h"
#include "tools/verbs/HelperProgram.h"
#include "tools/verbs/Verbs.h"

namespace tool {

void addMountVerb(CLI::App& app, Context& context, const HelperVerbs& own) {
    addVerb<MountVerbArguments>(
        app, context,
        {"mount", "Show a tree as a folder, in which clips are folders of image files",
         "lantrix mount farm:/Library /mnt/farm"},
        own.mount, [&](CLI::App& verb, MountVerbArguments& mount) {
            verb.add_option("ADDRESS", mount.address, "The node that becomes the folder")
                ->required();
            verb.add_option("FOLDER", mount.folder, "The folder, which is there")->required();
            verb.add_option("--as", mount.kind,
                            "The kind of the image files of clips that it can hold exactly; "
                            "what suits each clip unless given")
                ->check(CLI::IsMember({"tif", "dpx", "exr", "raw"}));
            addStartNumberOption(verb, mount.startNumber);
            verb.add_option("--cache", mount.cacheSeconds,
                            "Seconds after which changes by others are seen at the latest")
                ->check(CLI::Range(0.0, 86400.0, "0..86400"));
            verb.add_option("--memory", mount.memoryMiB, "MiB of frames that are kept in memory")
                ->check(CLI::Range(1, 1 << 20, "1..1048576"));
            verb.add_flag("--write", mount.isWritable,
                          "Let programs replace and append frames, make folders, remove empty "
                          "ones and set metadata");
            verb.add_flag("--allow-other", mount.allowOthers,
                          "Other users of this machine may look into the folder, too");
            auto* background = verb.add_flag("--daemon", mount.background,
                                             "Go to the background once the folder is mounted");
            verb.add_flag("--foreground", "Stay until the end, as it is unless --daemon is given")
                ->excludes(background);
            if (!own.mount)
                leaveToHelper(verb, context, {"lantrix-mount", "libfuse 3"});
        });
}

} // namespace tool
