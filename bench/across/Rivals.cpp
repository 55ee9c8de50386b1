#include "bench/across/Rivals.h"

namespace bench {

std::vector<std::unique_ptr<Rival>>
installedRivals([[maybe_unused]] const std::filesystem::path& folder) {
    std::vector<std::unique_ptr<Rival>> rivals;
#ifdef LANTRIX_BENCH_NGINX
    rivals.push_back(httpRival(folder));
#endif
#ifdef LANTRIX_BENCH_REDIS
    rivals.push_back(redisRival(folder));
#endif
    return rivals;
}

} // namespace bench
