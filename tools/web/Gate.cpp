#include "tools/web/Gate.h"

#include "tools/report/Failure.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>
#include <utility>

#include <arpa/inet.h>
#include <fcntl.h>
#include <unistd.h>

namespace tool {

namespace {

constexpr std::size_t tokenBytes = 16;

// The only header of this name; none when there is none, "" when there are several.
std::optional<std::string> headerOf(const HttpRequest& request, const std::string& name) {
    const auto [begin, end] = request.headers.equal_range(name);
    if (begin == end)
        return std::nullopt;
    return std::next(begin) == end ? begin->second : "";
}

// Takes as long whatever the texts are, so that the time tells nothing about them.
bool isSame(const std::string& one, const std::string& other) {
    unsigned difference = one.size() == other.size() ? 0U : 1U;
    for (std::size_t i = 0; i < one.size(); ++i)
        difference |=
            static_cast<unsigned char>(one[i]) ^
            static_cast<unsigned>(static_cast<unsigned char>(i < other.size() ? other[i] : 0));
    return difference == 0;
}

// Browsers say where a request comes from. The page asks from its own origin; a person who types
// the address, or follows a link to it, opens the page itself, which shows the other site nothing.
bool comesFromElsewhere(const HttpRequest& request, const std::string& name) {
    const std::string site = headerOf(request, "sec-fetch-site").value_or("none");
    if (site == "none" || site == "same-origin")
        return false;
    return !name.empty() || headerOf(request, "sec-fetch-mode").value_or("") != "navigate" ||
           headerOf(request, "sec-fetch-dest").value_or("") != "document";
}

} // namespace

std::string randomToken() {
    const int source = ::open("/dev/urandom", O_RDONLY | O_CLOEXEC);
    std::array<unsigned char, tokenBytes> bytes{};
    const bool isRead = source >= 0 && ::read(source, bytes.data(), bytes.size()) ==
                                           static_cast<ssize_t>(bytes.size());
    const int error = errno;
    if (source >= 0)
        ::close(source);
    if (!isRead)
        throw fileFailure("can't read", "/dev/urandom", error);
    constexpr const char* digits = "0123456789abcdef";
    std::string token;
    for (const unsigned char byte : bytes) {
        token += digits[byte >> 4U];
        token += digits[byte & 15U];
    }
    return token;
}

Gate::Gate(const std::string& address, int port, std::string token)
    : port_(":" + std::to_string(port)), token_(std::move(token)) {
    if (address == "0.0.0.0")
        return;
    hosts_.push_back(address + port_);
    if (address == "127.0.0.1")
        hosts_.push_back("localhost" + port_);
    if (port == 80) // which browsers leave out
        hosts_.push_back(address);
}

// A name that was bound to this machine's address by somebody else is never one of these.
bool Gate::isOurs(const std::string& host) const {
    if (!hosts_.empty())
        return std::find(hosts_.begin(), hosts_.end(), host) != hosts_.end();
    in_addr number{};
    const std::size_t end = host.rfind(':');
    return end != std::string::npos && host.substr(end) == port_ &&
           ::inet_pton(AF_INET, host.substr(0, end).c_str(), &number) == 1;
}

Gate::Verdict Gate::judge(const HttpRequest& request) const {
    const std::string& path = request.path;
    const std::size_t begin = token_.size() + 1;
    const bool hasToken =
        isSame(token_, path.substr(std::min<std::size_t>(path.size(), 1), token_.size()));
    const std::string host = headerOf(request, "host").value_or("");
    if (!hasToken || path.size() <= begin || path[0] != '/' || path[begin] != '/' || !isOurs(host))
        return {404, ""};
    std::string name = path.substr(begin + 1);
    const std::string origin = headerOf(request, "origin").value_or("http://" + host);
    if (origin != "http://" + host || comesFromElsewhere(request, name))
        return {403, ""};
    return {200, std::move(name)};
}

} // namespace tool
