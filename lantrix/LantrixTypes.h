// The value types that cross the library's boundary: strings, identifiers, the clip format and
// the operating-system type. They share no object of the standard library with their caller, so
// that application and library may be built by different compilers.
// Each owns its texts; copies are deep. One thread at a time per object. No operation throws or
// reports an error: a string that finds no memory is empty.
#ifndef LANTRIX_LANTRIXTYPES_H
#define LANTRIX_LANTRIXTYPES_H

#define LANTRIX_EXPORT __attribute__((visibility("default")))

/// A NUL-terminated text. One virtual table and one pointer, whatever compiler built the caller.
class LANTRIX_EXPORT LantrixStr {
public:
    /// Copies \p s; null or "" allocates nothing. Converts implicitly, as texts are expected to.
    LantrixStr(const char* s = nullptr);
    LantrixStr(const LantrixStr& other);
    virtual ~LantrixStr();

    /// Copies the text; null is the empty text. \p s may be a piece of this string's own text.
    LantrixStr& operator=(const char* s);
    LantrixStr& operator=(const LantrixStr& other);

    /// Exchanges the texts of two strings, which never fails.
    void swap(LantrixStr& other) noexcept { exchange(buff_, other.buff_); }

    /// The text: never null, valid until this string is changed or destroyed.
    const char* c_str() const;
    operator const char*() const;
    /// Bytes before the terminator.
    unsigned length() const;
    /// The byte at \p i, which is not checked; the terminator is at length().
    char operator[](unsigned i) const;
    /// For indices of other integer types, which would otherwise convert in more than one way.
    template <class Index>
    char operator[](Index i) const {
        return buff_[i];
    }

    /// Empties the string and frees its memory.
    void reset();
    /// Replaces the contents by an empty text with room for \p n bytes and a terminator. Returns
    /// the room, which stays the string's; the shared empty text when there is no memory.
    char* allocNewBuff(unsigned n);
    /// As allocNewBuff, but keeps the contents, cut to \p n bytes.
    char* reallocBuff(unsigned n);
    /// As reset.
    void freeBuff();

    /// As constructor and destructor, on the heap. Deleting null does nothing.
    static LantrixStr* LantrixStr_new(const char* text);
    static void LantrixStr_delete(LantrixStr* str);

private:
    friend class LantrixClipFormat;
    static char defaultBuff_[1];

    template <class Value>
    static void exchange(Value& a, Value& b) noexcept {
        const Value kept = a;
        a = b;
        b = kept;
    }

    bool ownsBuff() const { return buff_ != defaultBuff_; }
    bool resizeBuff(unsigned long length);

    char* buff_; // never null: a block of malloc, or the shared empty text
};

/// True when both texts are the same bytes.
LANTRIX_EXPORT bool operator==(const LantrixStr& a, const LantrixStr& b);

/// Names one node on a server: an opaque text that the server chooses.
class LANTRIX_EXPORT LantrixNodeId {
public:
    /// Null is the empty id.
    LantrixNodeId(const char* id = nullptr);
    LantrixNodeId(const LantrixStr& id);
    LantrixNodeId(const LantrixNodeId& other);
    ~LantrixNodeId();
    LantrixNodeId& operator=(const LantrixNodeId& other);
    /// Exchanges the texts of two ids, which never fails.
    void swap(LantrixNodeId& other) noexcept { id_.swap(other.id_); }

    /// The text; valid until this id is changed or destroyed.
    const char* id() const;
    void setId(const char* id);
    /// True when the text holds no comma, which separates ids in the server's lists.
    bool isValid() const;

    /// As constructor and destructor, on the heap. Deleting null does nothing.
    static LantrixNodeId* LantrixNodeId_new(const char* id);
    static void LantrixNodeId_delete(LantrixNodeId* id);

private:
    LantrixStr id_;
};

/// Names one frame of a clip: an opaque text that the server chooses.
class LANTRIX_EXPORT LantrixFrameId {
public:
    /// Null is the empty id.
    LantrixFrameId(const char* id = nullptr);
    LantrixFrameId(const LantrixStr& id);
    LantrixFrameId(const LantrixFrameId& other);
    ~LantrixFrameId();
    LantrixFrameId& operator=(const LantrixFrameId& other);

    /// The text; valid until this id is changed or destroyed.
    const char* id() const;
    void setId(const char* id);
    /// True when the text holds no comma, which separates ids in the server's lists.
    bool isValid() const;

private:
    LantrixStr id_;
};

/// What all frames of a clip have in common. Setters store their one field and check nothing; in
/// particular the frame buffer size follows from no other field.
class LANTRIX_EXPORT LantrixClipFormat {
public:
    /// Field order. One byte wide.
    enum ScanFormat : unsigned char {
        Field1Odd = 0,
        Field1Even = 1,
        Field2Odd = 2,
        Field2Even = 3,
        Progressive = 4
    };

    /// 1 x 1 pixel of 24 bits in 3 channels, 1 byte per frame, 30 frames per second, square
    /// pixels, Field1Odd, all texts empty.
    LantrixClipFormat();
    /// \p width and \p height in pixels, \p bitsPerPixel over all channels, \p frameBufferSize in
    /// bytes of one frame, \p frameRate in frames per second, \p pixelRatio width by height of a
    /// pixel. Null texts are "", but a null \p metaDataTag is "none".
    LantrixClipFormat(int width, int height, int bitsPerPixel, int numChannels, int frameBufferSize,
                      float frameRate, float pixelRatio, ScanFormat scanFormat,
                      const char* formatTag, const char* metaDataTag, const char* metaData);
    LantrixClipFormat(const LantrixClipFormat& other);
    ~LantrixClipFormat();
    LantrixClipFormat& operator=(const LantrixClipFormat& other);
    /// Exchanges all fields of two formats, which never fails.
    void swap(LantrixClipFormat& other) noexcept;

    /// Pixels per line.
    int width() const;
    /// Lines per frame.
    int height() const;
    /// Bits of one pixel, all channels together.
    int bitsPerPixel() const;
    int numChannels() const;
    /// Bytes of one frame.
    int frameBufferSize() const;
    /// Frames per second.
    float frameRate() const;
    /// Width of a pixel divided by its height.
    float pixelRatio() const;
    ScanFormat scanFormat() const;
    /// Names the pixel format; this and the texts below are valid until they are set again.
    const char* formatTag() const;
    /// Names the kind of metadata.
    const char* metaDataTag() const;
    const char* metaData() const;

    /// Each sets what the getter of its name returns; a null text is the empty text.
    void setWidth(int width);
    void setHeight(int height);
    void setBitsPerPixel(int bitsPerPixel);
    void setNumChannels(int numChannels);
    void setFrameBufferSize(int size);
    void setFrameRate(float frameRate);
    void setPixelRatio(float pixelRatio);
    void setScanFormat(ScanFormat scanFormat);
    void setFormatTag(const char* formatTag);
    void setMetaDataTag(const char* metaDataTag);
    void setMetaData(const char* metaData);

    /// "field1_odd", "field1_even", "field2_odd", "field2_even", "progressive"; "unknown" for any
    /// other value.
    static const char* scanFormatStr(ScanFormat scanFormat);
    /// The scan format of one of these texts, in any case; false, and \p out as it was, for any
    /// other and for null.
    static bool strToScanFormat(const char* s, ScanFormat& out);

    /// As constructor and destructor, on the heap. Deleting null does nothing.
    static LantrixClipFormat* LantrixClipFormat_new();
    static void LantrixClipFormat_delete(LantrixClipFormat* format);

private:
    LantrixStr formatTag_;
    LantrixStr metaData_;
    LantrixStr metaDataTag_;
    int width_;
    int height_;
    int frameBufferSize_;
    float pixelRatio_;
    ScanFormat scanFormat_;
    float frameRate_;
    int bitsPerPixel_;
    int numChannels_;
};

inline void LantrixClipFormat::swap(LantrixClipFormat& other) noexcept {
    formatTag_.swap(other.formatTag_);
    metaData_.swap(other.metaData_);
    metaDataTag_.swap(other.metaDataTag_);
    LantrixStr::exchange(width_, other.width_);
    LantrixStr::exchange(height_, other.height_);
    LantrixStr::exchange(frameBufferSize_, other.frameBufferSize_);
    LantrixStr::exchange(pixelRatio_, other.pixelRatio_);
    LantrixStr::exchange(scanFormat_, other.scanFormat_);
    LantrixStr::exchange(frameRate_, other.frameRate_);
    LantrixStr::exchange(bitsPerPixel_, other.bitsPerPixel_);
    LantrixStr::exchange(numChannels_, other.numChannels_);
}
inline void swap(LantrixClipFormat& a, LantrixClipFormat& b) noexcept {
    a.swap(b);
}

/// Operating systems, as servers name them when they translate paths, and this machine's name.
class LANTRIX_EXPORT LantrixOS {
public:
    /// The numbers are those of the wire.
    enum OsType { Unknown = 0, Irix = 1, Linux = 2, WindowsNT = 3, MacOSX = 4 };

    /// Unknown on every platform: servers are not told what a client runs on.
    static OsType getOSType();
    /// "Irix", "Linux", "WindowsNT", "MacOSX"; "Unknown" for any other value.
    static const char* OsTypeStr(OsType type);
    /// The type of one of these texts, in any case; Unknown for any other and for null.
    static OsType strToOsType(const char* s);
    /// This machine's host name, "unknown" when the system does not tell.
    static LantrixStr getHostName();
    /// Always "unknown".
    static LantrixStr getOSVersion();
};

#endif
