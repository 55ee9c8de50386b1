#include "devserver/DevLog.h"

#include <algorithm>

void DevLog::operator()(std::string line) const {
    if (!sink_)
        return;
    std::replace_if(
        line.begin(), line.end(), [](unsigned char c) { return c < ' ' || c == 127; }, '?');
    const std::lock_guard<std::mutex> lock(mutex_);
    sink_(line);
}
