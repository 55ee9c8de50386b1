// What an application may have done before it uses the library, done to every test program on
// demand: a locale of its own, and many descriptors open. Linked into each of them.
#include <clocale>
#include <cstdlib>

#include <fcntl.h>
#include <unistd.h>

namespace {

[[gnu::constructor]] void becomeSuchAHost() {
    const char* const locale = std::getenv("LANTRIX_TEST_LOCALE");
    if (locale != nullptr && std::setlocale(LC_ALL, locale) == nullptr)
        std::abort();
    const char* const descriptors = std::getenv("LANTRIX_TEST_DESCRIPTORS");
    for (int left = descriptors != nullptr ? std::atoi(descriptors) : 0; left > 0; --left)
        if (::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0) < 0) // servers that tests start have few
            std::abort();
}

} // namespace
