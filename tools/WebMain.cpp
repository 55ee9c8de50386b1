// lantrix-web: the command-line tool with the verb web, which lantrix leaves to it.
#include "tools/Application.h"
#include "tools/web/ServeWeb.h"

int main(int argc, char** argv) {
    return tool::runApplication(argc, argv, {tool::serveWeb, nullptr});
}
