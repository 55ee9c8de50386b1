// Every public operation on the handles, against a server that answers as the table of wire
// operations says.
#ifndef TESTS_FAULTS_PUBLICOPERATIONS_H
#define TESTS_FAULTS_PUBLICOPERATIONS_H

#include "lantrix/LantrixClientAPI.h"

#include <string>
#include <vector>

/// A server handle, a clip on it, and the variables that operations write their outputs to.
struct Handles {
    explicit Handles(const char* host);

    /// All variables but the frame, and the ids that the handles have.
    std::string outputs() const;

    LantrixServerHandle server;
    LantrixNodeHandle clip;
    LantrixNodeHandle child;
    LantrixClipFormat format;
    LantrixStr text;
    LantrixStr paths[2];
    int numbers[2] = {0, 0};
    bool isClip = false;
    std::vector<char> frame; ///< As large as the clip's format says.
};

struct PublicOperation {
    const char* name;
    bool (*call)(Handles& handles);
};

const std::vector<PublicOperation>& publicOperations();

#endif
