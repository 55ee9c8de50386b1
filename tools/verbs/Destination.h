// The clip that frames are written to: found, or made before the first of them; and what the
// writing does to frames that are there.
// Borrows the context. Used by the main thread. Failures are thrown as Failure.
#ifndef TOOLS_VERBS_DESTINATION_H
#define TOOLS_VERBS_DESTINATION_H

#include "tools/transfer/FrameMove.h"
#include "tools/verbs/Context.h"
#include "tools/verbs/NewClip.h"

#include <nlohmann/json_fwd.hpp>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tool {

class Destination {
public:
    /// Asks what is at the address; anything but a clip or nothing is refused.
    Destination(Context& context, const Address& address, int startNumber);

    /// None when the clip is to be made.
    [[nodiscard]] const std::optional<LocatedClip>& existing() const { return existing_; }
    /// What the clip is to be when it is made.
    void setNew(const NewClip& clip) { new_ = clip; }
    [[nodiscard]] const LantrixClipFormat& format() const {
        return existing_ ? existing_->format : new_.format;
    }
    /// The frames that will be written.
    void setIndices(const std::vector<int>& indices);

    /// For -n: what has to be done before \p work, and what it would replace.
    [[nodiscard]] std::string wouldDo(const std::string& work) const;
    /// Moves all frames into the clip and reports it as \p verb. A clip that was made for them goes
    /// again when not one arrived; one that refuses its frames is not made longer.
    void fill(const std::string& verb, const OpenSource& source, StoreRules rules);
    /// The same for as many frames as there are, from the clip's frame \p first on. The clip grows
    /// as they come, and has in the end no frame more than it had or got. What has arrived before
    /// a failure stays.
    void fill(const std::string& verb, FrameStream& stream, const FileFrames& files, int first,
              StoreRules rules);

private:
    void announceReplacing(const std::string& verb, const std::string& what,
                           const StoreRules& rules) const;
    [[nodiscard]] int countAfter(int first, const Transfer& transfer) const;
    [[nodiscard]] std::size_t framesReplaced() const;
    [[nodiscard]] std::string replacedText() const;
    [[nodiscard]] bool mustGrow() const { return existing_ && existing_->frameCount < count_; }
    void tryFrame(const OpenSource& source, StoreRules rules) const;
    LocatedClip provide(const Options& options);
    void withdraw(const LocatedClip& clip) const;
    void cutOff(const LocatedClip& clip, int count) const;
    void report(const Transfer& transfer, const std::string& verb, StoreRules rules) const;

    Context& context_;
    Address address_;
    int startNumber_;
    std::shared_ptr<Session> session_; // never null
    std::optional<LocatedClip> existing_;
    NewClip new_;
    std::vector<int> indices_;
    int count_ = 0; // frames that the clip must have
};

} // namespace tool

#endif
