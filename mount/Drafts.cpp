#include "mount/Drafts.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace mounted {

namespace {

timespec now() {
    timespec time{};
    ::clock_gettime(CLOCK_REALTIME, &time);
    return time;
}

} // namespace

// Numbers behind those of all frames.
Drafts::Pointer Drafts::make(std::uint32_t folder, const std::string& name,
                             std::optional<int> index) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (byName_.count({folder, name}) != 0)
        return nullptr;
    FileNumber number{folder, 0};
    do {
        number.file = FileNumber::firstDraft + last_++ % FileNumber::mostDrafts;
    } while (byNumber_.count(number.whole()) != 0);
    Pointer draft = std::make_shared<Draft>(number, name, index);
    draft->changed = now();
    byNumber_.emplace(number.whole(), draft);
    byName_.emplace(Key{folder, name}, draft);
    return draft;
}

Drafts::Pointer Drafts::ofFrame(FileNumber number, const std::string& name) {
    const std::lock_guard<std::mutex> lock(mutex_);
    Pointer& draft = byNumber_[number.whole()];
    if (draft != nullptr) {
        const std::lock_guard<std::mutex> itsLock(draft->mutex);
        if (!draft->isRefused())
            return draft;
        giveUp(*draft);
    }
    draft = std::make_shared<Draft>(number, name, number.frame());
    draft->changed = now();
    byName_[{number.folder, name}] = draft;
    return draft;
}

// Its bytes are not counted any more; they go with the last handle.
void Drafts::giveUp(Draft& draft) {
    used_ -= draft.bytes.size();
    draft.isKept = false;
}

Drafts::Pointer Drafts::shown(const Pointer& draft) {
    const std::lock_guard<std::mutex> lock(draft->mutex);
    return draft->isShown() ? draft : nullptr;
}

Drafts::Pointer Drafts::find(FileNumber number) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = byNumber_.find(number.whole());
    return found != byNumber_.end() ? shown(found->second) : nullptr;
}

Drafts::Pointer Drafts::find(std::uint32_t folder, const std::string& name) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = byName_.find({folder, name});
    return found != byName_.end() ? shown(found->second) : nullptr;
}

std::vector<Drafts::Pointer> Drafts::in(std::uint32_t folder) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::vector<Pointer> found;
    for (auto it = byName_.lower_bound({folder, ""});
         it != byName_.end() && it->first.first == folder; ++it)
        found.push_back(it->second);
    return found;
}

std::vector<Drafts::Pointer> Drafts::all() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::vector<Pointer> found;
    for (const auto& [number, draft] : byNumber_)
        found.push_back(draft);
    return found;
}

void Drafts::rename(const Pointer& draft, const std::string& name) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const std::lock_guard<std::mutex> itsLock(draft->mutex);
    byName_.erase({draft->number.folder, draft->name});
    draft->name = name;
    byName_[{draft->number.folder, name}] = draft;
}

void Drafts::remove(const Pointer& draft) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const std::lock_guard<std::mutex> itsLock(draft->mutex);
    const auto found = byNumber_.find(draft->number.whole());
    if (found == byNumber_.end() || found->second != draft)
        return;
    byNumber_.erase(found);
    byName_.erase({draft->number.folder, draft->name});
    giveUp(*draft);
}

bool Drafts::takeRoom(std::uint64_t before, std::uint64_t size) {
    if (size > before && used_.fetch_add(size - before) + (size - before) > memory_) {
        used_ -= size - before;
        return false;
    }
    used_ -= before > size ? before - size : 0;
    return true;
}

int Drafts::resizeLocked(Draft& draft, std::uint64_t size) {
    if (!draft.isKept)
        return ESTALE;
    if (size > memory_)
        return EFBIG;
    if (!takeRoom(draft.bytes.size(), size))
        return ENOSPC;
    draft.bytes.resize(static_cast<std::size_t>(size));
    draft.changed = now();
    return 0;
}

int Drafts::write(Draft& draft, const char* bytes, std::size_t size, std::uint64_t offset) {
    const std::lock_guard<std::mutex> lock(draft.mutex);
    const std::uint64_t end = std::max<std::uint64_t>(offset + size, draft.bytes.size());
    const int error = resizeLocked(draft, end);
    if (error != 0)
        return error;
    std::copy_n(bytes, size, draft.bytes.begin() + static_cast<std::ptrdiff_t>(offset));
    ++draft.changes;
    return 0;
}

int Drafts::resize(Draft& draft, std::uint64_t size) {
    const std::lock_guard<std::mutex> lock(draft.mutex);
    const int error = resizeLocked(draft, size);
    draft.changes += error == 0 ? 1 : 0;
    return error;
}

int Drafts::fill(Draft& draft, const char* bytes, std::size_t size) {
    const std::lock_guard<std::mutex> lock(draft.mutex);
    if (draft.isUnstored())
        return 0; // somebody else is writing it
    const int error = resizeLocked(draft, size);
    if (error == 0)
        std::copy_n(bytes, size, draft.bytes.begin());
    return error;
}

void Drafts::setStored(Draft& draft, std::uint64_t changes, FileNumber frame) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const std::lock_guard<std::mutex> itsLock(draft.mutex);
    draft.stored = changes;
    times_[frame.whole()] = draft.changed;
}

timespec Drafts::time(FileNumber frame, timespec otherwise) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = times_.find(frame.whole());
    return found != times_.end() ? found->second : otherwise;
}

void Drafts::setTime(FileNumber frame, timespec time) {
    const std::lock_guard<std::mutex> lock(mutex_);
    times_[frame.whole()] = time;
}

} // namespace mounted
