#include "tools/transfer/ImageFailure.h"

namespace tool {

Failure failureOf(const image::Error& error) {
    struct Row {
        image::ErrorKind kind;
        Status status;
        const char* advice;
    };
    using Kind = image::ErrorKind;
    static const Row rows[] = {
        {Kind::Missing, Status::FrameMissing, ""},
        {Kind::File, Status::LocalFile, ""},
        {Kind::UnknownFile, Status::LocalFile,
         ": other files go through a pipe (see cat), or with --raw"},
        {Kind::UnknownLayout, Status::Other,
         ": its frames can only be moved as they are, with --raw"},
        {Kind::TooLarge, Status::Other, ""},
        {Kind::Argument, Status::Usage, ""},
    };
    for (const Row& row : rows) {
        if (row.kind == error.kind()) {
            Failure failure(row.status, std::string(error.what()) + row.advice);
            return error.file().empty() ? failure : failure.with("file", error.file());
        }
    }
    return {Status::Other, error.what()};
}

} // namespace tool
