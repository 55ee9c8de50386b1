#include "python/Layout.h"

#include "image/Error.h"
#include "stream/Frame.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>

namespace python {

namespace {

struct TypeRow {
    image::SampleKind kind; // in which an array holds samples
    const char* name;
    char letter; // numpy's kind
    int bytes;
};

constexpr std::array<TypeRow, 4> types{{{image::SampleKind::Integer8, "u1", 'u', 1},
                                        {image::SampleKind::Integer16, "<u2", 'u', 2},
                                        {image::SampleKind::Half, "<f2", 'f', 2},
                                        {image::SampleKind::Float, "<f4", 'f', 4}}};

const TypeRow& typeOf(const image::PixelLayout& layout) {
    for (const TypeRow& row : types)
        if (row.kind == layout.samples().heldAs)
            return row;
    throw BindingError(ErrorKind::BadFrame, "numpy has no type for " + layout.tag());
}

image::PixelLayout layoutOf(const LantrixClipFormat& format) {
    try {
        return image::layoutOfClip(format);
    } catch (const image::Error& error) {
        throw BindingError(ErrorKind::BadFrame,
                           std::string(error.what()) + "; raw() and write_raw() move such frames");
    }
}

std::string shapeText(const std::vector<py::ssize_t>& shape) {
    std::string text;
    for (const py::ssize_t extent : shape)
        text += (text.empty() ? "(" : ", ") + std::to_string(extent);
    return text + ")";
}

void requireNumber(bool isGood, const char* what) {
    if (!isGood)
        throw py::value_error(std::string("not a clip format: ") + what);
}

} // namespace

Layout::Layout(const LantrixClipFormat& format)
    : layout_(layoutOf(format)), width_(format.width()), height_(format.height()) {}

std::vector<py::ssize_t> Layout::shape() const {
    std::vector<py::ssize_t> shape{height_, width_};
    if (layout_.channels > 1)
        shape.push_back(layout_.channels);
    return shape;
}

// Without allocating: asked for each frame.
bool Layout::hasShape(const py::array& array) const {
    const std::array<py::ssize_t, 3> extents{height_, width_, layout_.channels};
    const py::ssize_t axes = layout_.channels > 1 ? 3 : 2;
    return array.ndim() == axes && std::equal(array.shape(), array.shape() + axes, extents.begin());
}

const char* Layout::typeName() const {
    return typeOf(layout_).name;
}

// In numpy's own memory, of which it tells the system what it is for.
py::array Layout::newArray() const {
    constexpr std::size_t alignment = lantrix::frameAlignment;
    std::size_t room = arrayBytes() + alignment;
    py::array_t<std::uint8_t> memory(static_cast<py::ssize_t>(room));
    void* start = memory.mutable_data();
    start = std::align(alignment, arrayBytes(), start, room);
    return {py::dtype(typeName()), shape(), start, memory};
}

void Layout::check(const py::array& array) const {
    const TypeRow& row = typeOf(layout_);
    const py::dtype type = array.dtype();
    if (type.kind() != row.letter || type.itemsize() != row.bytes || type.byteorder() == '>') {
        throw BindingError(ErrorKind::BadFrame, "the array holds " + std::string(py::repr(type)) +
                                                    ", the frames of this clip are " + row.name);
    }
    if (!hasShape(array)) {
        const std::vector<py::ssize_t> found(array.shape(), array.shape() + array.ndim());
        throw BindingError(ErrorKind::BadFrame, "the array has the shape " + shapeText(found) +
                                                    ", the frames of this clip " +
                                                    shapeText(shape()));
    }
}

std::size_t Layout::arrayBytes() const {
    return pixels() * static_cast<std::size_t>(layout_.channels * typeOf(layout_).bytes);
}

void Layout::pack(const char* samples, char* frame) const {
    if (isPlain()) {
        std::memcpy(frame, samples, arrayBytes());
        return;
    }
    try {
        image::packCodes(samples, pixels(), frame);
    } catch (const image::Error& error) {
        throw BindingError(ErrorKind::BadFrame, error.what());
    }
}

void Layout::unpack(const char* frame, char* samples) const {
    if (isPlain())
        std::memcpy(samples, frame, arrayBytes());
    else
        image::unpackCodes(frame, pixels(), samples);
}

py::tuple tupleOf(const LantrixClipFormat& format) {
    return py::make_tuple(
        format.width(), format.height(), format.bitsPerPixel(), format.numChannels(),
        format.frameBufferSize(), format.frameRate(), format.pixelRatio(),
        LantrixClipFormat::scanFormatStr(format.scanFormat()), Text{format.formatTag()},
        Text{format.metaDataTag()}, Text{format.metaData()});
}

LantrixClipFormat formatOf(const py::tuple& fields) {
    requireNumber(fields.size() == 11, "there are 11 fields");
    LantrixClipFormat format;
    const auto number = [&fields](std::size_t field) { return fields[field].cast<int>(); };
    for (std::size_t field = 0; field < 5; ++field)
        requireNumber(number(field) > 0, "sizes and counts are positive");
    const auto rate = fields[5].cast<float>();
    const auto ratio = fields[6].cast<float>();
    requireNumber(std::isfinite(rate) && rate > 0 && std::isfinite(ratio) && ratio > 0,
                  "rate and pixel ratio are positive");
    LantrixClipFormat::ScanFormat scan{};
    requireNumber(LantrixClipFormat::strToScanFormat(fields[7].cast<Text>().bytes.c_str(), scan),
                  "the scan format is 'progressive', 'field1_odd' and the like");
    format.setWidth(number(0));
    format.setHeight(number(1));
    format.setBitsPerPixel(number(2));
    format.setNumChannels(number(3));
    format.setFrameBufferSize(number(4));
    format.setFrameRate(rate);
    format.setPixelRatio(ratio);
    format.setScanFormat(scan);
    format.setFormatTag(fields[8].cast<Text>().bytes.c_str());
    format.setMetaDataTag(fields[9].cast<Text>().bytes.c_str());
    format.setMetaData(fields[10].cast<Text>().bytes.c_str());
    return format;
}

py::tuple formatOfArray(int width, int height, int channels, const Text& type) {
    try {
        for (const TypeRow& row : types) {
            if (row.name == type.bytes && channels >= 1 && channels <= 4)
                return tupleOf(image::clipFormat({row.kind, channels}, width, height));
        }
    } catch (const image::Error& error) {
        throw BindingError(ErrorKind::BadFrame, error.what());
    }
    throw BindingError(ErrorKind::BadFrame, "no clip has frames of " + std::to_string(channels) +
                                                " channels of type " + type.bytes);
}

py::tuple arrayOfFormat(const py::tuple& fields) {
    const Layout layout(formatOf(fields));
    const py::list shape = py::cast(layout.shape());
    return py::make_tuple(py::tuple(shape), layout.typeName());
}

} // namespace python
