#include "frames/FrameCache.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace frames {

namespace {

constexpr std::size_t mostRuns = 64;

// What the file takes, and its frame while it is being made.
std::uint64_t cost(const ClipFrames& clip) {
    const image::FrameFile& file = clip.file();
    return file.size() + (file.isPlain() ? 0 : file.frameSize());
}

} // namespace

lantrix::FrameBytes SpareRooms::take(std::size_t size) {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (!rooms_.empty() && size_ == size) {
            lantrix::FrameBytes room = std::move(rooms_.back());
            rooms_.pop_back();
            return room;
        }
    }
    return lantrix::allocateFrame(size);
}

void SpareRooms::give(lantrix::FrameBytes room, std::size_t size) noexcept {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (size_ != size)
        rooms_.clear();
    size_ = size;
    if (rooms_.size() < most_)
        rooms_.push_back(std::move(room));
}

void SpareRooms::clear() {
    const std::lock_guard<std::mutex> lock(mutex_);
    rooms_.clear();
}

std::uint64_t SpareRooms::bytes() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::uint64_t{size_} * rooms_.size();
}

FrameCache::FrameCache(lantrix::Pool& pool, std::uint64_t memory, std::uint64_t leftMemory)
    : memory_(memory), leftMemory_(leftMemory),
      spares_(std::make_shared<SpareRooms>(pool.connections())), pool_(pool), group_(pool) {}

std::uint64_t FrameCache::used() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return used_;
}

void FrameCache::remove(Entries::iterator entry) {
    if (entry->second.state == Entry::State::There) {
        setLeft(entry->second, false);
        used_ -= entry->second.file->size();
        byUse_.erase(entry->second.use);
    }
    entries_.erase(entry);
}

// Moves a frame that is there to the end of the order of those that were left, or of the others.
void FrameCache::setLeft(Entry& entry, bool isLeft) {
    std::list<FrameKey>& from = entry.isLeft ? left_ : byUse_;
    std::list<FrameKey>& to = isLeft ? left_ : byUse_;
    to.splice(to.end(), from, entry.use);
    const std::uint64_t size = entry.file->size();
    leftBytes_ += (isLeft ? size : 0) - (entry.isLeft ? size : 0);
    entry.isLeft = isLeft;
}

// The entry of a frame that can be used, or will be.
FrameCache::Entry& FrameCache::wanted(const std::shared_ptr<const ClipFrames>& clip, FrameKey key,
                                      Clock::time_point since) {
    const auto found = entries_.find(key);
    if (found != entries_.end() && found->second.state == Entry::State::There &&
        (found->second.read < since || found->second.file->size() != clip->file().size()))
        remove(found);
    Entry& entry = entries_[key];
    if (entry.state == Entry::State::Waiting)
        entry.clip = clip;
    return entry;
}

void FrameCache::get(const std::shared_ptr<const ClipFrames>& clip, FrameKey key,
                     Clock::time_point since, Got got) {
    File file;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        Entry& entry = wanted(clip, key, since);
        if (entry.state != Entry::State::There) {
            entry.waiters.push_back(std::move(got));
            if (entry.state == Entry::State::Waiting)
                demanded_.push_back(key);
            feed();
            return;
        }
        setLeft(entry, false);
        file = entry.file;
    }
    got({}, file);
}

void FrameCache::readAhead(const std::shared_ptr<const ClipFrames>& clip, FrameKey key,
                           Clock::time_point since) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const int length = continuesRun(key);
    if (length == 1)
        forgetPlans(key.clip);
    if (length == 1 && key.index != 0)
        return;
    const int last = std::min<int>(clip->count() - 1, key.index + window(*clip));
    for (FrameKey next = key; next.index < last;) {
        ++next.index;
        if (wanted(clip, next, since).state == Entry::State::Waiting &&
            std::find_if(ahead_.begin(), ahead_.end(), [&](FrameKey other) {
                return !(other < next) && !(next < other);
            }) == ahead_.end())
            ahead_.push_back(next);
    }
    feed();
}

void FrameCache::forgetPlans(std::uint32_t clip) {
    const auto isForgotten = [&](FrameKey key) {
        if (key.clip != clip)
            return false;
        const auto found = entries_.find(key);
        if (found != entries_.end() && found->second.state == Entry::State::Waiting &&
            found->second.waiters.empty())
            entries_.erase(found);
        return true;
    };
    ahead_.erase(std::remove_if(ahead_.begin(), ahead_.end(), isForgotten), ahead_.end());
}

// The number of frames that somebody has read in order up to this one, 1 for the first.
int FrameCache::continuesRun(FrameKey key) {
    const auto found = std::find_if(runs_.begin(), runs_.end(), [&](const Run& run) {
        return run.next.clip == key.clip && run.next.index == key.index;
    });
    if (found != runs_.end())
        runs_.splice(runs_.begin(), runs_, found);
    else
        runs_.push_front({key, 0, {}});
    if (runs_.size() > mostRuns)
        runs_.pop_back();
    ++runs_.front().next.index;
    runs_.front().last = Clock::now();
    return ++runs_.front().length;
}

// How far to read ahead: a frame for each connection, and half of the memory at most, shared by all
// who read in order now. More would take memory that is no longer in the processor's caches when
// the frame is shown.
int FrameCache::window(const ClipFrames& clip) const {
    const auto recent = Clock::now() - std::chrono::seconds(1);
    const auto readers = std::count_if(runs_.begin(), runs_.end(), [&](const Run& run) {
        return run.length > 1 && run.last > recent;
    });
    const std::uint64_t half = memory_ / 2 / std::max<std::uint64_t>(cost(clip), 1);
    const std::uint64_t frames = std::min<std::uint64_t>(half, pool_.connections());
    return static_cast<int>(frames /
                            static_cast<std::uint64_t>(std::max<std::ptrdiff_t>(readers, 1)));
}

void FrameCache::leave(FrameKey key) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = entries_.find(key);
    if (found != entries_.end() && found->second.state == Entry::State::There)
        setLeft(found->second, true);
}

void FrameCache::drop(FrameKey key) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = entries_.find(key);
    if (found == entries_.end())
        return;
    if (found->second.state == Entry::State::There)
        remove(found);
    else
        found->second.isStale = found->second.state == Entry::State::Reading;
}

// A piece of work for each frame, as many as there are connections; what it reads it finds out when
// it begins, so that what has become urgent in the meantime comes first.
void FrameCache::feed() {
    while (!isFull_ && working_ < pool_.connections() &&
           working_ - reading_ < demanded_.size() + ahead_.size()) {
        const auto job = std::make_shared<Job>();
        group_.run([this, job](lantrix::Connection& connection) { return work(connection, *job); },
                   [this, job](const lantrix::Failure& failure) { finished(*job, failure); },
                   lantrix::Retry::OnAnotherConnection);
        ++working_;
    }
}

lantrix::Failure FrameCache::work(const lantrix::Connection& connection, Job& job) {
    if (job.clip == nullptr && !begin(job))
        return {};
    const image::FrameFile& kind = job.clip->file();
    const std::string id = job.clip->frameId(job.key.index);
    const int size = static_cast<int>(kind.frameSize());
    if (kind.isPlain()) {
        const auto file =
            std::make_shared<FileBytes>(spares_, static_cast<std::size_t>(kind.size()));
        std::copy(kind.head().begin(), kind.head().end(), file->room());
        if (!connection.server.readFrame(id.c_str(), file->room() + kind.head().size(), size))
            return lantrix::Failure::lastOf(connection.server);
        job.file = file;
        return {};
    }
    image::Bytes frame(kind.frameSize());
    if (!connection.server.readFrame(id.c_str(), frame.data(), size))
        return lantrix::Failure::lastOf(connection.server);
    job.file = std::make_shared<FileBytes>(kind.encode(std::move(frame)));
    return {};
}

bool FrameCache::begin(Job& job) {
    const std::lock_guard<std::mutex> lock(mutex_);
    for (std::deque<FrameKey>* queue : {&demanded_, &ahead_}) {
        while (!queue->empty()) {
            const FrameKey key = queue->front();
            const auto found = entries_.find(key);
            if (found == entries_.end() || found->second.state != Entry::State::Waiting) {
                queue->pop_front();
                continue;
            }
            if (!makeRoom(cost(*found->second.clip)))
                return false;
            queue->pop_front();
            found->second.state = Entry::State::Reading;
            found->second.read = Clock::now();
            job.key = key;
            job.clip = found->second.clip;
            ++reading_;
            return true;
        }
    }
    return false;
}

// When all of the memory is taken by frames on their way, the next one waits for one of them.
bool FrameCache::makeRoom(std::uint64_t size) {
    const auto isTooMuch = [&] {
        return used_ + size > memory_ || leftBytes_ + size > std::max(leftMemory_, size);
    };
    while (isTooMuch() && !(left_.empty() && byUse_.empty()))
        remove(entries_.find(left_.empty() ? byUse_.front() : left_.front()));
    if (used_ + spares_->bytes() > memory_) // of which one will be this frame's
        spares_->clear();
    isFull_ = used_ + size > memory_ && reading_ > 0;
    used_ += isFull_ ? 0 : size;
    return !isFull_;
}

void FrameCache::finished(const Job& job, const lantrix::Failure& failure) {
    std::vector<Got> waiters;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        --working_;
        if (job.clip != nullptr)
            waiters = settle(job, failure);
        else if (failure)
            waiters = giveUp();
        if (failure.kind != lantrix::Failure::Kind::Stopped)
            feed();
    }
    for (const Got& got : waiters)
        got(failure, job.file);
}

// Who is to hear of it. A frame that was written while it was being read is read again.
std::vector<FrameCache::Got> FrameCache::settle(const Job& job, const lantrix::Failure& failure) {
    --reading_;
    used_ -= cost(*job.clip);
    isFull_ = false;
    const auto found = entries_.find(job.key);
    Entry& entry = found->second;
    std::vector<Got> waiters;
    if (entry.isStale && !failure) {
        entry.isStale = false;
        entry.state = Entry::State::Waiting;
        demanded_.push_back(job.key);
        return waiters;
    }
    waiters.swap(entry.waiters);
    if (failure) {
        entries_.erase(found);
        return waiters;
    }
    entry.clip = nullptr;
    entry.state = Entry::State::There;
    entry.file = job.file;
    entry.use = byUse_.insert(byUse_.end(), job.key);
    used_ += job.file->size();
    return waiters;
}

// Nothing can be read: not for want of a frame, but of a thread or of time.
std::vector<FrameCache::Got> FrameCache::giveUp() {
    std::vector<Got> waiters;
    for (auto entry = entries_.begin(); entry != entries_.end();) {
        if (entry->second.state != Entry::State::Waiting) {
            ++entry;
            continue;
        }
        std::move(entry->second.waiters.begin(), entry->second.waiters.end(),
                  std::back_inserter(waiters));
        entry = entries_.erase(entry);
    }
    demanded_.clear();
    ahead_.clear();
    return waiters;
}

} // namespace frames
