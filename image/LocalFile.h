// Plain bytes in local files, and in descriptors, which stay their owners'.
// One thread at a time per file. Failures are thrown as Error.
#ifndef IMAGE_LOCALFILE_H
#define IMAGE_LOCALFILE_H

#include "image/SampleFormat.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace image {

/// An open file.
class Descriptor {
public:
    /// \p flags are those of open(2).
    Descriptor(const std::string& file, int flags);
    ~Descriptor();
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    [[nodiscard]] int number() const { return number_; }

private:
    int number_;
};

/// The whole file, at most \p most bytes of it.
[[nodiscard]] Bytes readFile(const std::string& file, std::size_t most);
/// Reads the first \p size bytes of a file; false when it has more or fewer.
[[nodiscard]] bool readWholeFile(const std::string& file, char* to, std::size_t size);

/// Writes everything, whatever the descriptor is. \p name is what messages call it.
void writeAll(int descriptor, std::string_view bytes, const std::string& name);
void writeAll(int descriptor, const Bytes& bytes, const std::string& name);

/// Bytes read ahead from a descriptor.
class InputBuffer {
public:
    /// \p name is what messages call the descriptor.
    InputBuffer(int descriptor, std::string name);

    [[nodiscard]] const std::string& name() const { return name_; }
    /// True when nothing more comes. Waits for that.
    [[nodiscard]] bool isAtEnd();
    /// The next byte, which stays; only before the end.
    [[nodiscard]] unsigned char peek() const { return static_cast<unsigned char>(buffer_[next_]); }
    /// Takes as much as there is, at most \p size bytes.
    [[nodiscard]] std::size_t readUpTo(char* to, std::size_t size);
    /// Takes \p size bytes; it is an error when less come.
    void read(char* to, std::size_t size);
    /// Makes \p bytes the next \p size bytes. Memory is used as they arrive.
    void read(Bytes& bytes, std::size_t size);
    /// Refuses what promises more than the rest of a file can hold, where it is a file: \p size
    /// bytes of which the file has at least one in \p ratio.
    void requireRoomFor(std::uint64_t size, std::uint64_t ratio);

    [[noreturn]] void fail(const std::string& why) const;

private:
    [[nodiscard]] std::uint64_t remaining() const;

    const int descriptor_;
    const std::string name_;
    Bytes buffer_;
    std::size_t next_ = 0; // of the buffer
    std::size_t end_ = 0;
};

/// Small writes gathered to large ones. What was not flushed is lost.
class OutputBuffer {
public:
    OutputBuffer(int descriptor, std::string name)
        : descriptor_(descriptor), name_(std::move(name)) {}

    [[nodiscard]] const std::string& name() const { return name_; }
    void write(const char* bytes, std::size_t size);
    void flush();

private:
    const int descriptor_;
    const std::string name_;
    Bytes buffer_;
};

/// A file that is written beside its final name and takes it when it is whole. It is locked as long
/// as it lives, which tells it from one that a dead process has left.
class AsideFile {
public:
    /// Makes the file in the directory of \p finalName.
    explicit AsideFile(std::string finalName);
    /// Removes the file unless it was committed.
    ~AsideFile();
    AsideFile(const AsideFile&) = delete;
    AsideFile& operator=(const AsideFile&) = delete;

    /// Where to write; has the extension of the final name.
    [[nodiscard]] const std::string& path() const { return path_; }
    [[nodiscard]] const std::string& finalName() const { return finalName_; }
    /// Writes the whole file, once.
    void write(std::string_view bytes) const;
    /// Gives the file its final name, replacing what had it.
    void commit();

private:
    std::string finalName_;
    std::string path_; // "" when committed
    int descriptor_ = -1;
};

/// Removes the aside files in a folder that no living process writes. What can't be looked at
/// stays.
void removeDeadAsideFiles(const std::string& folder);

} // namespace image

#endif
