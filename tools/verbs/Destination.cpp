#include "tools/verbs/Destination.h"

#include "tools/report/Json.h"
#include "tools/report/NumberText.h"
#include "tools/session/NodeChanges.h"

#include <algorithm>
#include <numeric>
#include <set>

namespace tool {

Destination::Destination(Context& context, const Address& address, int startNumber)
    : context_(context), address_(address), startNumber_(startNumber) {
    Session session(context.options, address.host);
    if (address.nodeId.empty()) {
        const FoundNode parent{address.parent(), findNode(session, address.parent())};
        if (!findChild(session, parent, address.name()))
            return;
    }
    existing_ = locateClip(session, address, startNumber);
}

void Destination::setIndices(const std::vector<int>& indices) {
    indices_ = indices;
    count_ = indices.empty() ? 0 : *std::max_element(indices.begin(), indices.end()) + 1;
}

std::size_t Destination::framesReplaced() const {
    std::set<int> replaced;
    for (const int index : indices_)
        if (existing_ && index < existing_->frameCount)
            replaced.insert(index);
    return replaced.size();
}

std::string Destination::replacedText() const {
    return std::to_string(framesReplaced()) + " of the " +
           countText(static_cast<std::size_t>(existing_->frameCount), "frame") + " of " +
           address_.text();
}

std::string Destination::wouldDo(const std::string& work) const {
    const std::string frames = countText(static_cast<std::size_t>(count_), "frame");
    const std::string before = !existing_ ? "make " + address_.text() + " (" +
                                                image::describeFormat(new_.format) + ") with " +
                                                frames + " and "
                               : mustGrow() ? "give " + address_.text() + " " + frames + " and "
                                            : "";
    return before + work + (framesReplaced() > 0 ? ", replacing " + replacedText() : "");
}

// The first frame that replaces one, before the clip is made longer for others: a clip whose frames
// are linked files refuses it.
void Destination::tryFrame(const OpenSource& source, StoreRules rules) const {
    const auto first = std::find_if(indices_.begin(), indices_.end(),
                                    [&](int index) { return index < existing_->frameCount; });
    if (first == indices_.end())
        return;
    const auto step = static_cast<std::size_t>(first - indices_.begin());
    Bytes frame;
    source()(step, frame);
    toClip(context_.options, *existing_, indices_, rules)()(step, frame);
}

LocatedClip Destination::provide() {
    Session session(context_.options, address_.host);
    if (!existing_) {
        new_.frameCount = count_;
        const LantrixNodeHandle handle = makeClip(session, address_, new_);
        return {address_, handle.getNodeId().id(), new_.format, count_, startNumber_};
    }
    LocatedClip clip = *existing_;
    if (mustGrow()) {
        FoundNode node{address_, {session.server(), clip.nodeId.c_str()}};
        setFrameCount(session, node, count_);
        clip.frameCount = count_;
    }
    return clip;
}

void Destination::withdraw(const LocatedClip& clip) const {
    withdrawNode(context_.options, address_, clip.nodeId);
}

void Destination::cutOff(const LocatedClip& clip, int count) const {
    withdrawFrames(context_.options, address_, clip.nodeId, count);
}

void Destination::announceReplacing(const std::string& verb, const std::string& what,
                                    const StoreRules& rules) const {
    context_.output.note(verb + ": replaces " + what +
                         (rules.resume || !rules.known.empty() ? ", where they differ" : ""));
}

void Destination::fill(const std::string& verb, const OpenSource& source, StoreRules rules) {
    if (framesReplaced() > 0)
        announceReplacing(verb, replacedText(), rules);
    if (mustGrow())
        tryFrame(source, rules);
    const LocatedClip clip = provide();
    Transfer transfer(context_.options, verb, indices_.size(), AfterFailure::Resume);
    try {
        moveFrames(transfer, source, toClip(context_.options, clip, indices_, rules));
    } catch (const Failure&) {
        if (!existing_ && transfer.progress().framesDone() == 0)
            withdraw(clip);
        throw;
    }
    report(transfer, verb, rules);
}

namespace {

int endOf(int first, const Transfer& transfer) {
    return first + static_cast<int>(transfer.progress().framesDone());
}

// Also when the frame did not arrive for which the clip was made longer.
bool mayHaveGrown(const LocatedClip& clip, int first, const Transfer& transfer) {
    return endOf(first, transfer) >= clip.frameCount;
}

} // namespace

int Destination::countAfter(int first, const Transfer& transfer) const {
    return std::max(existing_ ? existing_->frameCount : 0, endOf(first, transfer));
}

void Destination::fill(const std::string& verb, const OpenEndedMaker& source, int first,
                       StoreRules rules) {
    if (existing_ && first < existing_->frameCount) {
        announceReplacing(verb,
                          "frames of " + address_.text() + " from frame " +
                              std::to_string(first + startNumber_) + " on",
                          rules);
    }
    count_ = existing_ ? 0 : first + 1;
    const LocatedClip clip = provide();
    Transfer transfer(context_.options, verb, 0, AfterFailure::Resume);
    try {
        moveFrames(transfer, source, toGrowingClip(context_.options, clip, first, rules));
    } catch (const Failure&) {
        if (!existing_ && transfer.progress().framesDone() == 0)
            withdraw(clip);
        else if (mayHaveGrown(clip, first, transfer))
            cutOff(clip, countAfter(first, transfer));
        throw;
    }
    std::vector<int> indices(transfer.progress().framesDone());
    std::iota(indices.begin(), indices.end(), first);
    setIndices(indices);
    if (mayHaveGrown(clip, first, transfer))
        ClipFrames(context_.options, clip).setCount(countAfter(first, transfer));
    report(transfer, verb, rules);
}

void Destination::report(const Transfer& transfer, const std::string& verb,
                         StoreRules rules) const {
    const std::size_t moved =
        transfer.progress().framesDone() - transfer.progress().framesSkipped();
    const std::size_t replaced = std::min(framesReplaced(), moved);
    context_.output.note(verb + ": " + transfer.progress().summary() +
                         (replaced > 0 ? "; " + countText(replaced, "frame") + " replaced" : ""));
    Json fields = {{"clip", address_.path()}, {"verified", rules.verify}, {"replaced", replaced}};
    fields.update(transfer.figures());
    context_.output.result(fields);
}

} // namespace tool
