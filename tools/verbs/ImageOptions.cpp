#include "tools/verbs/ImageOptions.h"

namespace tool {

void addReadOptions(CLI::App& verb, image::ReadOptions& reading) {
    verb.add_option("--part", reading.part,
                    "Which part of an .exr or .tif file: its name, or number from 0");
    verb.add_flag("--fit", reading.fit,
                  "Cut .exr images to their display window, black where they have nothing");
}

} // namespace tool
