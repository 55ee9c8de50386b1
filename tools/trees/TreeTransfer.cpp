#include "tools/trees/TreeTransfer.h"

#include "tools/report/Json.h"
#include "tools/report/NumberText.h"
#include "tools/transfer/ImageFailure.h"

#include <algorithm>
#include <thread>

namespace tool {

namespace {

bool endsAll(Status status) {
    return status == Status::NoConnection || status == Status::Interrupted;
}

} // namespace

void TreeTransfer::run(const std::string& verb, Troubles& troubles) {
    Transfer transfer(output_.options(), verb, plan_.frames(),
                      verb == "sync" ? AfterFailure::Again : AfterFailure::Resume);
    transfer.run([&](const StepDone& done) {
        makeFolders();
        moveClips(done);
    });
    for (const auto& [path, failure] : refused_)
        troubles.add(failure);
    for (const TreeJob& job : plan_.jobs) // in the order of the tree
        if (const auto failed = failures_.find(&job); failed != failures_.end())
            troubles.add(failed->second);
    if (!troubles.areThere())
        removeSurplus();
    else if (!plan_.removed.empty() || !plan_.cut.empty())
        output_.note(verb + ": nothing is removed, since not everything has arrived");
    report(verb, transfer);
}

void TreeTransfer::makeFolders() {
    target_.makeTop();
    for (const TreeItem& folder : plan_.folders) {
        if (isBelowRefused(folder.path))
            continue;
        try {
            target_.makeFolder(folder);
        } catch (const Failure& failure) {
            if (endsAll(failure.status()))
                throw;
            refused_.emplace_back(folder.path, failure);
        }
    }
}

bool TreeTransfer::isBelowRefused(const TreePath& path) const {
    return std::any_of(refused_.begin(), refused_.end(), [&](const auto& refused) {
        const TreePath& above = refused.first;
        return path.size() >= above.size() && std::equal(above.begin(), above.end(), path.begin());
    });
}

std::size_t TreeTransfer::lanes() const {
    const auto connections = static_cast<std::size_t>(output_.options().connections.value_or(4));
    return std::min({mostLanes, connections, plan_.jobs.size()});
}

void TreeTransfer::moveClips(const StepDone& done) {
    std::vector<std::thread> threads;
    for (std::size_t i = 1; i < lanes(); ++i) {
        try {
            threads.emplace_back([&] { work(done); });
        } catch (const std::system_error&) { // those that run do the work
            break;
        }
    }
    work(done);
    for (std::thread& thread : threads)
        thread.join();
    if (end_)
        throw Failure(*end_);
}

void TreeTransfer::work(const StepDone& done) {
    const TreeJob* job = nullptr;
    try {
        std::unique_ptr<SourceLane> from;
        std::unique_ptr<TargetLane> to;
        while ((job = nextJob()) != nullptr) {
            if (!from) {
                from = source_.openLane();
                to = target_.openLane();
            }
            perform(*job, *from, *to, done);
        }
    } catch (const std::exception& error) {
        keep(nullptr, {Status::Other, error.what()});
    }
}

const TreeJob* TreeTransfer::nextJob() {
    const std::lock_guard<std::mutex> lock(mutex_);
    while (!end_ && next_ < plan_.jobs.size()) {
        const TreeJob& job = plan_.jobs[next_++];
        if (!isBelowRefused(job.from.path))
            return &job;
    }
    return nullptr;
}

void TreeTransfer::perform(const TreeJob& job, SourceLane& from, TargetLane& to,
                           const StepDone& done) {
    JobProgress progress(job, done);
    try {
        const std::string place = to.fill(job, from, progress);
        from.remember(job.from, place, progress.same());
    } catch (const Failure& failure) {
        keep(&job, failure);
    } catch (const image::Error& error) {
        const Failure failure = failureOf(error); // which does not know of which clip
        keep(&job, {failure.status(), "'" + source_.text(job.from.path) + "': " + failure.what()});
    }
}

// An interrupt is the reason for what fails beside it.
void TreeTransfer::keep(const TreeJob* job, const Failure& failure) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (job != nullptr && !endsAll(failure.status()))
        failures_.emplace(job, failure);
    else if (!end_ || failure.status() == Status::Interrupted)
        end_ = failure;
}

void TreeTransfer::removeSurplus() {
    for (const auto& [clip, count] : plan_.cut) {
        target_.cut(clip, count);
        output_.note("cut " + target_.text(clip.path) + " to " +
                     countText(static_cast<std::size_t>(count), "frame"));
    }
    for (const TreeItem& item : plan_.removed) {
        target_.remove(item);
        output_.note("removed " + target_.text(item.path));
        removed_.push_back(pathText(item.path));
    }
}

void TreeTransfer::report(const std::string& verb, const Transfer& transfer) const {
    const std::size_t clips = static_cast<std::size_t>(std::count_if(
        plan_.jobs.begin(), plan_.jobs.end(), [](const TreeJob& job) { return job.from.isClip; }));
    const std::size_t known = plan_.known();
    const std::size_t surplus = plan_.surplus - plan_.removed.size() - plan_.cut.size();
    output_.note(verb + ": " + countText(clips, "clip") + ", " + transfer.progress().summary() +
                 (known > 0 ? "; " + countText(known, "frame") + " known to be the same" : "") +
                 (surplus > 0 && verb == "sync"
                      ? "; " + std::to_string(surplus) + " more there: --delete removes them"
                      : ""));
    Json fields = {{"clips", clips},
                   {"folders", plan_.folders.size()},
                   {"failed", failures_.size()},
                   {"removed", removed_}};
    fields.update(transfer.figures());
    fields["skipped"] = transfer.progress().framesSkipped() + known;
    output_.result(fields);
}

std::vector<std::string> TreeTransfer::wouldDo() const {
    std::vector<std::string> lines;
    for (const TreeItem& folder : plan_.folders)
        lines.push_back("make " + target_.text(folder.path));
    for (const TreeJob& job : plan_.jobs) {
        const std::string to = target_.text(job.from.path);
        const std::string frames = countText(job.indices.size(), "frame");
        if (!job.from.isClip)
            continue;
        if (!job.there)
            lines.push_back("make " + to + " (" + image::describeFormat(*job.from.format) +
                            ") of " + source_.text(job.from.path) + " with " + frames);
        else if (!job.indices.empty())
            lines.push_back("bring " + frames + " of " + source_.text(job.from.path) + " to " + to);
    }
    for (const auto& [clip, count] : plan_.cut)
        lines.push_back("cut " + target_.text(clip.path) + " to " +
                        countText(static_cast<std::size_t>(count), "frame"));
    for (const TreeItem& item : plan_.removed)
        lines.push_back("remove " + target_.text(item.path));
    return lines;
}

} // namespace tool
