#include "image/Error.h"

#include <cerrno>
#include <cstring>

namespace image {

void failFile(const std::string& what, const std::string& file, const std::string& why) {
    throw Error(ErrorKind::File, what + " '" + file + "': " + why, file);
}

void failFile(const std::string& what, const std::string& file, int errorNumber) {
    throw Error(errorNumber == ENOENT ? ErrorKind::Missing : ErrorKind::File,
                what + " '" + file + "': " + std::strerror(errorNumber), file);
}

} // namespace image
