#include "lantrix/LantrixTypes.h"

#include "base/loggerBase/src/CoAssert.h"
#include "base/loggerBase/src/CoText.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>

#include <strings.h>
#include <unistd.h>

namespace {

const char* const source = "lantrix/LantrixTypes";
constexpr unsigned readingLine = 192, changingLine = 238, freeingLine = 255;

// Text in memory counts as inside a block even at its terminator.
bool isWithin(const char* text, const char* block) {
    const std::less_equal<const char*> notAfter{};
    return notAfter(block, text) && notAfter(text, block + std::strlen(block));
}

bool holdsComma(const char* id) {
    return std::strchr(id, ',') != nullptr;
}

void assertBuffer(const char* buff, unsigned line) {
    coAssert(buff != nullptr, "buff_ != 0", source, line);
}

} // namespace

char LantrixStr::defaultBuff_[1] = "";

LantrixStr::LantrixStr(const char* s) : buff_(defaultBuff_) {
    if (*coTextOrEmpty(s) != '\0')
        *this = s;
}

LantrixStr::LantrixStr(const LantrixStr& other) : buff_(defaultBuff_) {
    *this = other;
}

LantrixStr::~LantrixStr() {
    reset();
}

// Makes room for a text of \p length bytes. Without memory the string becomes empty: nothing may
// be written into the shared buffer, which holds only its terminator.
bool LantrixStr::resizeBuff(unsigned long length) {
    const bool isNew = !ownsBuff();
    void* const block = length < SIZE_MAX
                            ? std::realloc(isNew ? nullptr : buff_, std::size_t{length} + 1)
                            : nullptr;
    if (block == nullptr) {
        reset();
        return false;
    }
    buff_ = static_cast<char*>(block);
    if (isNew)
        buff_[0] = '\0';
    return true;
}

LantrixStr& LantrixStr::operator=(const char* s) {
    assertBuffer(buff_, changingLine);
    s = coTextOrEmpty(s);
    const std::size_t length = std::strlen(s);
    if (!isWithin(s, buff_)) {
        if (resizeBuff(length))
            std::memcpy(buff_, s, length + 1);
    } else if (ownsBuff()) {
        // A piece of the own text moves to the front before the block shrinks behind it.
        std::memmove(buff_, s, length + 1);
        resizeBuff(length);
    }
    return *this;
}

LantrixStr& LantrixStr::operator=(const LantrixStr& other) {
    assertBuffer(other.buff_, readingLine);
    if (this != &other)
        *this = other.buff_;
    return *this;
}

const char* LantrixStr::c_str() const {
    return buff_;
}

LantrixStr::operator const char*() const {
    return buff_;
}

char LantrixStr::operator[](unsigned i) const {
    return buff_[i];
}

unsigned LantrixStr::length() const {
    assertBuffer(buff_, readingLine);
    return static_cast<unsigned>(std::strlen(buff_));
}

void LantrixStr::reset() {
    assertBuffer(buff_, freeingLine);
    if (ownsBuff())
        std::free(buff_);
    buff_ = defaultBuff_;
}

char* LantrixStr::allocNewBuff(unsigned n) {
    reset();
    resizeBuff(n);
    return buff_;
}

char* LantrixStr::reallocBuff(unsigned n) {
    assertBuffer(buff_, changingLine);
    if (resizeBuff(n))
        buff_[n] = '\0';
    return buff_;
}

void LantrixStr::freeBuff() {
    reset();
}

bool operator==(const LantrixStr& a, const LantrixStr& b) {
    return std::strcmp(a.c_str(), b.c_str()) == 0;
}

LantrixNodeId::LantrixNodeId(const char* id) : id_(id) {}
LantrixNodeId::LantrixNodeId(const LantrixStr& id) : id_(id) {}
LantrixNodeId::LantrixNodeId(const LantrixNodeId& other) = default;
LantrixNodeId::~LantrixNodeId() = default;
LantrixNodeId& LantrixNodeId::operator=(const LantrixNodeId& other) = default;
const char* LantrixNodeId::id() const {
    return id_.c_str();
}
void LantrixNodeId::setId(const char* id) {
    id_ = id;
}
bool LantrixNodeId::isValid() const {
    return !holdsComma(id());
}

LantrixFrameId::LantrixFrameId(const char* id) : id_(id) {}
LantrixFrameId::LantrixFrameId(const LantrixStr& id) : id_(id) {}
LantrixFrameId::LantrixFrameId(const LantrixFrameId& other) = default;
LantrixFrameId::~LantrixFrameId() = default;
LantrixFrameId& LantrixFrameId::operator=(const LantrixFrameId& other) = default;
const char* LantrixFrameId::id() const {
    return id_.c_str();
}
void LantrixFrameId::setId(const char* id) {
    id_ = id;
}
bool LantrixFrameId::isValid() const {
    return !holdsComma(id());
}

LantrixClipFormat::LantrixClipFormat()
    : width_(1), height_(1), frameBufferSize_(1), pixelRatio_(1.0F), scanFormat_(Field1Odd),
      frameRate_(30.0F), bitsPerPixel_(24), numChannels_(3) {}

// Unlike the default, which is empty, a metadata tag that is not given is "none".
LantrixClipFormat::LantrixClipFormat(int width, int height, int bitsPerPixel, int numChannels,
                                     int frameBufferSize, float frameRate, float pixelRatio,
                                     ScanFormat scanFormat, const char* formatTag,
                                     const char* metaDataTag, const char* metaData)
    : formatTag_(formatTag), metaData_(metaData),
      metaDataTag_(metaDataTag != nullptr ? metaDataTag : "none"), width_(width), height_(height),
      frameBufferSize_(frameBufferSize), pixelRatio_(pixelRatio), scanFormat_(scanFormat),
      frameRate_(frameRate), bitsPerPixel_(bitsPerPixel), numChannels_(numChannels) {}

LantrixClipFormat::LantrixClipFormat(const LantrixClipFormat& other) = default;
LantrixClipFormat::~LantrixClipFormat() = default;
LantrixClipFormat& LantrixClipFormat::operator=(const LantrixClipFormat& other) = default;

int LantrixClipFormat::width() const {
    return width_;
}
int LantrixClipFormat::height() const {
    return height_;
}
int LantrixClipFormat::bitsPerPixel() const {
    return bitsPerPixel_;
}
int LantrixClipFormat::numChannels() const {
    return numChannels_;
}
int LantrixClipFormat::frameBufferSize() const {
    return frameBufferSize_;
}
float LantrixClipFormat::frameRate() const {
    return frameRate_;
}
float LantrixClipFormat::pixelRatio() const {
    return pixelRatio_;
}
LantrixClipFormat::ScanFormat LantrixClipFormat::scanFormat() const {
    return scanFormat_;
}
const char* LantrixClipFormat::formatTag() const {
    return formatTag_.c_str();
}
const char* LantrixClipFormat::metaDataTag() const {
    return metaDataTag_.c_str();
}
const char* LantrixClipFormat::metaData() const {
    return metaData_.c_str();
}
void LantrixClipFormat::setWidth(int width) {
    width_ = width;
}
void LantrixClipFormat::setHeight(int height) {
    height_ = height;
}
void LantrixClipFormat::setBitsPerPixel(int bitsPerPixel) {
    bitsPerPixel_ = bitsPerPixel;
}
void LantrixClipFormat::setNumChannels(int numChannels) {
    numChannels_ = numChannels;
}
void LantrixClipFormat::setFrameBufferSize(int size) {
    frameBufferSize_ = size;
}
void LantrixClipFormat::setFrameRate(float frameRate) {
    frameRate_ = frameRate;
}
void LantrixClipFormat::setPixelRatio(float pixelRatio) {
    pixelRatio_ = pixelRatio;
}
void LantrixClipFormat::setScanFormat(ScanFormat scanFormat) {
    scanFormat_ = scanFormat;
}
void LantrixClipFormat::setFormatTag(const char* formatTag) {
    formatTag_ = formatTag;
}
void LantrixClipFormat::setMetaDataTag(const char* metaDataTag) {
    metaDataTag_ = metaDataTag;
}
void LantrixClipFormat::setMetaData(const char* metaData) {
    metaData_ = metaData;
}

const char* LantrixClipFormat::scanFormatStr(ScanFormat scanFormat) {
    switch (scanFormat) {
    case Field1Odd:
        return "field1_odd";
    case Field1Even:
        return "field1_even";
    case Field2Odd:
        return "field2_odd";
    case Field2Even:
        return "field2_even";
    case Progressive:
        return "progressive";
    }
    return "unknown";
}

bool LantrixClipFormat::strToScanFormat(const char* s, ScanFormat& out) {
    for (const ScanFormat scanFormat :
         {Field1Odd, Field2Odd, Field1Even, Field2Even, Progressive}) {
        if (strcasecmp(coTextOrEmpty(s), scanFormatStr(scanFormat)) == 0) {
            out = scanFormat;
            return true;
        }
    }
    return false;
}

LantrixOS::OsType LantrixOS::getOSType() {
    return Unknown;
}

const char* LantrixOS::OsTypeStr(OsType type) {
    switch (type) {
    case Irix:
        return "Irix";
    case Linux:
        return "Linux";
    case WindowsNT:
        return "WindowsNT";
    case MacOSX:
        return "MacOSX";
    case Unknown:
        break;
    }
    return "Unknown";
}

LantrixOS::OsType LantrixOS::strToOsType(const char* s) {
    for (const OsType type : {Irix, Linux, WindowsNT, MacOSX})
        if (strcasecmp(coTextOrEmpty(s), OsTypeStr(type)) == 0)
            return type;
    return Unknown;
}

LantrixStr LantrixOS::getHostName() {
    char name[256] = "";
    // The last byte stays a terminator, which a cut name need not have.
    return ::gethostname(name, sizeof name - 1) == 0 ? name : "unknown";
}

LantrixStr LantrixOS::getOSVersion() {
    return "unknown";
}
