// What a loss of power may leave of the server's directory, at every moment: the calls by which it
// writes are recorded with their flushes, and each beginning of them is replayed as a disk may have
// kept it. What was acknowledged must be there, and the rest must be whole.
#include "devserver/DevTree.h"

#include "devserver/DevError.h"
#include "devserver/DevTreeNames.h"
#include "tests/devserver/RawClient.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <filesystem>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

namespace {

/// A file or folder as the calls left it, and as the disk certainly has it.
struct Inode {
    std::string bytes, flushedBytes;
    std::map<std::string, std::shared_ptr<Inode>> names, flushedNames;
    bool isFolder = false;
};
using InodePtr = std::shared_ptr<Inode>;

enum class Kept { Everything, OnlyWhatWasFlushed, NamesWithHalfOfTheContents };

/// Takes note of all that the calls below change under one folder.
struct Recorder {
    InodePtr root = std::make_shared<Inode>();
    std::string path;
    std::map<int, InodePtr> open; // by descriptor
    std::recursive_mutex mutex;   // destroyed nodes are removed by another thread
    std::function<void()> afterCall;
};
Recorder* recorder = nullptr;
std::function<void()> beforeFlush; // a disk that takes its time
bool failsToList = false;          // or one that is damaged

InodePtr inodeAt(int folder, const std::string& name) {
    if (recorder == nullptr || recorder->open.count(folder) == 0)
        return nullptr;
    InodePtr parent = recorder->open[folder];
    if (name == ".")
        return parent;
    const auto found = parent->names.find(name);
    return found != parent->names.end() ? found->second : nullptr;
}

using Lock = std::unique_lock<std::recursive_mutex>;

Lock locked() {
    return recorder != nullptr ? Lock(recorder->mutex) : Lock();
}

void opened(int descriptor, int folder, const char* name, int flags) {
    if (recorder == nullptr || descriptor < 0)
        return;
    recorder->open.erase(descriptor);
    if (recorder->open.count(folder) == 0)
        return;
    InodePtr inode = inodeAt(folder, name);
    if (inode == nullptr && (flags & O_CREAT) != 0)
        inode = recorder->open[folder]->names[name] = std::make_shared<Inode>();
    recorder->open[descriptor] = inode;
    recorder->afterCall();
}

template <class Function>
Function* next(const char* name, Function*) {
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

} // namespace

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the system's are reserved.
extern "C" {

// The system's headers name it so for files of any size.
int open(const char* name, int flags, ...) {
    std::va_list arguments;
    va_start(arguments, flags);
    const auto mode = static_cast<mode_t>(va_arg(arguments, int));
    va_end(arguments);
    const Lock lock = locked();
    const int descriptor = next("open64", &open)(name, flags, mode);
    if (recorder != nullptr && descriptor >= 0) {
        recorder->open.erase(descriptor);
        if (name == recorder->path)
            recorder->open[descriptor] = recorder->root;
    }
    return descriptor;
}

int openat(int folder, const char* name, int flags, ...) {
    std::va_list arguments;
    va_start(arguments, flags);
    const auto mode = static_cast<mode_t>(va_arg(arguments, int));
    va_end(arguments);
    const Lock lock = locked();
    const int descriptor = next("openat64", &openat)(folder, name, flags, mode);
    opened(descriptor, folder, name, flags);
    return descriptor;
}

int mkdirat(int folder, const char* name, mode_t mode) {
    const Lock lock = locked();
    const int result = next("mkdirat", &mkdirat)(folder, name, mode);
    if (result == 0 && recorder != nullptr && recorder->open.count(folder) != 0) {
        const InodePtr made = recorder->open[folder]->names[name] = std::make_shared<Inode>();
        made->isFolder = true;
        recorder->afterCall();
    }
    return result;
}

int unlinkat(int folder, const char* name, int flags) {
    const Lock lock = locked();
    const int result = next("unlinkat", &unlinkat)(folder, name, flags);
    if (result == 0 && recorder != nullptr && recorder->open.count(folder) != 0) {
        recorder->open[folder]->names.erase(name);
        recorder->afterCall();
    }
    return result;
}

int renameat(int folder, const char* name, int target, const char* targetName) {
    const Lock lock = locked();
    const InodePtr moved = inodeAt(folder, name);
    const int result = next("renameat", &renameat)(folder, name, target, targetName);
    if (result == 0 && moved != nullptr) {
        recorder->open[folder]->names.erase(name);
        recorder->open[target]->names[targetName] = moved;
        recorder->afterCall();
    }
    return result;
}

ssize_t write(int descriptor, const void* data, std::size_t size) {
    const Lock lock = locked();
    const ssize_t count = next("write", &write)(descriptor, data, size);
    if (count > 0 && recorder != nullptr && recorder->open.count(descriptor) != 0) {
        recorder->open[descriptor]->bytes.append(static_cast<const char*>(data),
                                                 static_cast<std::size_t>(count));
        recorder->afterCall();
    }
    return count;
}

dirent* readdir(DIR* directory) {
    if (failsToList)
        errno = EIO;
    return failsToList ? nullptr : next("readdir64", &readdir)(directory);
}

int fsync(int descriptor) {
    if (beforeFlush)
        beforeFlush();
    const Lock lock = locked();
    if (recorder != nullptr && recorder->open.count(descriptor) != 0) {
        Inode& inode = *recorder->open[descriptor];
        inode.flushedBytes = inode.bytes;
        inode.flushedNames = inode.names;
        recorder->afterCall();
    }
    return 0; // the test itself needs no disk that keeps anything
}

} // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

namespace {

void writeTree(const Inode& folder, const std::string& path, Kept kept) {
    std::filesystem::create_directory(path);
    for (const auto& [name, inode] :
         kept == Kept::OnlyWhatWasFlushed ? folder.flushedNames : folder.names)
        if (inode->isFolder)
            writeTree(*inode, path + "/" + name, kept);
        else if (kept == Kept::Everything || inode->bytes == inode->flushedBytes)
            writeFile(path + "/" + name, inode->bytes);
        else if (kept == Kept::OnlyWhatWasFlushed)
            writeFile(path + "/" + name, inode->flushedBytes);
        else
            writeFile(path + "/" + name, inode->bytes.substr(0, inode->bytes.size() / 2));
}

/// All that a client can learn of the tree, but for frames where they are not flushed.
std::string contents(const DevTree& tree, const std::string& id, DevSync sync) {
    const DevTree::Node node = tree.node(id);
    std::string text = id + " " + node->name + " " + std::to_string(node->frames);
    for (const auto& [name, stream] : node->streams)
        text += " " + name + "=" + stream;
    for (std::size_t i = 0; sync == DevSync::All && i < node->frames; ++i) {
        const DevOpenFrame frame = tree.openFrame(id + "-f" + std::to_string(i));
        std::string bytes(frame.file.isOpen() ? frame.frame.size : 0, '\0');
        devReadAt(frame.file, bytes.data(), bytes.size(), 0);
        text += " [" + bytes + "]";
    }
    for (const auto& [number, child] : tree.children(id))
        text += "(" + contents(tree, DevTreeNames::folderName(number), sync) + ")";
    return text;
}

/// What is done to the tree, each step acknowledged before the next.
std::vector<std::function<void(DevTree&)>> steps() {
    LantrixClipFormat format;
    format.setFrameBufferSize(8);
    const auto frame = [](DevTree& tree, const std::string& bytes) {
        DevAsideFile file = tree.newFrameFile();
        file.write(bytes.data(), bytes.size());
        tree.commitFrame("n2-f0", file, bytes.size());
    };
    return {
        [](DevTree& tree) { tree.createNode("n0", "folder", DevNode::Plain, ""); },
        [](DevTree& tree) { tree.createNode("n1", "clip", DevNode::Clip, ""); },
        [](DevTree& tree) { tree.setStream("n2", "note", "first"); },
        [=](DevTree& tree) { tree.allocateFrames("n2", 2, format); },
        [=](DevTree& tree) { frame(tree, "ABCDEFGH"); },
        [=](DevTree& tree) { frame(tree, "IJKLMNOP"); },
        [](DevTree& tree) { tree.setStream("n2", "note", "second"); },
        [=](DevTree& tree) { tree.allocateFrames("n2", 1, format); },
        [](DevTree& tree) { tree.createNode("n0", "other", DevNode::Plain, ""); },
        [](DevTree& tree) { tree.destroyNode("n1"); },
    };
}

class PowerLossTest : public testing::TestWithParam<DevSync> {};

TEST_P(PowerLossTest, WhatWasAcknowledgedIsThereAtEveryMoment) {
    const DevSync sync = GetParam();
    const DevLog log(nullptr, /*verbose=*/false);
    ScratchDirectory scratch;
    std::vector<std::string> acknowledged;
    std::vector<std::pair<std::string, std::size_t>> replays; // and what had been acknowledged
    const auto replay = [&] {
        for (const Kept kept :
             {Kept::Everything, Kept::OnlyWhatWasFlushed, Kept::NamesWithHalfOfTheContents}) {
            replays.emplace_back(scratch / std::to_string(replays.size()), acknowledged.size());
            writeTree(*recorder->root, replays.back().first, kept);
        }
    };
    Recorder recording;
    recording.root->isFolder = true;
    recording.path = scratch / "root";
    std::filesystem::create_directory(recording.path);
    recording.afterCall = replay;
    recorder = &recording;
    {
        acknowledged.emplace_back("n0 root 0"); // as the first start makes it
        DevTree tree(recording.path, sync, log);
        for (const auto& step : steps()) {
            step(tree);
            const Lock lock = locked();
            acknowledged.push_back(contents(tree, "n0", sync));
        }
        tree.awaitRemovals();
        recorder = nullptr;
    }
    EXPECT_GT(replays.size(), 100U);
    acknowledged.push_back(acknowledged.back());
    for (const auto& [replayed, count] : replays) {
        const DevTree tree(replayed, DevSync::None, log); // starts, whatever is there
        const std::string found = contents(tree, "n0", sync);
        ASSERT_TRUE(sync == DevSync::None || found == acknowledged[count - 1] ||
                    found == acknowledged[count])
            << replayed << " has " << found << "\nafter " << acknowledged[count - 1];
    }
}

INSTANTIATE_TEST_SUITE_P(Sync, PowerLossTest,
                         testing::Values(DevSync::None, DevSync::Descriptions, DevSync::All));

TEST(SlowDiskTest, OnlyTheChangeItselfWaitsForIt) {
    ScratchDirectory scratch;
    const DevLog log(nullptr, /*verbose=*/false);
    DevTree tree(scratch / "root", DevSync::All, log);
    const std::string changed = tree.createNode("n0", "changed", DevNode::Clip, "");
    const std::string gone = tree.createNode("n0", "gone", DevNode::Plain, "");
    tree.createNode(gone, "below", DevNode::Plain, "");
    std::promise<void> end;
    const std::shared_future<void> ended(end.get_future());
    std::atomic<int> waiting{0};
    beforeFlush = [&, here = std::this_thread::get_id()] {
        if (std::this_thread::get_id() != here) {
            ++waiting;
            ended.wait();
        }
    };
    const auto changing =
        std::async(std::launch::async, [&] { tree.setStream(changed, "note", "text"); });
    while (waiting == 0)
        std::this_thread::yield();
    EXPECT_EQ(2U, tree.children("n0").size());
    EXPECT_TRUE(tree.node(changed)->streams.empty());
    tree.destroyNode(gone); // and not its removal
    while (waiting == 1)
        std::this_thread::yield();
    EXPECT_TRUE(std::filesystem::exists(scratch / "root/aside/" + gone));
    end.set_value();
    changing.wait();
    tree.awaitRemovals();
    beforeFlush = nullptr;
    EXPECT_TRUE(std::filesystem::is_empty(scratch / "root/aside"));
}

TEST(DamagedDiskTest, AFolderThatCannotBeListedIsNotTakenForAnEmptyOne) {
    ScratchDirectory scratch;
    const DevLog log(nullptr, /*verbose=*/false);
    DevTree(scratch / "root", DevSync::None, log).createNode("n0", "a", DevNode::Plain, "");
    failsToList = true;
    try {
        const DevTree taken(scratch / "root", DevSync::None, log);
        ADD_FAILURE() << "opened";
    } catch (const DevError& error) {
        EXPECT_STREQ("Can't list the folder '.': Input/output error.", error.what());
    }
    failsToList = false;
    EXPECT_EQ(1U, DevTree(scratch / "root", DevSync::None, log).children("n0").size());
}

} // namespace
