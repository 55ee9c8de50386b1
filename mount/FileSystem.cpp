#include "mount/FileSystem.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace mounted {

namespace {

constexpr std::chrono::seconds leastPause(1); // between two looks at all that is known

// Frames that no program has open are of use to the next one only while they are fresh.
std::uint64_t memoryOfLeft(const MountOptions& options) {
    constexpr std::chrono::seconds longFresh(10);
    return options.fresh < longFresh ? options.memory / 8 : options.memory;
}

lantrix::PoolOptions optionsOfQuestions(lantrix::PoolOptions options) {
    constexpr unsigned connections = 4;
    options.connections = std::min(options.connections, connections);
    return options;
}

timespec now() {
    timespec time{};
    ::clock_gettime(CLOCK_REALTIME, &time);
    return time;
}

bool hasFile(const Folder& folder, FileNumber number) {
    const std::shared_ptr<const Clip>& clip = folder.clip();
    return clip != nullptr && (!number.isFrame() || number.frame() < clip->count());
}

// Part of a text, or of a file.
void replyPart(fuse_req_t request, const char* bytes, std::size_t length, std::size_t size,
               off_t offset) {
    const std::size_t start = std::min(length, static_cast<std::size_t>(offset));
    fuse_reply_buf(request, bytes + start, std::min(length - start, size));
}

} // namespace

struct FileSystem::OpenFolder {
    Nodes::Pointer node;
    FolderPointer folder; // as it was when it was opened
    std::vector<Drafts::Pointer> drafts;
};

FileSystem::FileSystem(const MountOptions& options)
    : options_(options), mountedAt_(now()),
      nodes_({options.nodeId, options.name,
              shownNames({options.name}, [](const std::string&) { return false; }).front()},
             options.path, options.fresh),
      drafts_(options.memory), requests_(options.timeLimit),
      questions_(options.host, optionsOfQuestions(options.pool)),
      framePool_(options.host, options.pool),
      frames_(framePool_, options.memory, memoryOfLeft(options)), asking_(questions_) {}

FileSystem::~FileSystem() = default;

void FileSystem::tidy() {
    requests_.answerLate();
    if (Nodes::Clock::now() - dropped_ > options_.fresh + leastPause) {
        nodes_.dropOld();
        dropped_ = Nodes::Clock::now();
    }
}

void FileSystem::end() {
    questions_.cancel();
    framePool_.cancel();
    asking_.wait();
    frames_.end();
    requests_.answerAll(EIO);
    for (const Drafts::Pointer& draft : drafts_.all()) {
        const std::lock_guard<std::mutex> lock(draft->mutex);
        if (draft->isUnstored())
            options_.tell("'" + draft->name + "' was written and is not stored");
    }
}

// ---- how requests are answered

void FileSystem::noteConnection(const lantrix::Failure& failure) {
    const bool isAway = failure.kind == lantrix::Failure::Kind::Connection;
    if (failure.kind == lantrix::Failure::Kind::Stopped || isAway_.exchange(isAway) == isAway)
        return;
    options_.tell(isAway ? "the server does not answer: " + failure.text
                         : "the server answers again");
}

// The answer is given once the question has been answered, unless the program has been interrupted.
void FileSystem::ask(fuse_req_t request, Ask question, Answer answer) {
    const Requests::Number held = requests_.hold(request);
    const auto error = std::make_shared<int>(EIO);
    asking_.run([question = std::move(question),
                 error](lantrix::Connection& connection) { return question(connection, *error); },
                [this, held, error, answer = std::move(answer)](const lantrix::Failure& failure) {
                    noteConnection(failure);
                    auto* const asked = requests_.take(held);
                    if (asked != nullptr && failure)
                        fuse_reply_err(asked, *error);
                    else if (asked != nullptr)
                        answer(asked);
                },
                lantrix::Retry::OnAnotherConnection);
}

void FileSystem::withFolder(fuse_req_t request, const Nodes::Pointer& node, WithFolder answer) {
    if (const FolderPointer known = nodes_.folder(node->number))
        return answer(request, known);
    const auto folder = std::make_shared<FolderPointer>();
    ask(
        request,
        [this, node, folder](lantrix::Connection& connection, int& error) {
            const auto asked = Nodes::Clock::now();
            bool isGone = false;
            lantrix::Failure failure =
                Folder::load(connection, options_, node->name, node->path, isGone, *folder);
            error = isGone ? ENOENT : EIO;
            if (!failure)
                nodes_.keep(node->number, *folder, asked);
            return failure;
        },
        [folder, answer = std::move(answer)](fuse_req_t asked) { answer(asked, *folder); });
}

void FileSystem::withFolder(fuse_req_t request, fuse_ino_t number, WithFolder answer) {
    const Nodes::Pointer node = nodes_.find(FileNumber::of(number).folder);
    if (node == nullptr)
        fuse_reply_err(request, ENOENT);
    else
        withFolder(request, node, std::move(answer));
}

void FileSystem::withFrame(fuse_req_t request, const OpenFile& file, WithFrame answer) {
    const frames::FrameKey key{file.number.folder, file.number.frame()};
    const Requests::Number held = requests_.hold(request);
    const auto got = [this, held, answer = std::move(answer)](
                         const lantrix::Failure& failure, const frames::FrameCache::File& bytes) {
        noteConnection(failure);
        auto* const asked = requests_.take(held);
        if (asked != nullptr && failure)
            fuse_reply_err(asked, EIO);
        else if (asked != nullptr)
            answer(asked, *bytes);
    };
    frames_.get(file.folder->clip(), key, file.since, got);
}

// ---- what is told of files

double FileSystem::believed() const {
    return std::chrono::duration<double>(options_.fresh).count();
}

struct stat FileSystem::attributes(FileNumber number, const Folder* folder) const {
    constexpr mode_t writing = 0200;
    constexpr blksize_t atOnce = 1 << 20; // of a read that suits
    struct stat status {};
    status.st_ino = number.whole();
    status.st_uid = user_;
    status.st_gid = group_;
    status.st_mtim = number.isFrame() ? drafts_.time(number, mountedAt_) : mountedAt_;
    status.st_ctim = status.st_atim = status.st_mtim;
    status.st_blksize = atOnce;
    status.st_nlink = 1; // of folders: nobody has counted what is in it
    status.st_mode = number.isFolder() ? S_IFDIR | 0555 : S_IFREG | 0444;
    if (options_.isWritable && number.file != FileNumber::description)
        status.st_mode |= writing;
    if (number.isFrame() && folder != nullptr)
        status.st_size = static_cast<off_t>(folder->clip()->file().size());
    else if (number.file == FileNumber::description)
        status.st_size = static_cast<off_t>(folder->description().size());
    status.st_blocks = (status.st_size + 511) / 512;
    return status;
}

struct stat FileSystem::attributes(const Draft& draft) const {
    struct stat status = attributes(draft.number, nullptr);
    const std::lock_guard<std::mutex> lock(draft.mutex);
    status.st_size = static_cast<off_t>(draft.bytes.size());
    status.st_blocks = (status.st_size + 511) / 512;
    status.st_mtim = status.st_ctim = draft.changed;
    return status;
}

// What is being written is to be asked again each time.
fuse_entry_param FileSystem::entry(const Draft& draft) const {
    fuse_entry_param entry{};
    entry.ino = draft.number.whole();
    entry.attr = attributes(draft);
    return entry;
}

fuse_entry_param FileSystem::entry(FileNumber number, const Folder* folder) const {
    fuse_entry_param entry{};
    entry.ino = number.whole();
    entry.attr = attributes(number, folder);
    entry.attr_timeout = entry.entry_timeout = believed();
    return entry;
}

// ---- names and attributes

void FileSystem::lookUp(fuse_req_t request, fuse_ino_t parent, const std::string& name) {
    const Nodes::Pointer node = nodes_.find(FileNumber::of(parent).folder);
    if (node == nullptr) {
        fuse_reply_err(request, ENOENT);
        return;
    }
    if (const Drafts::Pointer draft = drafts_.find(node->number, name)) {
        nodes_.know(node->number);
        const fuse_entry_param found = entry(*draft);
        fuse_reply_entry(request, &found);
        return;
    }
    withFolder(request, node, [this, node, name](fuse_req_t asked, const FolderPointer& folder) {
        FileNumber number{node->number, FileNumber::folderItself};
        if (const NodeName* child = folder->child(name)) {
            number.folder = nodes_.know(*node, *child)->number;
        } else if (const auto index = folder->clip() != nullptr
                                          ? folder->clip()->names().index(name)
                                          : std::nullopt) {
            number = FileNumber::ofFrame(node->number, *index);
            nodes_.know(node->number);
        } else if (folder->clip() != nullptr && name == Folder::descriptionName) {
            number.file = FileNumber::description;
            nodes_.know(node->number);
        } else {
            fuse_reply_err(asked, ENOENT);
            return;
        }
        const fuse_entry_param found = entry(number, folder.get());
        fuse_reply_entry(asked, &found);
    });
}

void FileSystem::forget(fuse_ino_t number, std::uint64_t times) {
    nodes_.forget(FileNumber::of(number).folder, times);
}

void FileSystem::tellAttributes(fuse_req_t request, fuse_ino_t whole) {
    const FileNumber number = FileNumber::of(whole);
    if (number.isFolder()) {
        const struct stat status = attributes(number, nullptr);
        fuse_reply_attr(request, &status, believed());
        return;
    }
    if (const Drafts::Pointer draft = drafts_.find(number)) {
        const struct stat status = attributes(*draft);
        fuse_reply_attr(request, &status, 0);
        return;
    }
    withFolder(request, whole, [this, number](fuse_req_t asked, const FolderPointer& folder) {
        if (!hasFile(*folder, number)) {
            fuse_reply_err(asked, ENOENT);
            return;
        }
        const struct stat status = attributes(number, folder.get());
        fuse_reply_attr(asked, &status, believed());
    });
}

// ---- folders

void FileSystem::openFolder(fuse_req_t request, fuse_ino_t number, const fuse_file_info& info) {
    const Nodes::Pointer node = nodes_.find(FileNumber::of(number).folder);
    if (node == nullptr) {
        fuse_reply_err(request, ENOENT);
        return;
    }
    withFolder(request, node, [this, node, info](fuse_req_t asked, const FolderPointer& folder) {
        fuse_file_info opened = info;
        opened.fh = folders_.add(
            std::make_shared<OpenFolder>(OpenFolder{node, folder, drafts_.in(node->number)}));
        if (fuse_reply_open(asked, &opened) != 0)
            folders_.remove(opened.fh);
    });
}

void FileSystem::closeFolder(fuse_req_t request, const fuse_file_info& info) {
    folders_.remove(info.fh);
    fuse_reply_err(request, 0);
}

// One answer about what is in a folder: "." and "..", the children, a clip's description and its
// frames, each at its place.
class FileSystem::Entries {
public:
    Entries(FileSystem& fileSystem, fuse_req_t request, const OpenFolder& open, std::size_t size)
        : fileSystem_(fileSystem), request_(request), open_(open), bytes_(size) {}

    void reply(std::size_t place) {
        while (add(place))
            ++place;
        fileSystem_.nodes_.know(open_.node->number, files_);
        fuse_reply_buf(request_, bytes_.data(), used_);
    }

private:
    // False when there is no room, or nothing at this place.
    bool add(std::size_t place) {
        const std::vector<NodeName>& children = open_.folder->children();
        const Clip* const clip = open_.folder->clip().get();
        const std::uint32_t number = open_.node->number;
        if (place < 2)
            return addDots(place);
        place -= 2;
        if (place < children.size())
            return addChild(place);
        place -= children.size();
        if (clip == nullptr)
            return false;
        const auto frames = static_cast<std::size_t>(clip->count());
        if (place > frames)
            return addDraft(children.size() + 2, place, place - frames - 1);
        if (place == 0)
            return addFile(children.size() + 2, Folder::descriptionName,
                           {number, FileNumber::description});
        const int index = static_cast<int>(place - 1);
        return addFile(children.size() + 2 + place, clip->names().name(index),
                       FileNumber::ofFrame(number, index));
    }
    // The system does not come to know these again.
    bool addDots(std::size_t place) {
        fuse_entry_param dots = fileSystem_.entry({open_.node->number}, nullptr);
        dots.ino = 0;
        return put(place, place == 0 ? "." : "..", dots);
    }
    bool addChild(std::size_t place) {
        const NodeName& child = open_.folder->children()[place];
        const std::uint32_t number = fileSystem_.nodes_.know(*open_.node, child)->number;
        if (put(place + 2, child.shown, fileSystem_.entry({number}, nullptr)))
            return true;
        fileSystem_.nodes_.forget(number, 1);
        return false;
    }
    bool addFile(std::size_t place, const std::string& name, FileNumber number) {
        const bool isPut = put(place, name, fileSystem_.entry(number, open_.folder.get()));
        files_ += isPut ? 1 : 0;
        return isPut;
    }
    // Those of frames that are there have been shown as such.
    bool addDraft(std::size_t before, std::size_t place, std::size_t index) {
        if (index >= open_.drafts.size())
            return false;
        const Draft& draft = *open_.drafts[index];
        if (draft.wasRefused() ||
            (draft.number.isFrame() && draft.number.frame() < open_.folder->clip()->count()))
            return true;
        const bool isPut = put(before + place, draft.shownName(), fileSystem_.entry(draft));
        files_ += isPut ? 1 : 0;
        return isPut;
    }
    bool put(std::size_t place, const std::string& name, const fuse_entry_param& entry) {
        const std::size_t room = bytes_.size() - used_;
        const std::size_t needed =
            fuse_add_direntry_plus(request_, bytes_.data() + used_, room, name.c_str(), &entry,
                                   static_cast<off_t>(place + 1));
        used_ += needed <= room ? needed : 0;
        return needed <= room;
    }

    FileSystem& fileSystem_;
    fuse_req_t request_;
    const OpenFolder& open_;
    std::vector<char> bytes_;
    std::size_t used_ = 0;
    std::uint64_t files_ = 0; // that the system comes to know
};

void FileSystem::listFolder(fuse_req_t request, std::size_t size, off_t offset,
                            const fuse_file_info& info) {
    if (const auto open = folders_.find(info.fh))
        Entries(*this, request, *open, size).reply(static_cast<std::size_t>(offset));
    else
        fuse_reply_err(request, EBADF);
}

// ---- files

std::uint64_t FileSystem::addFile(FileNumber number, const FolderPointer& folder,
                                  const Drafts::Pointer& draft, const fuse_file_info& info) {
    const auto file = std::make_shared<OpenFile>();
    file->number = number;
    file->folder = folder;
    file->since = Nodes::Clock::now() - options_.fresh;
    file->draft = draft;
    file->isWriting = (info.flags & O_ACCMODE) != O_RDONLY;
    if (draft != nullptr) {
        const std::lock_guard<std::mutex> lock(draft->mutex);
        ++draft->open;
    }
    return files_.add(file);
}

void FileSystem::open(fuse_req_t request, fuse_ino_t whole, const fuse_file_info& info) {
    const FileNumber number = FileNumber::of(whole);
    withFolder(request, whole, [this, number, info](fuse_req_t asked, const FolderPointer& folder) {
        if (const Drafts::Pointer draft = drafts_.find(number)) {
            openDraft(asked, folder, draft, info);
        } else if (!hasFile(*folder, number)) {
            fuse_reply_err(asked, ENOENT);
        } else if ((info.flags & O_ACCMODE) != O_RDONLY) {
            openFrame(asked, number, folder, info);
        } else {
            fuse_file_info opened = info;
            opened.fh = addFile(number, folder, nullptr, info);
            if (fuse_reply_open(asked, &opened) != 0)
                closeFile(opened.fh);
        }
    });
}

void FileSystem::close(fuse_req_t request, const fuse_file_info& info) {
    closeFile(info.fh);
    fuse_reply_err(request, 0);
}

void FileSystem::read(fuse_req_t request, std::size_t size, off_t offset,
                      const fuse_file_info& info) {
    const auto file = files_.find(info.fh);
    if (file == nullptr) {
        fuse_reply_err(request, EBADF);
        return;
    }
    if (file->draft != nullptr) {
        const std::lock_guard<std::mutex> lock(file->draft->mutex);
        const image::Bytes& bytes = file->draft->bytes;
        replyPart(request, bytes.data(), bytes.size(), size, offset);
        return;
    }
    if (!file->number.isFrame()) {
        const std::string& text = file->folder->description();
        replyPart(request, text.data(), text.size(), size, offset);
        return;
    }
    withFrame(request, *file, [size, offset](fuse_req_t asked, const frames::FileBytes& bytes) {
        replyPart(asked, bytes.data(), bytes.size(), size, offset);
    });
    if (!file->wasRead.exchange(true)) {
        const frames::FrameKey key{file->number.folder, file->number.frame()};
        frames_.readAhead(file->folder->clip(), key, file->since);
    }
}

} // namespace mounted
