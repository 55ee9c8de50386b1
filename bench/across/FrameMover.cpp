#include "bench/across/FrameMover.h"

#include "bench/support/Protocols.h"

#include <cstring>
#include <new>
#include <stdexcept>
#include <utility>

namespace bench {

namespace {

class LibraryFrames : public FrameMover {
public:
    LibraryFrames(const std::string& host, FrameIds ids, std::string name)
        : server_(host.c_str()), ids_(std::move(ids)), name_(std::move(name)) {}

    std::string name(bool reads) const override { return name_ + (reads ? " read" : " write"); }

    void read(std::size_t size, int count) override {
        const std::string id = ids_(size);
        for (int i = 0; i < count; ++i)
            require(server_.readFrame(id.c_str(), frameBuffer(), static_cast<int>(size)));
    }

    void write(std::size_t size, int count) override {
        const std::string id = ids_(size);
        for (int i = 0; i < count; ++i)
            require(server_.writeFrame(id.c_str(), frameBuffer(), static_cast<int>(size)));
    }

private:
    void require(bool succeeded) const {
        if (!succeeded)
            throw std::runtime_error(server_.lastError());
    }

    LantrixServerHandle server_;
    FrameIds ids_;
    std::string name_;
};

} // namespace

char* frameBuffer() {
    // At a page: what a socket receives is copied to most other places more slowly.
    static char* const buffer = [] {
        void* const made = ::operator new (largestFrame, std::align_val_t{4096});
        return static_cast<char*>(std::memset(made, 'b', largestFrame));
    }();
    return buffer;
}

Work FrameMover::moving(bool reads, std::size_t size) {
    return [this, reads, size](int count) {
        if (reads)
            read(size, count);
        else
            write(size, count);
    };
}

std::unique_ptr<FrameMover> libraryFrames(const std::string& host, const FrameIds& ids,
                                          const std::string& name) {
    return std::make_unique<LibraryFrames>(host, ids, name);
}

void readByIndex(LantrixNodeHandle& clip, std::size_t size, int count) {
    for (int i = 0; i < count; ++i)
        if (!clip.readFrame(i % framesInClip, frameBuffer(), static_cast<int>(size)))
            throw std::runtime_error("A frame of the peer's clip could not be read");
}

} // namespace bench
