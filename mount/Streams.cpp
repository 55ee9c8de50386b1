// Metadata streams of nodes, as extended attributes of their folders.
#include "mount/FileSystem.h"

#include <cerrno>

namespace mounted {

namespace {

constexpr const char* streamPrefix = "user.lantrix.";
constexpr std::size_t longestAttributeName = 255;
constexpr std::size_t longestAttribute = 65536; // that the system takes

// The system asks for the size first, then with that much room.
void replyAttribute(fuse_req_t request, const std::string& text, std::size_t room) {
    if (text.size() > longestAttribute)
        fuse_reply_err(request, E2BIG);
    else if (room == 0)
        fuse_reply_xattr(request, text.size());
    else if (text.size() > room)
        fuse_reply_err(request, ERANGE);
    else
        fuse_reply_buf(request, text.data(), text.size());
}

} // namespace

void FileSystem::listStreams(fuse_req_t request, fuse_ino_t whole, std::size_t size) {
    const FileNumber number = FileNumber::of(whole);
    const Nodes::Pointer node = nodes_.find(number.folder);
    if (!number.isFolder() || node == nullptr) {
        replyAttribute(request, "", size);
        return;
    }
    const auto names = std::make_shared<std::string>();
    ask(
        request,
        [node, names](lantrix::Connection& connection, int& /*error*/) {
            const LantrixNodeHandle handle(connection.server, node->name.id.c_str());
            int count = 0;
            names->clear();
            if (!handle.getNumAvailableMetaDataStreams(count))
                return lantrix::Failure::lastOf(connection.server);
            LantrixStr stream;
            for (int i = 0; i < count && handle.getAvailableMetaDataStream(i, stream); ++i) {
                const std::string name = std::string(streamPrefix) + stream.c_str();
                if (name.size() <= longestAttributeName &&
                    names->size() + name.size() < longestAttribute)
                    *names += name + '\0';
            }
            return lantrix::Failure();
        },
        [names, size](fuse_req_t asked) { replyAttribute(asked, *names, size); });
}

void FileSystem::readStream(fuse_req_t request, fuse_ino_t whole, const std::string& name,
                            std::size_t size) {
    const FileNumber number = FileNumber::of(whole);
    const Nodes::Pointer node = nodes_.find(number.folder);
    const std::string prefix = streamPrefix;
    if (!number.isFolder() || node == nullptr || name.rfind(prefix, 0) != 0) {
        fuse_reply_err(request,
                       number.isFolder() && name.rfind("user.", 0) == 0 ? ENODATA : EOPNOTSUPP);
        return;
    }
    const auto text = std::make_shared<std::string>();
    ask(
        request,
        [node, text, stream = name.substr(prefix.size())](lantrix::Connection& connection,
                                                          int& error) {
            const LantrixNodeHandle handle(connection.server, node->name.id.c_str());
            LantrixStr data;
            if (!handle.getMetaData(stream.c_str(), "*", 1, data)) {
                lantrix::Failure failure = lantrix::Failure::lastOf(connection.server);
                error = failure.kind == lantrix::Failure::Kind::Refused ? ENODATA : EIO;
                return failure;
            }
            text->assign(data.c_str(), data.length());
            return lantrix::Failure();
        },
        [text, size](fuse_req_t asked) { replyAttribute(asked, *text, size); });
}

void FileSystem::writeStream(fuse_req_t request, fuse_ino_t whole, const std::string& name,
                             const std::string& text) {
    const FileNumber number = FileNumber::of(whole);
    const Nodes::Pointer node = nodes_.find(number.folder);
    const std::string prefix = streamPrefix;
    if (!number.isFolder() || node == nullptr || name.rfind(prefix, 0) != 0) {
        fuse_reply_err(request, EOPNOTSUPP);
        return;
    }
    if (text.find('\0') != std::string::npos || name.find_first_of(" \t\n") != std::string::npos) {
        fuse_reply_err(request, EINVAL); // of what a stream can't hold
        return;
    }
    const auto question = [node, text, stream = name.substr(prefix.size())](
                              lantrix::Connection& connection, int& error) {
        const LantrixNodeHandle handle(connection.server, node->name.id.c_str());
        int major = 0;
        int minor = 0; // asked first, or a broken connection would be taken for an old server
        if (!connection.server.getProtocolVersion(major, minor))
            return lantrix::Failure::lastOf(connection.server);
        if (handle.setMetaData(stream.c_str(), LantrixStr(text.c_str())))
            return lantrix::Failure();
        lantrix::Failure failure = lantrix::Failure::lastOf(connection.server);
        error = failure.kind == lantrix::Failure::Kind::Refused ? EPERM : EIO;
        return failure;
    };
    ask(request, question, [this, node](fuse_req_t asked) {
        nodes_.drop(node->number); // its description tells of the stream
        fuse_reply_err(asked, 0);
    });
}

} // namespace mounted
