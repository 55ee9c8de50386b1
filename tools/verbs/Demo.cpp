#include "tools/verbs/Demo.h"

#include "image/ImageFile.h"
#include "image/LocalFile.h"
#include "image/Picture.h"
#include "lantrix/LantrixClientAPI.h"
#include "tools/report/Failure.h"
#include "tools/report/LibraryError.h"
#include "tools/session/Interrupt.h"
#include "tools/session/LocalServer.h"
#include "tools/transfer/FilePattern.h"
#include "tools/transfer/Progress.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <optional>

namespace tool {

namespace {

void say(const std::string& text) {
    std::printf("%s\n", text.c_str());
    std::fflush(stdout);
}

constexpr const char* rendered = "bars.####.png";
constexpr const char* returned = "back.####.png";

class Demo {
public:
    Demo(const Options& options, const DemoArguments& arguments)
        : options_(options), arguments_(arguments), server_(local_.address().c_str()) {
        if (arguments_.files.empty())
            scratch_.emplace();
        else
            makeFolder(arguments_.files);
        folder_ = scratch_ ? scratch_->path() : arguments_.files;
    }

    void run() {
        say("A development server runs on " + local_.address() + ", with an empty directory.");
        introduce();
        buildTree();
        useMetadata();
        resolvePath();
        renderFrames();
        allocateFrames();
        writeFrames();
        compareFrames();
        readAhead();
        linkFiles();
        failOnce();
        destroyTree();
        say("Done: every byte came back as it was sent.");
    }

private:
    // Every operation of the library returns whether it succeeded.
    void require(bool succeeded, const std::string& what) const {
        if (wasInterrupted())
            throw Failure(Status::Interrupted, "interrupted");
        if (!succeeded) {
            throw Failure(statusOfLibraryError(server_.lastError()),
                          "can't " + what + ": " + server_.lastError());
        }
    }
    static void expect(bool isTrue, const std::string& what) {
        if (!isTrue)
            throw Failure(Status::Differs, what);
    }

    static void makeFolder(const std::string& path);
    void introduce();
    void buildTree();
    void printTree(const LantrixNodeHandle& node, const std::string& indent) const;
    void useMetadata();
    void resolvePath();
    void renderFrames();
    void allocateFrames();
    void writeFrames();
    void compareFrames();
    void readAhead();
    void linkFiles();
    void failOnce();
    void destroyTree();

    [[nodiscard]] image::Bytes readFrame(LantrixNodeHandle& clip, int index) const;
    [[nodiscard]] std::string file(const char* name, int index) const {
        return FilePattern(folder_ + "/" + name).file(index);
    }

    const Options& options_;
    const DemoArguments& arguments_;
    const LocalServer local_;
    std::optional<TemporaryFolder> scratch_; // none: the files stay in the folder that was named
    std::string folder_;
    LantrixServerHandle server_;
    LantrixNodeHandle library_;
    LantrixNodeHandle clip_;
    LantrixClipFormat format_;
    std::vector<image::Bytes> frames_;
};

void Demo::makeFolder(const std::string& path) {
    std::error_code error;
    std::filesystem::create_directories(path, error);
    if (error)
        throw fileFailure("can't make", path, error.value());
}

void Demo::introduce() {
    LantrixStr vendor;
    LantrixStr product;
    LantrixStr storage;
    int major = 0;
    int minor = 0;
    require(server_.getVendor(vendor), "ask the vendor");
    require(server_.getProduct(product), "ask the product");
    require(server_.getVersion(major, minor), "ask the version");
    say(std::string("It is ") + product.c_str() + " " + std::to_string(major) + "." +
        std::to_string(minor) + " of " + vendor.c_str() + ".");
    require(server_.getProtocolVersion(major, minor), "ask the protocol version");
    require(server_.getStorageId(storage), "ask the storage id");
    say("It speaks protocol " + std::to_string(major) + "." + std::to_string(minor) +
        ", and its storage is " + storage.c_str() + ".");
}

void Demo::buildTree() {
    const image::PixelLayout layout{image::SampleKind::Integer8, 3};
    format_ = image::clipFormat(layout, arguments_.width, arguments_.height);
    LantrixNodeHandle root;
    LantrixNodeHandle reel;
    require(server_.getRootNode(root), "find the root");
    require(root.createNode("Library", "library", library_), "create the library");
    require(library_.createNode("Reel", "reel", reel), "create the reel");
    require(reel.createClipNode("bars", format_, "clip", clip_), "create the clip");
    say("Created a library, a reel and a clip of " + image::describeFormat(format_) + ":");
    LantrixNodeHandle top(server_, root.getNodeId());
    printTree(top, "  ");
}

void Demo::printTree(const LantrixNodeHandle& node, const std::string& indent) const {
    LantrixStr name;
    LantrixStr type;
    int count = 0;
    require(node.getDisplayName(name), "ask a name");
    require(node.getNodeTypeStr(type), "ask a kind");
    require(node.getNumChildren(count), "list children");
    say(indent + (name.length() == 0 ? "/" : name.c_str()) + "  (" + type.c_str() + ")");
    for (int i = 0; i < count; ++i) {
        LantrixNodeHandle child;
        require(node.getChild(i, child), "list children");
        printTree(child, indent + "  ");
    }
}

void Demo::useMetadata() {
    const LantrixStr note("take 2, \"the good one\"\tkeep\nit");
    LantrixStr back;
    require(clip_.setMetaData("note", note), "set metadata");
    require(clip_.getMetaData("note", "*", 1, back), "get metadata");
    expect(back == note, "the metadata came back differently");
    say("Set a metadata stream with quotes, a tab and a line feed, and got it back.");
}

void Demo::resolvePath() {
    LantrixNodeHandle found;
    require(LantrixResolveDisplayPath(server_, "/Library/Reel/bars", found), "resolve a path");
    expect(LantrixStr(found.getNodeId().id()) == LantrixStr(clip_.getNodeId().id()),
           "the path led to another node");
    say("The display path /Library/Reel/bars leads to the node " +
        std::string(found.getNodeId().id()) + ".");
}

void Demo::renderFrames() {
    Progress progress(options_, "render", static_cast<std::size_t>(arguments_.frames));
    for (int i = 0; i < arguments_.frames; ++i) {
        const image::Picture picture = image::colourBars(arguments_.width, arguments_.height, i);
        image::writeImage(picture.image(), file(rendered, i));
        // What is sent is what the file holds, not what was drawn.
        frames_.push_back(
            frameOfImage(image::readImage(file(rendered, i)), image::layoutOfClip(format_)));
        progress.advance(frames_.back().size());
    }
    say("Rendered colour bars with a running number into PNG files and read them: " +
        progress.summary() + ".");
}

void Demo::allocateFrames() {
    require(clip_.setNumFrames(arguments_.frames), "allocate frames");
    LantrixStr id;
    LantrixStr path;
    require(clip_.getFrameId(0, id), "ask a frame's id");
    require(clip_.getFrameIdPath(0, path), "ask a frame's path");
    say("Allocated " + std::to_string(arguments_.frames) + " frames; the first is " + id.c_str() +
        ", kept in " + path.c_str() + ".");
}

void Demo::writeFrames() {
    Progress progress(options_, "write", frames_.size());
    for (std::size_t i = 0; i < frames_.size(); ++i) {
        require(clip_.writeFrame(static_cast<int>(i), frames_[i].data(),
                                 static_cast<int>(frames_[i].size())),
                "write a frame");
        progress.advance(frames_[i].size());
    }
    say("Wrote " + progress.summary() + ".");
}

image::Bytes Demo::readFrame(LantrixNodeHandle& clip, int index) const {
    image::Bytes frame(static_cast<std::size_t>(format_.frameBufferSize()));
    require(clip.readFrame(index, frame.data(), format_.frameBufferSize()), "read a frame");
    return frame;
}

// One by one from the last, which announces nothing that is read next.
void Demo::compareFrames() {
    Progress progress(options_, "compare", frames_.size());
    for (int i = arguments_.frames - 1; i >= 0; --i) {
        const image::Bytes frame = readFrame(clip_, i);
        expect(frame == frames_[static_cast<std::size_t>(i)],
               "frame " + std::to_string(i) + " came back differently");
        image::writeImage(image::imageOfFrame(frame, format_), file(returned, i));
        expect(image::readImage(file(returned, i)).pixels ==
                   image::readImage(file(rendered, i)).pixels,
               "the image of frame " + std::to_string(i) + " differs");
        progress.advance(frame.size());
    }
    say("Read each frame back: all bytes are equal, and so is each pixel of the PNG files "
        "written from them.");
}

void Demo::readAhead() {
    image::Bytes frame(static_cast<std::size_t>(format_.frameBufferSize()));
    Progress progress(options_, "read", frames_.size());
    for (std::size_t i = 0; i < frames_.size(); ++i) {
        require(clip_.readFrame(static_cast<int>(i), frame.data(), format_.frameBufferSize()),
                "read a frame");
        expect(frame == frames_[i], "frame " + std::to_string(i) + " came back differently");
        progress.advance(frame.size());
    }
    say("Read in order, each frame announcing the next: " + progress.summary() + ".");
}

void Demo::linkFiles() {
    std::array<LantrixStr, 2> paths;
    for (std::size_t i = 0; i < paths.size(); ++i) {
        const std::string name = file("plate.####.raw", static_cast<int>(i));
        image::AsideFile aside(name);
        aside.write({frames_[i].data(), frames_[i].size()});
        aside.commit();
        paths[i] = std::filesystem::absolute(name).c_str();
    }
    LantrixNodeHandle reel;
    LantrixNodeHandle linked;
    require(LantrixResolveDisplayPath(server_, "/Library/Reel", reel), "find the reel");
    require(reel.createClipNode("linked", format_, "clip", linked), "create a clip");
    require(linked.setNumFrames(0), "set the clip's format");
    require(linked.linkToFrames(paths.data(), static_cast<int>(paths.size())), "link a clip");
    for (std::size_t i = 0; i < paths.size(); ++i)
        expect(readFrame(linked, static_cast<int>(i)) == frames_[i], "a linked frame differs");
    say("Linked a second clip to two existing files and read its frames.");
}

void Demo::failOnce() {
    image::Bytes frame(static_cast<std::size_t>(format_.frameBufferSize()));
    expect(!clip_.readFrame(arguments_.frames, frame.data(), format_.frameBufferSize()),
           "a frame beyond the last was read");
    say(std::string("Reading a frame beyond the last fails, with the last error: ") +
        clip_.lastError());
}

void Demo::destroyTree() {
    require(library_.destroyNode(), "destroy the library");
    LantrixNodeHandle root;
    int count = 0;
    require(server_.getRootNode(root), "find the root");
    require(root.getNumChildren(count), "list the root");
    expect(count == 0, "the library is still there");
    say("Destroyed the library with all below it.");
}

} // namespace

void runDemo(const Options& options, const DemoArguments& arguments) {
    Demo(options, arguments).run();
}

} // namespace tool
