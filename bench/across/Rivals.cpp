#include "bench/across/Rivals.h"

namespace bench {

std::vector<std::unique_ptr<Rival>> installedRivals(const std::filesystem::path& folder) {
    std::vector<std::unique_ptr<Rival>> rivals;
#ifdef LANTRIX_BENCH_NGINX
    rivals.push_back(httpRival(folder));
#endif
#ifdef LANTRIX_BENCH_REDIS
    rivals.push_back(redisRival(folder));
#endif
    return rivals;
}

std::string skippedRivals() {
    std::string skipped;
#ifndef LANTRIX_BENCH_NGINX
    skipped += "Skipped HTTP: install nginx-light and libcurl4-openssl-dev, then build again.\n";
#endif
#ifndef LANTRIX_BENCH_REDIS
    skipped += "Skipped Redis: install redis-server and libhiredis-dev, then build again.\n";
#endif
    return skipped;
}

} // namespace bench
