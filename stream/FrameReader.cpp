#include "stream/FrameReader.h"

#include "stream/FrameReaderCore.h"

#include <utility>

namespace lantrix {

FrameReader::FrameReader(Pool& pool, const LantrixNodeHandle& clip, std::vector<int> indices,
                         const FrameWindow& window)
    : core_(std::make_shared<FrameReaderCore>(pool, clip, std::move(indices), window)) {
    core_->start();
}

FrameReader::~FrameReader() {
    core_->close();
}

std::optional<Frame> FrameReader::next() {
    return core_->next();
}

bool FrameReader::isReady() const {
    return core_->isReady();
}

bool FrameReader::request(int index) {
    return core_->request(index);
}

} // namespace lantrix
