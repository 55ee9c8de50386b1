#include "tools/transfer/Workers.h"

#include "tools/report/Json.h"
#include "tools/report/NumberText.h"
#include "tools/session/Interrupt.h"
#include "tools/transfer/ImageFailure.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tool {

namespace {

// A worker tells its parent by lines; one write of this size is never torn apart.
void sendLine(int descriptor, const Json& line) {
    const std::string text = dumpJson(line) + "\n";
    if (::write(descriptor, text.data(), text.size()) < 0)
        std::_Exit(static_cast<int>(Status::Other)); // the parent is gone
}

Json lineOf(const Failure& failure) {
    Json line = {{"status", static_cast<int>(failure.status())},
                 {"message", failure.what()},
                 {"details", Json::object()}};
    for (const auto& [key, value] : failure.details())
        std::visit([&, &name = key](const auto& detail) { line["details"][name] = detail; }, value);
    if (dumpJson(line).size() >= PIPE_BUF) {
        line["message"] =
            std::string(failure.what()).substr(0, PIPE_BUF / 8); // 6 bytes each at most
        line["details"].clear();
    }
    return line;
}

Failure failureOf(const Json& line) {
    Failure failure(static_cast<Status>(line["status"].get<int>()),
                    line["message"].get<std::string>());
    for (const auto& [key, value] : line["details"].items()) {
        failure.with(key, value.is_string() ? Detail(value.get<std::string>())
                                            : Detail(value.get<long long>()));
    }
    return failure;
}

[[noreturn]] void workAsChild(int descriptor, const std::function<void(const StepDone&)>& work) {
    try {
        work([&](std::size_t step, const StepResult& result) {
            sendLine(descriptor, {{"step", step},
                                  {"bytes", result.bytes},
                                  {"isSkipped", result.isSkipped},
                                  {"text", result.text}});
        });
    } catch (const Failure& failure) {
        sendLine(descriptor, lineOf(failure));
    } catch (const std::exception& error) {
        sendLine(descriptor, lineOf({Status::Other, error.what()}));
    }
    // Nothing of the parent's is to be flushed or destroyed here.
    std::_Exit(0);
}

// The worker processes and the pipe on which they all report.
class WorkerPool {
public:
    WorkerPool() {
        if (::pipe(pipe_) != 0)
            throw fileFailure("can't open", "a pipe", errno);
    }
    ~WorkerPool() {
        ::close(pipe_[0]);
        endWorkers();
        join();
    }
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;

    void start(const std::function<void(const StepDone&)>& work) {
        const pid_t worker = ::fork();
        if (worker < 0)
            throw fileFailure("can't start", "a worker process", errno);
        if (worker == 0) {
            ::close(pipe_[0]);
            workAsChild(pipe_[1], work);
        }
        workers_.push_back(worker);
    }

    /// Gives each line to \p take until all workers have ended.
    void listen(const std::function<void(const std::string&)>& take) {
        ::close(pipe_[1]);
        std::string pending;
        while (receive(pending)) {
            std::size_t end = 0;
            while ((end = pending.find('\n')) != std::string::npos) {
                take(pending.substr(0, end));
                pending.erase(0, end + 1);
            }
        }
        join();
    }

private:
    // Appends what the workers tell; false when all have ended. A terminal interrupts them too,
    // but whoever signals this process alone means the whole transfer.
    bool receive(std::string& pending) {
        constexpr int milliseconds = 50;
        pollfd entry{pipe_[0], POLLIN, 0};
        do {
            if (wasInterrupted())
                endWorkers();
        } while (::poll(&entry, 1, milliseconds) <= 0);
        char buffer[65536];
        const ssize_t size = ::read(pipe_[0], buffer, sizeof buffer);
        if (size < 0)
            throw fileFailure("can't read from", "a worker process", errno);
        pending.append(buffer, static_cast<std::size_t>(size));
        return size > 0;
    }

    // Once, for a second signal would end them in the middle of a file.
    void endWorkers() {
        for (const pid_t worker : workers_)
            if (!wereEnded_)
                ::kill(worker, SIGTERM);
        wereEnded_ = true;
    }

    void join() {
        for (const pid_t worker : workers_) {
            while (::waitpid(worker, nullptr, 0) < 0 && errno == EINTR) {
            }
        }
        workers_.clear();
    }

    int pipe_[2] = {-1, -1};
    std::vector<pid_t> workers_;
    bool wereEnded_ = false;
};

} // namespace

void Transfer::markDone(std::size_t step, const StepResult& result) {
    if (isOpenEnded_) {
        isDone_.resize(step + 1);
        results_.resize(step + 1);
    }
    isDone_.at(step) = true;
    results_.at(step) = result.text;
    result.isSkipped ? progress_.skip() : progress_.advance(result.bytes);
}

void Transfer::takeLine(const std::string& line) {
    const Json report = Json::parse(line);
    if (report.contains("step"))
        markDone(report["step"], {report["bytes"], report["isSkipped"], report["text"]});
    else
        failures_.push_back(failureOf(report));
}

void Transfer::runHere(const StepWork& work) {
    const Progress::Ticker ticker(progress_);
    work(0, isDone_.size(),
         [this](std::size_t step, const StepResult& result) { markDone(step, result); });
}

// Each worker takes a block of neighbours, so that the server's read-ahead serves it.
void Transfer::runWorkers(const StepWork& work, std::size_t workers) {
    WorkerPool pool;
    for (std::size_t i = 0; i < workers; ++i) {
        const std::size_t begin = isDone_.size() * i / workers;
        const std::size_t end = isDone_.size() * (i + 1) / workers;
        pool.start([&](const StepDone& done) { work(begin, end, done); });
    }
    const Progress::Ticker ticker(progress_); // a thread: started behind the last fork
    pool.listen([this](const std::string& line) {
        takeLine(line);
        if (!failures_.empty() && !wasInterrupted())
            throw failures_.front(); // ends the other workers
    });
    if (!failures_.empty())
        throw failures_.front();
    if (std::count(isDone_.begin(), isDone_.end(), false) > 0)
        throw Failure(Status::Other, "a worker process ended before its time");
}

void Transfer::run(const StepWork& steps) {
    const StepWork work = [&](std::size_t begin, std::size_t end, const StepDone& done) {
        try {
            steps(begin, end, done);
        } catch (const image::Error& error) {
            throw failureOf(error);
        }
    };
    const std::size_t workers =
        std::min(isDone_.size(), static_cast<std::size_t>(options_.workers));
    try {
        workers <= 1 ? runHere(work) : runWorkers(work, workers);
    } catch (const Failure& failure) {
        const bool isResumable = afterFailure_ == AfterFailure::Resume;
        const std::string total = countText(isDone_.size(), "frame");
        Failure told = failure.told(
            "; " +
            (isOpenEnded_ ? total : std::to_string(progress_.framesDone()) + " of " + total) +
            (isDone_.size() == 1 ? " is done" : " are done") +
            (isResumable ? ", --resume goes on from there" : ""));
        told.with("framesDone", static_cast<long long>(progress_.framesDone()));
        if (!isOpenEnded_)
            told.with("framesTotal", static_cast<long long>(isDone_.size()));
        throw told;
    }
}

Json Transfer::figures() const {
    return {{"frames", progress_.framesDone() - progress_.framesSkipped()},
            {"skipped", progress_.framesSkipped()},
            {"bytes", progress_.bytesDone()},
            {"seconds", progress_.seconds()}};
}

} // namespace tool
