#include "tools/verbs/Destination.h"

#include "tools/report/Json.h"
#include "tools/report/NumberText.h"
#include "tools/session/NodeChanges.h"

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <set>

namespace tool {

Destination::Destination(Context& context, const Address& address, int startNumber)
    : context_(context), address_(address), startNumber_(startNumber),
      session_(std::make_shared<Session>(context.options, address.host)) {
    if (address.nodeId.empty()) {
        const FoundNode parent{address.parent(), findNode(*session_, address.parent())};
        if (!findChild(*session_, parent, address.name()))
            return;
    }
    existing_ = describeClip(session_, openFramePool(*session_, context.options), address,
                             findClip(*session_, address), startNumber);
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
    const StepSpan span{step, step + 1};
    const auto from = source(span);
    const auto to = toClip(*existing_, indices_, rules)(span);
    const StepDone done = [](std::size_t /*step*/, const StepResult& /*result*/) {};
    Cores cores;
    moveFrames(*from, *to, span, cores, done);
}

LocatedClip Destination::provide(const Options& options) {
    const auto pool = openFramePool(*session_, options);
    if (!existing_) {
        new_.frameCount = count_;
        return describeClip(session_, pool, address_, makeClip(*session_, address_, new_),
                            startNumber_);
    }
    LocatedClip clip = *existing_;
    clip.pool = pool;
    if (mustGrow())
        setCount(clip, count_);
    return clip;
}

void Destination::withdraw(const LocatedClip& clip) const {
    withdrawNode(context_.options, address_, clip.handle.getNodeId().id());
}

void Destination::cutOff(const LocatedClip& clip, int count) const {
    withdrawFrames(context_.options, address_, clip.handle.getNodeId().id(), count);
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
    const LocatedClip clip = provide(context_.options);
    Transfer transfer(context_.options, verb, indices_.size(), AfterFailure::Resume);
    try {
        moveFrames(transfer, source, toClip(clip, indices_, rules), indices_.size());
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

// Over one connection and by one thread, so that the frames arrive in their order: a failure leaves
// no hole.
void Destination::fill(const std::string& verb, FrameStream& stream, const FileFrames& files,
                       int first, StoreRules rules) {
    if (existing_ && first < existing_->frameCount) {
        announceReplacing(verb,
                          "frames of " + address_.text() + " from frame " +
                              std::to_string(first + startNumber_) + " on",
                          rules);
    }
    count_ = existing_ ? 0 : first + 1;
    Options inOrder = context_.options;
    inOrder.connections = 1;
    LocatedClip clip = provide(inOrder);
    Transfer transfer(context_.options, verb, 0, AfterFailure::Resume);
    try {
        transfer.run([&](const StepDone& done) {
            const auto source = fromStream(stream, files);
            const auto target = toGrowingClip(clip, first, rules);
            Cores cores(1);
            moveFrames(*source, *target, {0, SIZE_MAX}, cores, done);
        });
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
        setCount(clip, countAfter(first, transfer));
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
