// A folder for files of one run, in memory where the system has a place for that, so that no figure
// is one of the medium. Owns it: it is removed with the object, whatever is in it.
#ifndef BENCH_SUPPORT_SCRATCH_H
#define BENCH_SUPPORT_SCRATCH_H

#include <filesystem>

namespace bench {

class Scratch {
public:
    Scratch();
    ~Scratch();
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;

    const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};

} // namespace bench

#endif
