// A node of a server's tree, and a clip's frames one at a time, on the connection of its server.
// Owns its handle, which borrows that of the connection and is made anew when there is another.
// Functions are called with the interpreter's lock held. Failures are BindingError.
#ifndef PYTHON_NODE_H
#define PYTHON_NODE_H

#include "python/Connection.h"
#include "python/Layout.h"

#include <optional>

namespace python {

/// An id and the display name of the node that it names.
using NamedId = std::pair<Text, Text>;

class Node {
public:
    Node(std::shared_ptr<Connection> connection, Text id);
    ~Node();
    Node(const Node&) = delete;
    Node& operator=(const Node&) = delete;

    [[nodiscard]] const Text& id() const { return id_; }
    [[nodiscard]] const std::shared_ptr<Connection>& connection() const { return connection_; }

    [[nodiscard]] Text name();
    /// The server's number and text for its kind, and whether it is a clip.
    [[nodiscard]] py::tuple kind();
    [[nodiscard]] int countChildren();
    [[nodiscard]] NamedId child(int index);
    /// The id of the first child with this name; none without one.
    [[nodiscard]] std::optional<Text> findChild(const Text& name);
    [[nodiscard]] py::list childNames();
    [[nodiscard]] Text createFolder(const Text& name, const Text& type);
    [[nodiscard]] Text createClip(const Text& name, const py::tuple& format, const Text& type,
                                  int frames);
    void destroy();

    [[nodiscard]] std::vector<Text> streamNames();
    [[nodiscard]] Text metadata(const Text& stream, const Text& filter, int depth);
    void setMetadata(const Text& stream, const Text& text);

    [[nodiscard]] py::tuple format();
    [[nodiscard]] int countFrames();
    void resize(int frames);
    void link(const std::vector<Text>& paths);
    /// Ids, and paths, of all frames.
    [[nodiscard]] py::list frameIds();
    [[nodiscard]] py::list framePaths();
    [[nodiscard]] py::array read(long long index);
    [[nodiscard]] py::bytes readRaw(long long index);
    void readInto(long long index, const py::object& out);
    void write(long long index, const py::array& frame);
    void writeRaw(long long index, const py::buffer& bytes);

    /// What is known of the clip; asked at the first time.
    struct Clip {
        LantrixClipFormat format;
        std::size_t frameSize;
        int frames;
        std::optional<Layout> layout; ///< None when the layout is not known.
        std::string whyNoLayout;
        [[nodiscard]] const Layout& known() const; ///< Throws BadFrame without one.
        /// Counts from the end when negative; throws IndexNotFound beyond the ends.
        [[nodiscard]] int place(long long index) const;
    };
    [[nodiscard]] std::shared_ptr<const Clip> clip();
    /// Calls \p function with the handle, which borrows the connection's and is the call's alone,
    /// and with the call.
    template <class Function>
    void withHandle(Function&& function) {
        connection_->call([&](Call& call) { function(handle(call.server), call); });
    }

private:
    LantrixNodeHandle& handle(const LantrixServerHandle& server);
    LantrixNodeHandle freshHandle(const LantrixServerHandle& server) const;
    [[nodiscard]] std::shared_ptr<const Clip> askClip();
    void readBytes(int index, char* bytes, std::size_t size);
    void writeBytes(int index, const char* bytes, std::size_t size);
    template <class Query>
    py::list frameTexts(Query query);

    const std::shared_ptr<Connection> connection_;
    const Text id_;
    std::unique_ptr<LantrixNodeHandle> handle_;
    unsigned handleNumber_ = 0;        // of the server handle that it borrows
    unsigned generation_;              // of the process that made it
    std::shared_ptr<const Clip> clip_; // null: to be asked
};

} // namespace python

#endif
