// The clips and the local files that frames are moved between.
// A located clip shares a session, which one thread uses at a time, and a pool of connections for
// its frames. FileFrames may be used by several threads. Failures are thrown as Failure.
#ifndef TOOLS_TRANSFER_CLIPFRAMES_H
#define TOOLS_TRANSFER_CLIPFRAMES_H

#include "image/ImageFile.h"
#include "stream/Pool.h"
#include "tools/session/Address.h"
#include "tools/session/Session.h"
#include "tools/transfer/FrameRange.h"
#include "tools/transfer/MovedFrame.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace tool {

/// A clip that was found.
struct LocatedClip {
    Address address;
    std::shared_ptr<Session> session;    ///< Never null. The handle is on its server.
    std::shared_ptr<lantrix::Pool> pool; ///< Never null; moves the frames.
    LantrixNodeHandle handle;
    LantrixClipFormat format;
    int frameCount = 0;
    int startNumber = 0;         ///< The number of its first frame, as people count.
    std::size_t clipsAtOnce = 1; ///< That share the memory for frames under way.

    /// "WHAT frame 12 of '/path'".
    [[nodiscard]] std::string doing(const char* what, int index) const;
    /// The failure of that in the pool.
    [[nodiscard]] Failure failureOf(const char* what, int index,
                                    const lantrix::Failure& failure) const {
        return session->failureOf(doing(what, index), failure, Port::Frames);
    }
};

/// A pool for the frames of clips on the session's host, which must outlive it: 4 connections
/// unless the options say otherwise.
[[nodiscard]] std::shared_ptr<lantrix::Pool> openFramePool(Session& session,
                                                           const Options& options);
/// Bytes of a frame that is moved in less time than it takes to wake a thread, about.
constexpr std::size_t smallFrame = std::size_t{64} << 10;
/// How much a reader or writer of the clip holds at once: enough that neither connections nor
/// processors wait, and of small frames so many that threads are woken seldom.
[[nodiscard]] lantrix::FrameWindow frameWindow(const LocatedClip& clip);

/// What is asked of the server about the clip that the handle names.
[[nodiscard]] LocatedClip describeClip(const std::shared_ptr<Session>& session,
                                       const std::shared_ptr<lantrix::Pool>& pool,
                                       const Address& address, const LantrixNodeHandle& handle,
                                       int startNumber = 0);
/// Asks where the clip is and what it is.
[[nodiscard]] LocatedClip locateClip(const Options& options, const Address& address,
                                     int startNumber = 0);

/// True when the server can't give this frame, whatever the connection.
[[nodiscard]] bool isHole(const Failure& failure);
/// Reads one frame over the clip's session.
[[nodiscard]] Bytes readFrame(const LocatedClip& clip, int index);
/// Makes the clip longer or shorter.
void setCount(LocatedClip& clip, int count);

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
    /// The frame of an image file. The format's tag must be known.
    [[nodiscard]] Bytes decode(const std::string& file) const;
    /// Reads the bytes of a raw file. An empty name is a black frame, all bytes zero.
    void read(const std::string& file, MovedFrame& frame) const;
    /// Writes the frame \p index of a clip aside and renames.
    void write(const std::string& file, int index, MovedFrame frame, ReadBack readBack) const;
    /// True when the file is there and a frame of this format.
    [[nodiscard]] bool isWhole(const std::string& file) const;
    /// True when the file holds just this frame.
    [[nodiscard]] bool holds(const std::string& file, std::string_view frame) const;

private:
    void checkImage(const std::string& file, const image::Image& image) const;
    [[nodiscard]] image::Image imageOf(Bytes frame, int index = 0) const;
    LantrixClipFormat format_;
    std::optional<image::PixelLayout> layout_;
    image::ReadOptions reading_;
    image::WriteOptions writing_;
};

/// XXH128 of the bytes, in hexadecimal.
[[nodiscard]] std::string hashOf(std::string_view bytes);

} // namespace tool

#endif
