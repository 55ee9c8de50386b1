// How this layer fails: one exception with the kind of the failure and, where there is one, the
// file that it is about. Thrown from anywhere; whoever uses the layer translates it at its border.
#ifndef IMAGE_ERROR_H
#define IMAGE_ERROR_H

#include <stdexcept>
#include <string>

namespace image {

enum class ErrorKind {
    Missing,       ///< The file is not there.
    File,          ///< The file can't be read or written, or is not what it has to be.
    UnknownFile,   ///< The name does not end like that of any kind of image file known here.
    UnknownLayout, ///< What the bytes of the frames mean is not known here.
    TooLarge,      ///< The frame is empty, or larger than the protocol can carry.
    Argument,      ///< A text that a person wrote is not understood.
};

class Error : public std::runtime_error {
public:
    Error(ErrorKind kind, const std::string& message, std::string file = {})
        : std::runtime_error(message), kind_(kind), file_(std::move(file)) {}

    [[nodiscard]] ErrorKind kind() const { return kind_; }
    /// The name of the file, "" when the failure is not about one.
    [[nodiscard]] const std::string& file() const { return file_; }

private:
    ErrorKind kind_;
    std::string file_;
};

/// "WHAT 'FILE': WHY".
[[noreturn]] void failFile(const std::string& what, const std::string& file,
                           const std::string& why);
/// The same with the text of \p errorNumber; a file that is not there is of the kind Missing.
[[noreturn]] void failFile(const std::string& what, const std::string& file, int errorNumber);

} // namespace image

#endif
