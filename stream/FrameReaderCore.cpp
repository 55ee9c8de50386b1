#include "stream/FrameReaderCore.h"

#include <algorithm>
#include <chrono>
#include <new>
#include <utility>

namespace lantrix {

namespace {

// How often next() looks whether the pool has been cancelled, of which it hears nothing while all
// buffers are held and no work is under way.
constexpr std::chrono::milliseconds cancelInterval(50);

} // namespace

FrameReaderCore::FrameReaderCore(Pool& pool, const LantrixNodeHandle& clip,
                                 std::vector<int> indices, const FrameWindow& window)
    : clip_(clip, pool.connections()), indices_(std::move(indices)),
      group_(std::make_unique<WorkGroup>(pool)),
      memory_(static_cast<std::size_t>(clip_.frameSize()), window), slots_(memory_.limit()),
      tickets_(pool.connections()) {}

void FrameReaderCore::start() {
    const std::lock_guard<std::mutex> lock(mutex_);
    feedAll();
}

// The group's work may need the lock to end.
void FrameReaderCore::close() {
    std::unique_ptr<WorkGroup> group;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        group.swap(group_);
    }
    group.reset();
}

const FrameReaderCore::Slot* FrameReaderCore::find(std::size_t place) const {
    const Slot& slot = slots_[place % slots_.size()];
    return slot.state != Slot::State::Empty && slot.place == place ? &slot : nullptr;
}

std::size_t FrameReaderCore::windowEnd() const {
    return std::min(place_ + slots_.size(), indices_.size());
}

bool FrameReaderCore::isWanted(std::size_t place) const {
    return place >= place_ && place < windowEnd();
}

std::size_t FrameReaderCore::firstUnasked() {
    cursor_ = std::max(cursor_, place_);
    while (cursor_ < windowEnd() && find(cursor_) != nullptr)
        ++cursor_;
    return cursor_;
}

// After a jump back what was read for later may hold all buffers.
FrameReaderCore::Slot* FrameReaderCore::farthestBehind(std::size_t place) {
    Slot* farthest = nullptr;
    for (Slot& slot : slots_)
        if (slot.state == Slot::State::Fetched && slot.bytes != nullptr && slot.place > place &&
            (farthest == nullptr || slot.place > farthest->place))
            farthest = &slot;
    return farthest;
}

// The number of reads that can begin now, as far as there are tickets for them.
std::size_t FrameReaderCore::askable() {
    const std::size_t first = firstUnasked();
    std::size_t unasked = 0;
    for (std::size_t place = first; place < windowEnd() && unasked < tickets_.size(); ++place)
        unasked += find(place) == nullptr ? 1U : 0U;
    if (memory_.available() == 0 && unasked != 0)
        return farthestBehind(first) != nullptr ? 1 : 0;
    return std::min(unasked, memory_.available());
}

// Connections that rest because the window is full are woken for several frames at a time, which
// is much of what a small frame costs, but at once for a frame that is being waited for. Until
// one is, a single connection fills it again: more would only take turns with it on the processors.
bool FrameReaderCore::isTimeToFeed() {
    constexpr std::size_t share = 4; // of the buffers that go round
    if (memory_.available() == 0) {
        isFilling_ = false;
        if (nextIsKnown())
            atOnce_ = 1;
        return true; // a jump back finds a buffer all the same
    }
    isFilling_ =
        isFilling_ || !nextIsKnown() || memory_.available() * share >= memory_.limit() - held_;
    return isFilling_;
}

void FrameReaderCore::feed() {
    if (group_ == nullptr || stopped_ || clip_.failure() || !isTimeToFeed())
        return;
    const std::size_t wanted = askable();
    std::size_t handedIn = 0;
    for (const Ticket& ticket : tickets_)
        handedIn += ticket.state != Ticket::State::Free ? 1U : 0U;
    for (Ticket& ticket : tickets_) {
        if (waiting_ >= wanted || handedIn >= atOnce_)
            return;
        if (ticket.state != Ticket::State::Free)
            continue;
        group_->run([this, &ticket](Connection& connection) { return fetch(connection, ticket); },
                    [this, &ticket](const Failure& failure) { fetched(ticket, failure); },
                    Retry::OnAnotherConnection);
        ticket.state = Ticket::State::Waiting; // it begins when the lock is let go
        ++waiting_;
        ++handedIn;
    }
}

void FrameReaderCore::feedAll() {
    atOnce_ = tickets_.size();
    feed();
}

FrameBytes FrameReaderCore::takeBytes(std::size_t place) {
    if (memory_.available() != 0)
        return memory_.take();
    Slot& farthest = *farthestBehind(place);
    farthest.state = Slot::State::Empty;
    return std::move(farthest.bytes);
}

// The place is taken before the memory, so that the lack of it is told as this frame's failure.
bool FrameReaderCore::begin(Ticket& ticket) {
    --waiting_;
    ticket.state = Ticket::State::Idle;
    if (askable() == 0)
        return false;
    const std::size_t place = firstUnasked();
    ticket.state = Ticket::State::Reading;
    ticket.place = place;
    ticket.announces = place + 1 < indices_.size() && indices_[place + 1] == indices_[place] + 1 &&
                       find(place + 1) == nullptr;
    slotOf(place).state = Slot::State::Asked;
    slotOf(place).place = place;
    ticket.bytes = takeBytes(place);
    return true;
}

// An announcement helps while nobody has asked for that frame: the read that was begun last makes
// it, for whichever connection will be free first. A read by id announces nothing.
Failure FrameReaderCore::fetch(const Connection& connection, Ticket& ticket) {
    bool announces = false;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        const bool isAgain = ticket.state == Ticket::State::Reading;
        if (isAgain ? !isWanted(ticket.place) : !begin(ticket))
            return {};
        announces = std::exchange(ticket.announces, false);
    }
    const int index = indices_[ticket.place];
    const int size = clip_.frameSize();
    LantrixNodeHandle& clip = clip_.on(connection);
    LantrixStr id;
    const bool isRead = announces ? clip.readFrame(index, ticket.bytes.get(), size)
                                  : clip.getFrameId(index, id) &&
                                        connection.server.readFrame(id, ticket.bytes.get(), size);
    return isRead ? Failure() : Failure::lastOf(connection.server);
}

// Who is woken needs the lock, so it is let go before.
void FrameReaderCore::fetched(Ticket& ticket, const Failure& failure) {
    std::unique_lock<std::mutex> lock(mutex_);
    stopped_ = stopped_ || failure.kind == Failure::Kind::Stopped;
    waiting_ -= ticket.state == Ticket::State::Waiting ? 1U : 0U;
    if (ticket.state == Ticket::State::Reading && isWanted(ticket.place)) {
        Slot& slot = slotOf(ticket.place);
        slot.state = Slot::State::Fetched;
        slot.failure = failure;
        if (!failure)
            slot.bytes = std::move(ticket.bytes);
    }
    memory_.give(std::move(ticket.bytes));
    ticket.state = Ticket::State::Free;
    feed();
    const bool isKnown = nextIsKnown();
    lock.unlock();
    if (isKnown)
        changed_.notify_all();
}

bool FrameReaderCore::nextIsKnown() const {
    const Slot* const slot = place_ < indices_.size() ? find(place_) : nullptr;
    return place_ >= indices_.size() || stopped_ || clip_.failure() ||
           (slot != nullptr && slot->state == Slot::State::Fetched);
}

bool FrameReaderCore::isReady() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return nextIsKnown();
}

std::optional<Frame> FrameReaderCore::next() {
    std::unique_lock<std::mutex> lock(mutex_);
    if (!nextIsKnown())
        feedAll();
    while (!nextIsKnown()) {
        changed_.wait_for(lock, cancelInterval);
        stopped_ = stopped_ || group_->pool().isCancelled();
    }
    if (place_ >= indices_.size())
        return std::nullopt;
    Frame frame;
    frame.index = indices_[place_];
    Slot& slot = slotOf(place_);
    if (slot.state != Slot::State::Fetched)
        frame.failure =
            clip_.failure() ? clip_.failure() : Failure{Failure::Kind::Stopped, "Cancelled."};
    else
        frame.failure = std::move(slot.failure);
    if (slot.bytes != nullptr) {
        frame.pixels = FrameBuffer(shared_from_this(), std::move(slot.bytes),
                                   static_cast<std::size_t>(clip_.frameSize()));
        ++held_;
    }
    slot.state = Slot::State::Empty;
    ++place_;
    feed();
    return frame;
}

bool FrameReaderCore::request(int index) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto begin = indices_.begin(), end = indices_.end();
    const auto present = begin + static_cast<std::ptrdiff_t>(place_);
    auto found = std::find(present, end, index);
    if (found == end)
        found = std::find(begin, present, index);
    if (found == end || *found != index)
        return false;
    place_ = cursor_ = static_cast<std::size_t>(found - begin);
    dropUnwanted();
    feedAll();
    changed_.notify_all();
    return true;
}

// A read that is still under way from an earlier visit to this part of the list serves this one.
void FrameReaderCore::dropUnwanted() {
    for (Slot& slot : slots_)
        if (slot.state != Slot::State::Empty && !isWanted(slot.place)) {
            memory_.give(std::move(slot.bytes));
            slot.state = Slot::State::Empty;
        }
    for (const Ticket& ticket : tickets_)
        if (ticket.state == Ticket::State::Reading && isWanted(ticket.place) &&
            find(ticket.place) == nullptr) {
            slotOf(ticket.place).state = Slot::State::Asked;
            slotOf(ticket.place).place = ticket.place;
        }
}

// Without memory for more work the next call of next() hands it in.
void FrameReaderCore::takeBack(FrameBytes bytes) noexcept {
    const std::lock_guard<std::mutex> lock(mutex_);
    memory_.give(std::move(bytes));
    --held_;
    try {
        feed();
    } catch (const std::bad_alloc&) {
        return;
    }
}

} // namespace lantrix
