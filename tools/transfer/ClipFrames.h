// The frames of a clip and the frames in local files, as the transfers move them.
// ClipFrames owns a session of its own, so that each worker has one; used by one thread at a time.
// Failures are thrown as Failure.
#ifndef TOOLS_TRANSFER_CLIPFRAMES_H
#define TOOLS_TRANSFER_CLIPFRAMES_H

#include "image/ImageFile.h"
#include "tools/session/Address.h"
#include "tools/session/Session.h"
#include "tools/transfer/FrameQueue.h"
#include "tools/transfer/FrameRange.h"

#include <optional>
#include <string>

namespace tool {

/// A clip that was found, for sessions that are opened later.
struct LocatedClip {
    Address address;
    std::string nodeId;
    LantrixClipFormat format;
    int frameCount = 0;
    int startNumber = 0; ///< The number of its first frame, as people count.
};

/// Asks where the clip is and what it is.
[[nodiscard]] LocatedClip locateClip(Session& session, const Address& address, int startNumber = 0);
[[nodiscard]] LocatedClip locateClip(const Options& options, const Address& address,
                                     int startNumber = 0);

class ClipFrames {
public:
    ClipFrames(const Options& options, const LocatedClip& clip);

    /// Reads the frame at \p index; sizes \p frame to it. Announces the next one to the server.
    void read(int index, Bytes& frame);
    /// The same; for a frame that the server can't give, what \p missing says.
    void read(int index, Bytes& frame, Missing missing);
    void write(int index, const Bytes& frame);
    /// Makes the clip longer or shorter.
    void setCount(int count);
    /// True when the server has these bytes as the frame. A frame that can't be read is another.
    [[nodiscard]] bool holds(int index, const Bytes& frame);

private:
    [[nodiscard]] std::string doing(const char* what, int index) const;
    bool readBefore(int index, Bytes& frame);

    LocatedClip clip_;
    Session session_;
    LantrixNodeHandle handle_;
    Bytes readBack_;
};

/// Whether what was written is read back and compared.
enum class ReadBack { No, Yes };

/// Reads and writes files as frames of one format: images, or the bytes as they are.
class FileFrames {
public:
    /// \p raw: files hold the bytes of frames. Otherwise the format's tag must be known.
    FileFrames(const LantrixClipFormat& format, bool raw, image::ReadOptions reading = {},
               image::WriteOptions writing = {});

    /// No layout: raw.
    [[nodiscard]] const std::optional<image::PixelLayout>& layout() const { return layout_; }

    /// Bytes of a frame.
    [[nodiscard]] std::size_t size() const {
        return static_cast<std::size_t>(format_.frameBufferSize());
    }

    /// Refuses a file that does not fit the format, or that has been cut off.
    void checkFile(const std::string& file) const;
    /// The frame of an image, which messages call \p name. The format's tag must be known.
    [[nodiscard]] Bytes frameOf(image::Image image, const std::string& name) const;
    /// An empty name is a black frame, all bytes zero.
    void read(const std::string& file, Bytes& frame) const;
    /// Writes aside and renames. \p frame may be taken away.
    void write(const std::string& file, Bytes& frame, ReadBack readBack) const;
    /// True when the file is there and a frame of this format.
    [[nodiscard]] bool isWhole(const std::string& file) const;
    /// True when the file holds just this frame.
    [[nodiscard]] bool holds(const std::string& file, const Bytes& frame) const;

private:
    void checkImage(const std::string& file, const image::Image& image) const;
    [[nodiscard]] image::Image imageOf(Bytes frame) const;
    LantrixClipFormat format_;
    std::optional<image::PixelLayout> layout_;
    image::ReadOptions reading_;
    image::WriteOptions writing_;
};

/// XXH128 of the bytes, in hexadecimal.
[[nodiscard]] std::string hashOf(const Bytes& bytes);

} // namespace tool

#endif
