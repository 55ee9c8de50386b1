// What the page asks about frames: pictures for looking, exact samples, and how two frames differ.
// Borrows the media server. Any thread. Failures are thrown as WebFailure and image::Error.
#ifndef TOOLS_WEB_FRAMEQUESTIONS_H
#define TOOLS_WEB_FRAMEQUESTIONS_H

#include "image/ScreenView.h"
#include "tools/report/Json.h"
#include "tools/web/Media.h"
#include "tools/web/WebArguments.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

namespace tool {

class FrameQuestions {
public:
    explicit FrameQuestions(Media& media) : media_(media) {}

    /// A JPEG file.
    [[nodiscard]] HttpReply picture(const WebArguments& arguments, const Peer& peer);
    [[nodiscard]] Json samples(const WebArguments& arguments, const Peer& peer);
    /// A JPEG file, and the numbers in its headers.
    [[nodiscard]] HttpReply difference(const WebArguments& arguments, const Peer& peer);

private:
    using Table = std::shared_ptr<const image::ScreenTable>;

    [[nodiscard]] Table table(image::SampleKind kind, double stops);

    Media& media_;
    std::mutex mutex_; // guards the tables
    std::map<std::pair<image::SampleKind, double>, Table> tables_;
};

} // namespace tool

#endif
