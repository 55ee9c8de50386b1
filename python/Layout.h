// Between the format of a clip and numpy: which array holds a frame, and whether an array is one.
// The layouts are those of image/; here stand only their names in numpy.
// Plain values; the functions that take arrays are used with the interpreter's lock held.
#ifndef PYTHON_LAYOUT_H
#define PYTHON_LAYOUT_H

#include "image/PixelLayout.h"
#include "python/Binding.h"

#include <pybind11/numpy.h>

namespace python {

/// How numpy holds the frames of a clip.
class Layout {
public:
    /// Throws BadFrame for a format whose frames have no layout that is known.
    explicit Layout(const LantrixClipFormat& format);

    /// Of the array: height, width and, but for gray, channels.
    [[nodiscard]] std::vector<py::ssize_t> shape() const;
    /// "u1", "<u2", "<f2" or "<f4".
    [[nodiscard]] const char* typeName() const;
    /// Of anything; begins where frames are received fast.
    [[nodiscard]] py::array newArray() const;
    /// Throws BadFrame unless \p array has the type and shape of a frame.
    void check(const py::array& array) const;

    /// True when the bytes of a frame are those of the array.
    [[nodiscard]] bool isPlain() const { return layout_.kind != image::SampleKind::Packed10; }
    /// Between the samples of an array and the bytes of a frame; the interpreter's lock is not
    /// needed. pack() throws BadFrame for samples that the frame can't hold. The frame that is
    /// unpacked may lie at the end of the samples' memory.
    void pack(const char* samples, char* frame) const;
    void unpack(const char* frame, char* samples) const;
    /// Bytes of the array.
    [[nodiscard]] std::size_t arrayBytes() const;

private:
    [[nodiscard]] bool hasShape(const py::array& array) const;
    [[nodiscard]] std::size_t pixels() const {
        return static_cast<std::size_t>(width_) * static_cast<std::size_t>(height_);
    }

    image::PixelLayout layout_;
    int width_;
    int height_;
};

/// All fields of a format, in the order of lantrix.Format.
[[nodiscard]] py::tuple tupleOf(const LantrixClipFormat& format);
/// The reverse; throws ValueError for a field that a format can't have.
[[nodiscard]] LantrixClipFormat formatOf(const py::tuple& fields);
/// The format of frames with this shape and numpy type ("u1" and the like).
[[nodiscard]] py::tuple formatOfArray(int width, int height, int channels, const Text& type);
/// The shape and numpy type of frames with this format.
[[nodiscard]] py::tuple arrayOfFormat(const py::tuple& fields);

} // namespace python

#endif
