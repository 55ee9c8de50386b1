#include "image/ImageStream.h"

#include "image/Error.h"
#include "image/ImageFormats.h"

#include <new>

namespace image {

namespace {

Image readAny(InputBuffer& input) {
    constexpr unsigned char firstOfPng = 0x89;
    switch (input.peek()) {
    case 'P':
        return readNetpbm(input);
    case firstOfPng:
        return readPng(input);
    default:
        input.fail("it is not PAM, PPM, PGM or PNG");
    }
}

template <class Work>
void numbered(const InputBuffer& input, int number, const Work& work) {
    const std::string what = "image " + std::to_string(number) + ": ";
    try {
        work();
    } catch (const Error& error) {
        throw Error(error.kind(), what + error.what(), error.file());
    } catch (const std::bad_alloc&) {
        throw Error(ErrorKind::File, what + "there is no memory for it", input.name());
    }
}

} // namespace

bool ImageStream::next(Image& image) {
    if (input_.isAtEnd())
        return false;
    numbered(input_, ++count_, [&] { image = readAny(input_); });
    return true;
}

bool ImageStream::next(Bytes& frame) {
    if (input_.isAtEnd())
        return false;
    numbered(input_, ++count_, [&] { input_.read(frame.data(), frame.size()); });
    return true;
}

} // namespace image
