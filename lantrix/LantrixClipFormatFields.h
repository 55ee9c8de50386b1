// The order in which the fields of a clip format travel, in requests and in replies, and their form
// on the way. Client and development server write and read by this one list.
// Stateless; any thread. Only std::bad_alloc is thrown. Not installed.
#ifndef LANTRIX_LANTRIXCLIPFORMATFIELDS_H
#define LANTRIX_LANTRIXCLIPFORMATFIELDS_H

#include "base/loggerBase/src/CoText.h"
#include "lantrix/LantrixTypes.h"

#include <cstddef>
#include <string>

/// How many fields there are in front of the metadata.
constexpr std::size_t lantrixClipFormatFields = 10;

/// Calls \p visit with the name, the getter and the setter of each field but the metadata, in
/// order. The metadata follows them as the last field: quoted and escaped in requests, as it stands
/// in replies.
template <class Visit>
void lantrixForEachClipFormatField(Visit&& visit) {
    using Format = LantrixClipFormat;
    visit("width", &Format::width, &Format::setWidth);
    visit("height", &Format::height, &Format::setHeight);
    visit("number of bits per pixel", &Format::bitsPerPixel, &Format::setBitsPerPixel);
    visit("number of channels", &Format::numChannels, &Format::setNumChannels);
    visit("frame buffer size", &Format::frameBufferSize, &Format::setFrameBufferSize);
    visit("pixel ratio", &Format::pixelRatio, &Format::setPixelRatio);
    visit("frame rate", &Format::frameRate, &Format::setFrameRate);
    visit("format tag", &Format::formatTag, &Format::setFormatTag);
    visit("scan format", &Format::scanFormat, &Format::setScanFormat);
    visit("metadata tag", &Format::metaDataTag, &Format::setMetaDataTag);
}

inline std::string lantrixFieldText(int value) {
    return std::to_string(value);
}
inline std::string lantrixFieldText(float value) {
    return coFormatCut(32, "%g", static_cast<double>(value));
}
inline std::string lantrixFieldText(const char* value) {
    return value;
}
inline std::string lantrixFieldText(LantrixClipFormat::ScanFormat value) {
    return std::to_string(value);
}

/// The fields of \p format in front of the metadata, each followed by a blank.
inline std::string lantrixClipFormatText(const LantrixClipFormat& format) {
    std::string text;
    lantrixForEachClipFormatField([&](const char*, auto get, auto) {
        text.append(lantrixFieldText((format.*get)())).push_back(' ');
    });
    return text;
}

#endif
