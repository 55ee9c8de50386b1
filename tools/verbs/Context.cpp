#include "tools/verbs/Context.h"

#include "tools/report/PrintableText.h"
#include "tools/session/Interrupt.h"

#include <cstring>
#include <iostream>

#include <poll.h>
#include <unistd.h>

namespace tool {

namespace {

// Waits for a line on the terminal. A signal ends no read, so that what may be read is awaited.
std::string readAnswer() {
    constexpr int milliseconds = 100; // how soon a signal is seen that another thread has taken
    pollfd entry{STDIN_FILENO, POLLIN, 0};
    while (!wasInterrupted() && ::poll(&entry, 1, milliseconds) <= 0) {
    }
    std::string answer;
    if (!wasInterrupted())
        std::getline(std::cin, answer);
    return answer;
}

} // namespace

bool Context::mayUse(const std::string& verb) const {
    char** word = words;
    while (*word != nullptr && *word != verb && std::strncmp(*word, "complet", 7) != 0)
        ++word;
    return *word != nullptr;
}

void confirm(const Context& context, const std::string& question) {
    if (context.options.yes)
        return;
    if (::isatty(STDIN_FILENO) == 0)
        throw Failure(Status::Usage,
                      question + " There is no terminal to ask on: pass -y to answer yes");
    std::cerr << printableText(question) << " [y/N] ";
    const std::string answer = readAnswer();
    if (wasInterrupted())
        throw Failure(Status::Interrupted, "interrupted");
    if (answer != "y" && answer != "Y" && answer != "yes")
        throw Failure(Status::Other, "left as it was");
}

} // namespace tool
