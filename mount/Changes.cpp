// What programs change: files in clips' folders are written into drafts, which are stored as frames
// when they are closed, synchronised or renamed; folders are made and removed.
#include "mount/FileSystem.h"
#include "mount/FrameOfFile.h"

#include <algorithm>
#include <cerrno>
#include <mutex>
#include <utility>

#include <fcntl.h>

namespace mounted {

namespace {

constexpr const char* typeOfFolders = "folder";

// What is refused is so for what was asked, not for the connection.
int errorOf(const lantrix::Failure& failure) {
    return failure.kind == lantrix::Failure::Kind::Refused ? EPERM : EIO;
}

// Frames behind the last are made, those in between as holes. One at a time: a shorter clip would
// lose what another has appended meanwhile.
bool makeRoomFor(LantrixNodeHandle& clip, int index, std::mutex& appending) {
    const std::lock_guard<std::mutex> lock(appending);
    int count = 0;
    return clip.getNumFrames(count) && (index < count || clip.setNumFrames(index + 1));
}

// What is not an image of the clip is not shown under the frame's name, though it may stay open.
image::Bytes frameOfDraft(const Clip& clip, const image::Bytes& bytes, Draft& draft,
                          std::uint64_t changes) {
    try {
        return frameOfFile(clip, bytes);
    } catch (...) {
        const std::lock_guard<std::mutex> lock(draft.mutex);
        if (draft.index)
            draft.refused = changes;
        throw;
    }
}

} // namespace

// The frame that a name in a clip's folder stands for, by whatever kind of file: one that is there,
// the next one, or the one behind those that are being written.
std::optional<int> FileSystem::frameOfName(std::uint32_t folder, const Clip& clip,
                                           const std::string& name) const {
    int beyond = 1;
    for (const Drafts::Pointer& draft : drafts_.in(folder)) {
        const std::lock_guard<std::mutex> lock(draft->mutex);
        if (draft->index)
            beyond = std::max(beyond, *draft->index - clip.count() + 2);
    }
    return clip.names().indexOfAnyKind(name, beyond);
}

// Null for a name that is taken, or that no frame can have.
Drafts::Pointer FileSystem::newDraft(std::uint32_t number, const Folder& folder,
                                     const std::string& name) {
    const Clip& clip = *folder.clip();
    if (folder.child(name) != nullptr || name == Folder::descriptionName)
        return nullptr;
    const std::optional<int> index = frameOfName(number, clip, name);
    if (index && clip.names().name(*index) == name)
        return drafts_.ofFrame(FileNumber::ofFrame(number, *index), name);
    return drafts_.make(number, name, index);
}

void FileSystem::create(fuse_req_t request, fuse_ino_t parent, const std::string& name,
                        const fuse_file_info& info) {
    const std::uint32_t number = FileNumber::of(parent).folder;
    withFolder(request, parent, [=](fuse_req_t asked, const FolderPointer& folder) {
        const Drafts::Pointer draft =
            folder->clip() != nullptr ? newDraft(number, *folder, name) : nullptr;
        if (draft == nullptr) {
            fuse_reply_err(asked, folder->clip() != nullptr ? EEXIST : EPERM);
            return;
        }
        const fuse_entry_param made = entry(*draft);
        fuse_file_info opened = info;
        opened.fh = addFile(draft->number, folder, draft, info);
        nodes_.know(number);
        if (fuse_reply_create(asked, &made, &opened) != 0)
            closeFile(opened.fh);
    });
}

// What is not stored when nobody has it open any more is given up, but for what is to be renamed.
void FileSystem::closeFile(std::uint64_t handle) {
    const auto file = files_.remove(handle);
    if (file != nullptr && file->wasRead)
        frames_.leave({file->number.folder, file->number.frame()});
    const Drafts::Pointer draft = file != nullptr ? file->draft : nullptr;
    if (draft == nullptr)
        return;
    bool isOver = false;
    {
        const std::lock_guard<std::mutex> lock(draft->mutex);
        isOver = --draft->open == 0 && draft->index;
        if (isOver && draft->isUnstored() && !draft->bytes.empty() && draft->isKept)
            options_.tell("'" + draft->name + "' is not a frame of its clip, and is not stored");
    }
    if (isOver)
        drafts_.remove(draft);
}

void FileSystem::openDraft(fuse_req_t request, const FolderPointer& folder,
                           const Drafts::Pointer& draft, const fuse_file_info& info) {
    const int error = (info.flags & O_TRUNC) != 0 ? drafts_.resize(*draft, 0) : 0;
    if (error != 0) {
        fuse_reply_err(request, error);
        return;
    }
    fuse_file_info opened = info;
    opened.fh = addFile(draft->number, folder, draft, info);
    if (fuse_reply_open(request, &opened) != 0)
        closeFile(opened.fh);
}

// A program that does not begin anew changes what is there.
void FileSystem::openFrame(fuse_req_t request, FileNumber number, const FolderPointer& folder,
                           const fuse_file_info& info) {
    if (!number.isFrame()) {
        fuse_reply_err(request, EPERM);
        return;
    }
    const std::string name = folder->clip()->names().name(number.frame());
    if ((info.flags & O_TRUNC) != 0) {
        openDraft(request, folder, drafts_.ofFrame(number, name), info);
        return;
    }
    OpenFile present;
    present.number = number;
    present.folder = folder;
    present.since = Nodes::Clock::now() - options_.fresh;
    withFrame(request, present, [=](fuse_req_t asked, const frames::FileBytes& bytes) {
        const Drafts::Pointer draft = drafts_.ofFrame(number, name);
        const int error = drafts_.fill(*draft, bytes.data(), bytes.size());
        if (error == 0) {
            openDraft(asked, folder, draft, info);
            return;
        }
        drafts_.remove(draft);
        fuse_reply_err(asked, error);
    });
}

void FileSystem::write(fuse_req_t request, const char* bytes, std::size_t size, off_t offset,
                       const fuse_file_info& info) {
    const auto file = files_.find(info.fh);
    const int error =
        file == nullptr || file->draft == nullptr
            ? EBADF
            : drafts_.write(*file->draft, bytes, size, static_cast<std::uint64_t>(offset));
    if (error != 0)
        fuse_reply_err(request, error);
    else
        fuse_reply_write(request, size);
}

// Closing and synchronising: what a program has written becomes the frame, or is an error. A file
// without bytes is one that somebody is about to write.
void FileSystem::flush(fuse_req_t request, const fuse_file_info& info) {
    const auto file = files_.find(info.fh);
    const auto done = [](fuse_req_t asked) { fuse_reply_err(asked, 0); };
    if (file == nullptr || file->draft == nullptr || !file->isWriting) {
        done(request);
        return;
    }
    std::optional<int> index;
    {
        const std::lock_guard<std::mutex> lock(file->draft->mutex);
        if (file->draft->isUnstored() && !file->draft->bytes.empty())
            index = file->draft->index;
    }
    if (index)
        store(request, file->draft, *index, file->folder, done);
    else
        done(request);
}

void FileSystem::store(fuse_req_t request, const Drafts::Pointer& draft, int index,
                       const FolderPointer& folder, Answer answer) {
    const auto node = nodes_.find(draft->number.folder);
    if (node == nullptr) {
        fuse_reply_err(request, ENOENT);
        return;
    }
    const auto bytes = std::make_shared<image::Bytes>();
    std::uint64_t changes = 0;
    {
        const std::lock_guard<std::mutex> lock(draft->mutex);
        changes = draft->changes;
        *bytes = draft->bytes;
    }
    const auto question = [=](lantrix::Connection& connection, int& error) {
        error = EINVAL; // of what is not an image of the clip
        const image::Bytes frame = frameOfDraft(*folder->clip(), *bytes, *draft, changes);
        LantrixNodeHandle clip(connection.server, node->name.id.c_str());
        if (makeRoomFor(clip, index, appending_) &&
            clip.writeFrame(index, frame.data(), static_cast<int>(frame.size())))
            return lantrix::Failure();
        lantrix::Failure failure = lantrix::Failure::lastOf(connection.server);
        error = errorOf(failure);
        return failure;
    };
    ask(request, question, [=, answer = std::move(answer)](fuse_req_t asked) {
        drafts_.setStored(*draft, changes, FileNumber::ofFrame(node->number, index));
        frames_.drop({node->number, index});
        if (index >= folder->clip()->count())
            nodes_.drop(node->number);
        answer(asked);
    });
}

// ---- names and attributes

void FileSystem::changeAttributes(fuse_req_t request, fuse_ino_t whole, const struct stat& wanted,
                                  int which) {
    const FileNumber number = FileNumber::of(whole);
    const Drafts::Pointer draft = drafts_.find(number);
    const int offered = FUSE_SET_ATTR_ATIME | FUSE_SET_ATTR_MTIME | FUSE_SET_ATTR_ATIME_NOW |
                        FUSE_SET_ATTR_MTIME_NOW | FUSE_SET_ATTR_CTIME;
    int error = draft == nullptr && (which & ~offered) != 0 ? EPERM : 0;
    if (draft != nullptr && (which & FUSE_SET_ATTR_SIZE) != 0)
        error = drafts_.resize(*draft, static_cast<std::uint64_t>(wanted.st_size));
    if (error != 0) {
        fuse_reply_err(request, error);
        return;
    }
    if ((which & FUSE_SET_ATTR_MTIME) != 0 && number.isFrame())
        drafts_.setTime(number, wanted.st_mtim);
    if ((which & FUSE_SET_ATTR_MTIME) != 0 && draft != nullptr) {
        const std::lock_guard<std::mutex> lock(draft->mutex);
        draft->changed = wanted.st_mtim;
    }
    tellAttributes(request, whole);
}

// Editors and rsync write beside a file and give that its name in the end.
void FileSystem::rename(fuse_req_t request, fuse_ino_t parent, const std::string& name,
                        fuse_ino_t newParent, const std::string& newName, unsigned flags) {
    constexpr unsigned noReplacing = 1; // RENAME_NOREPLACE
    const Drafts::Pointer draft = drafts_.find(FileNumber::of(parent).folder, name);
    if (draft == nullptr || draft->number.isFrame() || (flags & ~noReplacing) != 0) {
        fuse_reply_err(request, EPERM);
        return;
    }
    if (parent != newParent) {
        fuse_reply_err(request, EXDEV);
        return;
    }
    withFolder(request, parent, [=](fuse_req_t asked, const FolderPointer& folder) {
        renameDraft(asked, draft, folder, newName, (flags & noReplacing) == 0);
    });
}

void FileSystem::renameDraft(fuse_req_t request, const Drafts::Pointer& draft,
                             const FolderPointer& folder, const std::string& name,
                             bool isReplacing) {
    const std::uint32_t number = draft->number.folder;
    const Drafts::Pointer other = drafts_.find(number, name);
    const std::optional<int> index = frameOfName(number, *folder->clip(), name);
    const bool isThere = other != nullptr || (index && *index < folder->clip()->count());
    if (folder->child(name) != nullptr || name == Folder::descriptionName ||
        (isThere && !isReplacing)) {
        fuse_reply_err(request, EEXIST);
        return;
    }
    if (index) {
        store(request, draft, *index, folder, [this, draft](fuse_req_t asked) {
            drafts_.remove(draft);
            fuse_reply_err(asked, 0);
        });
        return;
    }
    if (other != nullptr)
        drafts_.remove(other);
    drafts_.rename(draft, name);
    fuse_reply_err(request, 0);
}

void FileSystem::unlink(fuse_req_t request, fuse_ino_t parent, const std::string& name) {
    const Drafts::Pointer draft = drafts_.find(FileNumber::of(parent).folder, name);
    if (draft != nullptr && !draft->number.isFrame())
        drafts_.remove(draft);
    fuse_reply_err(request, draft != nullptr && !draft->number.isFrame() ? 0 : EPERM);
}

// A request that is repeated may have been carried out the first time.
void FileSystem::makeFolder(fuse_req_t request, fuse_ino_t parent, const std::string& name) {
    const Nodes::Pointer node = nodes_.find(FileNumber::of(parent).folder);
    const auto made = std::make_shared<NodeName>();
    const auto isRepeated = std::make_shared<bool>(false);
    withFolder(request, parent, [=](fuse_req_t asked, const FolderPointer& folder) {
        if (folder->clip() != nullptr || folder->child(name) != nullptr) {
            fuse_reply_err(asked, folder->clip() != nullptr ? EPERM : EEXIST);
            return;
        }
        const auto question = [=](lantrix::Connection& connection, int& error) {
            LantrixNodeHandle above(connection.server, node->name.id.c_str());
            LantrixNodeHandle child;
            const bool wasRepeated = std::exchange(*isRepeated, true);
            if (!(wasRepeated && LantrixFindChild(above, name.c_str(), child)) &&
                !above.createNode(name.c_str(), typeOfFolders, child)) {
                lantrix::Failure failure = lantrix::Failure::lastOf(connection.server);
                error = errorOf(failure);
                return failure;
            }
            *made = {child.getNodeId().id(), name, name};
            return lantrix::Failure();
        };
        ask(asked, question, [=](fuse_req_t done) {
            nodes_.drop(node->number);
            const FileNumber number{nodes_.know(*node, *made)->number, FileNumber::folderItself};
            const fuse_entry_param found = entry(number, nullptr);
            fuse_reply_entry(done, &found);
        });
    });
}

void FileSystem::removeFolder(fuse_req_t request, fuse_ino_t parent, const std::string& name) {
    withFolder(request, parent, [=](fuse_req_t asked, const FolderPointer& folder) {
        const NodeName* const child = folder->child(name);
        if (child == nullptr) {
            fuse_reply_err(asked, ENOENT);
            return;
        }
        const auto question = [id = child->id](lantrix::Connection& connection, int& error) {
            LantrixNodeHandle node(connection.server, id.c_str());
            bool isClip = false;
            int children = 0;
            if (node.getIsClipNode(isClip) && node.getNumChildren(children) && !isClip &&
                children == 0 && node.destroyNode())
                return lantrix::Failure();
            lantrix::Failure failure = lantrix::Failure::lastOf(connection.server);
            if (isClip || children != 0)
                failure.kind = lantrix::Failure::Kind::Refused;
            error = children != 0 ? ENOTEMPTY : errorOf(failure);
            return failure;
        };
        ask(asked, question, [this, number = FileNumber::of(parent).folder](fuse_req_t done) {
            nodes_.drop(number);
            fuse_reply_err(done, 0);
        });
    });
}

} // namespace mounted
