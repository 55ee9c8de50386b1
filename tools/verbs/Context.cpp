#include "tools/verbs/Context.h"

#include <iostream>
#include <unistd.h>

namespace tool {

void confirm(const Context& context, const std::string& question) {
    if (context.options.yes) {
        return;
    }
    if (::isatty(STDIN_FILENO) == 0) {
        throw Failure(Status::Usage, question + " Nobody is there to answer: say -y");
    }
    std::cerr << question << " [y/N] ";
    std::string answer;
    std::getline(std::cin, answer);
    if (answer != "y" && answer != "Y" && answer != "yes") {
        throw Failure(Status::Other, "left as it was");
    }
}

} // namespace tool
