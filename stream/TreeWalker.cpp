#include "stream/TreeWalker.h"

#include <algorithm>
#include <condition_variable>
#include <list>
#include <mutex>
#include <utility>

namespace lantrix {

namespace {

constexpr std::size_t aheadOfEachConnection = 32;

// The ids from a node up to the first one. At most `deepest` of them, so that chains end quietly.
struct Ancestors {
    std::string id;
    std::shared_ptr<const Ancestors> above;
};

bool contains(const Ancestors* ancestors, const std::string& id) {
    for (; ancestors != nullptr; ancestors = ancestors->above.get())
        if (ancestors->id == id)
            return true;
    return false;
}

struct Entry {
    enum class State { Known, Asked, Told };
    State state = State::Known;
    WalkedNode node;
    std::shared_ptr<const Ancestors> above;
};
using Entries = std::list<Entry>;

} // namespace

// The entries stand in the order in which they will be given out: an entry's children are put
// behind or before it when it is told. Whoever asks takes the first one that nobody has asked.
class TreeWalkerCore {
public:
    TreeWalkerCore(Pool& pool, const std::vector<WalkStart>& starts, WalkOptions options);

    void start();
    std::optional<WalkedNode> next();

private:
    // A piece of work, which chooses its entry when it comes to run. The connection's thread alone
    // touches the entry's node while it is asked.
    struct Ticket {
        enum class State { Free, Waiting, Begun };
        State state = State::Free;
        Entries::iterator entry; // of the list's end when there was none to ask
        Entries children;
    };

    void feed();
    std::size_t countKnown();
    Entries::iterator firstKnown();
    Failure visit(LantrixServerHandle& server, Ticket& ticket);
    static bool noted(WalkedNode& walked, WalkedNode::Question question, bool succeeded);
    [[nodiscard]] bool isDescribed(const WalkedNode& walked) const;
    [[nodiscard]] bool askIdentity(const LantrixNodeHandle& node, WalkedNode& walked) const;
    [[nodiscard]] bool askDetails(const LantrixNodeHandle& node, WalkedNode& walked) const;
    static bool askName(const LantrixNodeHandle& node, WalkedNode& walked);
    static bool askFormat(const LantrixNodeHandle& node, WalkedNode& walked);
    static bool askKind(const LantrixNodeHandle& node, WalkedNode& walked);
    static bool askStreams(const LantrixNodeHandle& node, WalkedNode& walked);
    bool askChildren(const LantrixNodeHandle& node, Ticket& ticket) const;
    [[nodiscard]] Entry childOf(const Entry& parent, const LantrixNodeHandle& child,
                                const std::shared_ptr<const Ancestors>& above) const;
    [[nodiscard]] bool isNextKnown() const;
    void told(Ticket& ticket, const Failure& failure);

    const WalkOptions options_;
    const std::size_t ahead_;
    std::mutex mutex_; // guards all that follows but the group
    std::condition_variable changed_;
    Entries entries_;
    std::vector<Ticket> tickets_;
    std::size_t waiting_ = 0; // tickets in that state
    Failure stop_;
    WorkGroup group_; // last: nothing of it is under way when the rest is destroyed
};

TreeWalkerCore::TreeWalkerCore(Pool& pool, const std::vector<WalkStart>& starts,
                               WalkOptions options)
    : options_(std::move(options)), ahead_(aheadOfEachConnection * pool.connections()),
      tickets_(pool.connections()), group_(pool) {
    for (const WalkStart& start : starts) {
        entries_.emplace_back();
        entries_.back().node.id = start.id;
        entries_.back().node.name = start.name;
    }
}

void TreeWalkerCore::start() {
    const std::lock_guard<std::mutex> lock(mutex_);
    feed();
}

Entries::iterator TreeWalkerCore::firstKnown() {
    auto entry = entries_.begin();
    for (std::size_t i = 0; i < ahead_ && entry != entries_.end(); ++i, ++entry)
        if (entry->state == Entry::State::Known)
            return entry;
    return entries_.end();
}

// As many as there are tickets for.
std::size_t TreeWalkerCore::countKnown() {
    std::size_t known = 0, seen = 0;
    for (auto entry = entries_.begin();
         entry != entries_.end() && known < tickets_.size() && seen < ahead_; ++entry, ++seen)
        known += entry->state == Entry::State::Known ? 1U : 0U;
    return known;
}

void TreeWalkerCore::feed() {
    const std::size_t known = stop_ ? 0 : countKnown();
    for (Ticket& ticket : tickets_) {
        if (waiting_ >= known)
            return;
        if (ticket.state != Ticket::State::Free)
            continue;
        group_.run(
            [this, &ticket](Connection& connection) { return visit(connection.server, ticket); },
            [this, &ticket](const Failure& failure) { told(ticket, failure); },
            Retry::OnAnotherConnection);
        ticket.state = Ticket::State::Waiting; // it begins when the lock is let go
        ++waiting_;
    }
}

Failure TreeWalkerCore::visit(LantrixServerHandle& server, Ticket& ticket) {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (ticket.state == Ticket::State::Waiting) {
            --waiting_;
            ticket.state = Ticket::State::Begun;
            ticket.entry = firstKnown();
        }
        if (ticket.entry == entries_.end())
            return {};
        ticket.entry->state = Entry::State::Asked;
    }
    WalkedNode& walked = ticket.entry->node;
    const LantrixNodeHandle node(server, walked.id.c_str());
    ticket.children.clear();
    walked.unanswered = WalkedNode::Question::None;
    Failure failure;
    const bool isIdentified = askIdentity(node, walked);
    if (!isIdentified)
        failure = Failure::lastOf(server);
    // What one question is refused, another may be told.
    if (failure && failure.kind != Failure::Kind::Refused)
        return failure;
    const bool hasChildren = !walked.isClip && walked.depth < options_.depth;
    if (hasChildren && !noted(walked, WalkedNode::Question::Children, askChildren(node, ticket)) &&
        isIdentified)
        failure = Failure::lastOf(server);
    if (failure && failure.kind != Failure::Kind::Refused)
        return failure;
    if (isIdentified && isDescribed(walked) && !askDetails(node, walked) && !failure)
        failure = Failure::lastOf(server);
    return failure;
}

// Whether a question succeeded; the first that did not is noted.
bool TreeWalkerCore::noted(WalkedNode& walked, WalkedNode::Question question, bool succeeded) {
    if (!succeeded && walked.unanswered == WalkedNode::Question::None)
        walked.unanswered = question;
    return succeeded;
}

bool TreeWalkerCore::isDescribed(const WalkedNode& walked) const {
    return !options_.isDescribed || options_.isDescribed(walked.name);
}

bool TreeWalkerCore::askIdentity(const LantrixNodeHandle& node, WalkedNode& walked) const {
    using Question = WalkedNode::Question;
    const bool isUnnamed = walked.name.empty() && walked.depth == 0;
    if (isUnnamed && !noted(walked, Question::Name, askName(node, walked)))
        return false;
    const bool isKindWanted = options_.kinds || options_.formats || options_.frames;
    return !isKindWanted || !isDescribed(walked) ||
           noted(walked, Question::Kind, askKind(node, walked));
}

bool TreeWalkerCore::askDetails(const LantrixNodeHandle& node, WalkedNode& walked) const {
    using Question = WalkedNode::Question;
    if (options_.frames && walked.isClip &&
        !noted(walked, Question::Frames, node.getNumFrames(walked.frames)))
        return false;
    if (options_.formats && walked.isClip &&
        !noted(walked, Question::Format, askFormat(node, walked)))
        return false;
    return !options_.streams || noted(walked, Question::Streams, askStreams(node, walked));
}

bool TreeWalkerCore::askName(const LantrixNodeHandle& node, WalkedNode& walked) {
    LantrixStr name;
    const bool isTold = node.getDisplayName(name);
    walked.name = name;
    return isTold;
}

bool TreeWalkerCore::askFormat(const LantrixNodeHandle& node, WalkedNode& walked) {
    LantrixClipFormat format;
    const bool isTold = node.getClipFormat(format);
    if (isTold)
        walked.format = format;
    return isTold;
}

bool TreeWalkerCore::askKind(const LantrixNodeHandle& node, WalkedNode& walked) {
    LantrixStr kind;
    if (!node.getNodeType(walked.type) || !node.getNodeTypeStr(kind) ||
        !node.getIsClipNode(walked.isClip))
        return false;
    walked.kind = kind;
    return true;
}

bool TreeWalkerCore::askStreams(const LantrixNodeHandle& node, WalkedNode& walked) {
    int count = 0;
    if (!node.getNumAvailableMetaDataStreams(count))
        return false;
    walked.streams.clear();
    LantrixStr name;
    for (int i = 0; i < count; ++i) {
        if (!node.getAvailableMetaDataStream(i, name))
            return false;
        walked.streams.emplace_back(name);
    }
    return true;
}

bool TreeWalkerCore::askChildren(const LantrixNodeHandle& node, Ticket& ticket) const {
    Entry& parent = *ticket.entry;
    if (!node.getNumChildren(parent.node.children))
        return false;
    const auto above = std::make_shared<const Ancestors>(Ancestors{parent.node.id, parent.above});
    LantrixNodeHandle child;
    for (int i = 0; i < parent.node.children; ++i) {
        if (!node.getChild(i, child))
            return false;
        ticket.children.push_back(childOf(parent, child, above));
    }
    return true;
}

// A name from a list of children is known and is not asked.
Entry TreeWalkerCore::childOf(const Entry& parent, const LantrixNodeHandle& child,
                              const std::shared_ptr<const Ancestors>& above) const {
    LantrixStr name;
    Entry entry;
    entry.above = above;
    entry.node.id = child.getNodeId().id();
    entry.node.depth = parent.node.depth + 1;
    if (child.getDisplayName(name))
        entry.node.name = name;
    if (contains(above.get(), entry.node.id))
        entry.node.failure = {Failure::Kind::Refused,
                              "'" + entry.node.name + "' is among its own ancestors."};
    else if (entry.node.depth > TreeWalker::deepest)
        entry.node.failure = {Failure::Kind::Refused, "'" + entry.node.name + "' is too deep."};
    if (entry.node.failure)
        entry.state = Entry::State::Told;
    return entry;
}

void TreeWalkerCore::told(Ticket& ticket, const Failure& failure) {
    std::unique_lock<std::mutex> lock(mutex_);
    const bool isStopped = failure.kind == Failure::Kind::Stopped;
    if (isStopped)
        stop_ = failure;
    const bool hasBegun = ticket.state == Ticket::State::Begun;
    waiting_ -= hasBegun ? 0U : 1U;
    ticket.state = Ticket::State::Free;
    if (hasBegun && !isStopped && ticket.entry != entries_.end()) {
        Entry& entry = *ticket.entry;
        entry.state = Entry::State::Told;
        entry.node.failure = failure;
        const bool behind = options_.order == WalkOptions::Order::ParentFirst;
        entries_.splice(behind ? std::next(ticket.entry) : ticket.entry, ticket.children);
    }
    feed();
    const bool isKnown = isNextKnown();
    lock.unlock();
    if (isKnown)
        changed_.notify_all();
}

bool TreeWalkerCore::isNextKnown() const {
    return entries_.empty() || stop_ || entries_.front().state == Entry::State::Told;
}

// Behind a stop the entries that are still being asked stay until that has ended.
std::optional<WalkedNode> TreeWalkerCore::next() {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return isNextKnown(); });
    if (entries_.empty())
        return std::nullopt;
    if (entries_.front().state != Entry::State::Told) {
        lock.unlock();
        group_.wait();
        WalkedNode stopped = std::move(entries_.front().node);
        stopped.failure = stop_;
        entries_.clear();
        return stopped;
    }
    WalkedNode node = std::move(entries_.front().node);
    entries_.pop_front();
    feed();
    return node;
}

TreeWalker::TreeWalker(Pool& pool, const std::string& id, const WalkOptions& options)
    : TreeWalker(pool, {WalkStart{id, ""}}, options) {}

TreeWalker::TreeWalker(Pool& pool, const std::vector<WalkStart>& starts, const WalkOptions& options)
    : core_(std::make_unique<TreeWalkerCore>(pool, starts, options)) {
    core_->start();
}

TreeWalker::~TreeWalker() = default;

std::optional<WalkedNode> TreeWalker::next() {
    return core_->next();
}

} // namespace lantrix
