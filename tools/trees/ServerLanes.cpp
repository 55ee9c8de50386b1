#include "tools/trees/ServerLanes.h"

#include "tools/session/NodeChanges.h"

#include <algorithm>
#include <utility>

namespace tool {

std::string placeOf(const std::string& host, const std::string& id) {
    return host + " " + id;
}

Address below(const Address& top, const TreePath& path) {
    Address address = top;
    for (const std::string& name : path)
        address.components.push_back(name);
    return address;
}

void checkTreeName(const std::string& name, const std::string& parentId, const std::string& type) {
    try {
        checkNewName(name, parentId, type);
    } catch (const Failure& failure) { // of the tree, not of the command line
        throw Failure(Status::Other, failure.what());
    }
}

namespace {

std::string streamText(Session& session, const LantrixNodeHandle& node, const std::string& path,
                       const std::string& name) {
    LantrixStr text;
    session.call("read '" + name + "' of '" + path + "'",
                 [&] { return node.getMetaData(name.c_str(), "*", 1, text); });
    return text.c_str();
}

class ServerSourceLane : public SourceLane {
public:
    ServerSourceLane(const Options& options, const std::string& host,
                     std::shared_ptr<lantrix::Pool> pool, TreeRules rules)
        : session_(std::make_shared<Session>(options, host)), pool_(std::move(pool)),
          rules_(std::move(rules)) {}

    OpenSource frames(const TreeItem& clip, const std::vector<int>& indices) override {
        Address address;
        address.host = session_->host();
        address.components = clip.path;
        const LantrixNodeHandle handle(session_->server(), clip.id.c_str());
        LocatedClip located = describeClip(session_, pool_, address, handle, rules_.startNumber);
        located.clipsAtOnce = mostLanes;
        return fromClip(located, indices, rules_.missing);
    }
    std::string stream(const TreeItem& node, const std::string& name) override {
        const LantrixNodeHandle handle(session_->server(), node.id.c_str());
        return streamText(*session_, handle, pathText(node.path), name);
    }
    void remember(const TreeItem& /*clip*/, const std::string& /*place*/,
                  const std::set<int>& /*same*/) override {}

private:
    const std::shared_ptr<Session> session_; // never null
    const std::shared_ptr<lantrix::Pool> pool_;
    const TreeRules rules_;
};

class ServerTargetLane : public TargetLane {
public:
    ServerTargetLane(const Options& options, Address top, std::shared_ptr<lantrix::Pool> pool,
                     TreeRules rules, const std::map<TreePath, std::string>& ids)
        : session_(std::make_shared<Session>(options, top.host)), top_(std::move(top)),
          pool_(std::move(pool)), rules_(std::move(rules)), ids_(ids) {}

    std::string fill(const TreeJob& job, SourceLane& from, JobProgress& progress) override {
        const bool isNew = job.from.isClip && !job.there;
        const std::string id = !job.from.isClip ? ids_.at(job.from.path)
                               : isNew          ? makeClip(job)
                                                : job.there->id;
        try {
            if (!job.indices.empty())
                moveInto(id, job, from, progress);
        } catch (...) {
            if (isNew && !progress.hasMoved())
                withdrawNode(session_->options(), addressOf(job), id);
            throw;
        }
        setStreams(id, job.from, from);
        return placeOf(session_->host(), id);
    }

private:
    [[nodiscard]] Address addressOf(const TreeJob& job) const { return below(top_, job.from.path); }

    // A clip with all its frames, or with none: as if it had never been there.
    std::string makeClip(const TreeJob& job) {
        const std::string& name = job.from.path.back();
        const std::string type = typeOf(job.from);
        TreePath above = job.from.path;
        above.pop_back();
        const std::string& parentId = ids_.at(above);
        checkTreeName(name, parentId, type);
        FoundNode parent{below(top_, above), {session_->server(), parentId.c_str()}};
        FoundNode made{addressOf(job),
                       makeClipNode(*session_, parent, name, *job.from.format, type)};
        std::string id = made.handle.getNodeId().id();
        try {
            setFrameCount(*session_, made, job.from.frames);
        } catch (const Failure&) {
            withdrawNode(session_->options(), made.address, id);
            throw;
        }
        return id;
    }
    [[nodiscard]] std::string typeOf(const TreeItem& clip) const {
        const bool isWord =
            !clip.type.empty() && clip.type.find_first_of(" \t\n\r\v\f") == std::string::npos;
        return isWord ? clip.type : rules_.type;
    }

    void moveInto(const std::string& id, const TreeJob& job, SourceLane& from,
                  JobProgress& progress) {
        const int wanted = *std::max_element(job.indices.begin(), job.indices.end()) + 1;
        const FoundNode node{addressOf(job), {session_->server(), id.c_str()}};
        if (job.there && job.there->frames == 0) // it may have no format yet
            giveFrames(*session_, node, *job.from.format, wanted);
        LocatedClip clip =
            describeClip(session_, pool_, node.address, node.handle, rules_.startNumber);
        // What a clip did not have need not be compared.
        const int before = job.there ? std::min(clip.frameCount, job.there->frames) : 0;
        if (clip.frameCount < wanted)
            setCount(clip, wanted);
        clip.frameCount = before;
        clip.clipsAtOnce = mostLanes;
        StoreRules rules;
        rules.verify = rules_.verify;
        rules.resume = rules_.leaveOut != LeaveOut::Nothing;
        const StepSpan all{0, job.indices.size()};
        const auto source = from.frames(job.from, job.indices)(all);
        const auto target = toClip(clip, job.indices, rules)(all);
        Cores cores;
        moveFrames(*source, *target, all, cores, progress.stepDone());
    }

    // Those that differ.
    void setStreams(const std::string& id, const TreeItem& node, SourceLane& from) {
        if (node.streams.empty())
            return;
        const LantrixNodeHandle handle(session_->server(), id.c_str());
        const std::string path = below(top_, node.path).path();
        const std::vector<std::string> there = session_->streamNames(handle);
        for (const std::string& name : node.streams) {
            const std::string text = from.stream(node, name);
            if (std::find(there.begin(), there.end(), name) != there.end() &&
                streamText(*session_, handle, path, name) == text)
                continue;
            static_cast<void>(session_->protocol()); // or a broken connection looks like an old one
            session_->call("set '" + name + "' of '" + path + "'",
                           [&] { return handle.setMetaData(name.c_str(), text.c_str()); });
        }
    }

    const std::shared_ptr<Session> session_; // never null
    const Address top_;
    const std::shared_ptr<lantrix::Pool> pool_;
    const TreeRules rules_;
    const std::map<TreePath, std::string>& ids_;
};

} // namespace

std::unique_ptr<SourceLane> openServerSourceLane(const Options& options, const std::string& host,
                                                 const std::shared_ptr<lantrix::Pool>& pool,
                                                 const TreeRules& rules) {
    return std::make_unique<ServerSourceLane>(options, host, pool, rules);
}

std::unique_ptr<TargetLane> openServerTargetLane(const Options& options, const Address& top,
                                                 const std::shared_ptr<lantrix::Pool>& pool,
                                                 const TreeRules& rules,
                                                 const std::map<TreePath, std::string>& ids) {
    return std::make_unique<ServerTargetLane>(options, top, pool, rules, ids);
}

} // namespace tool
