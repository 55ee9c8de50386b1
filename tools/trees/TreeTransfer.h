// Carries out a plan: folders first, then several clips at a time, each by a thread of its own over
// the connections that all share, and what is to go at last, when all else has arrived.
// Borrows the ends and the plan. Used by the main thread, which waits.
// What fails about one clip goes to the troubles; what ends all is thrown as Failure.
#ifndef TOOLS_TREES_TREETRANSFER_H
#define TOOLS_TREES_TREETRANSFER_H

#include "tools/trees/TreePlan.h"

#include <atomic>
#include <mutex>

namespace tool {

class TreeTransfer {
public:
    TreeTransfer(const Output& output, TreeSource& source, TreeTarget& target, const TreePlan& plan)
        : output_(output), source_(source), target_(target), plan_(plan) {}

    /// Shows its progress as that of \p verb, and reports at the end.
    void run(const std::string& verb, Troubles& troubles);
    /// The lines of -n.
    [[nodiscard]] std::vector<std::string> wouldDo() const;

private:
    void makeFolders();
    [[nodiscard]] bool isBelowRefused(const TreePath& path) const;
    void moveClips(const StepDone& done);
    void work(const StepDone& done);
    [[nodiscard]] std::size_t lanes() const;
    [[nodiscard]] const TreeJob* nextJob();
    void perform(const TreeJob& job, SourceLane& from, TargetLane& to, const StepDone& done);
    void keep(const TreeJob* job, const Failure& failure);
    void removeSurplus();
    void report(const std::string& verb, const Transfer& transfer) const;

    const Output& output_;
    TreeSource& source_;
    TreeTarget& target_;
    const TreePlan& plan_;
    std::vector<std::string> removed_;
    std::vector<std::pair<TreePath, Failure>> refused_; // folders that could not be made

    std::mutex mutex_; // guards all below
    std::size_t next_ = 0;
    std::optional<Failure> end_; // what ended all
    std::map<const TreeJob*, Failure> failures_;
};

} // namespace tool

#endif
