#include "tools/transfer/FrameStream.h"

#include <fcntl.h>
#include <unistd.h>

namespace tool {

namespace {

std::optional<image::Descriptor> openUnlessInput(const std::string& file) {
    return file == "-" ? std::nullopt
                       : std::optional<image::Descriptor>(std::in_place, file, O_RDONLY);
}

} // namespace

FrameStream::FrameStream(const std::string& file)
    : name_(file == "-" ? "standard input" : file), file_(openUnlessInput(file)),
      descriptor_(file_ ? file_->number() : STDIN_FILENO), stream_(descriptor_, name_) {}

const image::Image& FrameStream::firstImage() {
    if (!first_ && !stream_.next(first_.emplace())) {
        throw Failure(Status::LocalFile, "there is no image in '" + name_ + "'")
            .with("file", name_);
    }
    return *first_;
}

bool FrameStream::next(const FileFrames& files, Bytes& frame) {
    if (!files.layout()) {
        frame.resize(files.size());
        return stream_.next(frame);
    }
    image::Image image;
    if (first_) {
        image = std::move(*first_);
        first_.reset();
    } else if (!stream_.next(image)) {
        return false;
    }
    ++count_;
    frame = files.frameOf(std::move(image), name_ + " (image " + std::to_string(count_) + ")");
    return true;
}

void FrameStream::end() const {
    const int nothing = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (nothing >= 0) {
        ::dup2(nothing, descriptor_); // a read that is begun again finds its end
        ::close(nothing);
    }
}

} // namespace tool
