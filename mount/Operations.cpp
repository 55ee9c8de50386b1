#include "mount/Operations.h"

#include "mount/FileSystem.h"

#include <cerrno>
#include <string>

namespace mounted {

namespace {

FileSystem& of(fuse_req_t request) {
    return *static_cast<FileSystem*>(fuse_req_userdata(request));
}

void lookup(fuse_req_t request, fuse_ino_t parent, const char* name) {
    of(request).lookUp(request, parent, name);
}
void forget(fuse_req_t request, fuse_ino_t number, std::uint64_t times) {
    of(request).forget(number, times);
    fuse_reply_none(request);
}
void forgetMany(fuse_req_t request, std::size_t count, fuse_forget_data* all) {
    for (std::size_t i = 0; i < count; ++i)
        of(request).forget(all[i].ino, all[i].nlookup);
    fuse_reply_none(request);
}
void getattr(fuse_req_t request, fuse_ino_t number, fuse_file_info* /*info*/) {
    of(request).tellAttributes(request, number);
}
void opendir(fuse_req_t request, fuse_ino_t number, fuse_file_info* info) {
    of(request).openFolder(request, number, *info);
}
void readdirplus(fuse_req_t request, fuse_ino_t /*number*/, std::size_t size, off_t offset,
                 fuse_file_info* info) {
    of(request).listFolder(request, size, offset, *info);
}
void releasedir(fuse_req_t request, fuse_ino_t /*number*/, fuse_file_info* info) {
    of(request).closeFolder(request, *info);
}
void open(fuse_req_t request, fuse_ino_t number, fuse_file_info* info) {
    of(request).open(request, number, *info);
}
void read(fuse_req_t request, fuse_ino_t /*number*/, std::size_t size, off_t offset,
          fuse_file_info* info) {
    of(request).read(request, size, offset, *info);
}
void release(fuse_req_t request, fuse_ino_t /*number*/, fuse_file_info* info) {
    of(request).close(request, *info);
}
void listxattr(fuse_req_t request, fuse_ino_t number, std::size_t size) {
    of(request).listStreams(request, number, size);
}
void getxattr(fuse_req_t request, fuse_ino_t number, const char* name, std::size_t size) {
    of(request).readStream(request, number, name, size);
}
void create(fuse_req_t request, fuse_ino_t parent, const char* name, mode_t /*mode*/,
            fuse_file_info* info) {
    of(request).create(request, parent, name, *info);
}
void write(fuse_req_t request, fuse_ino_t /*number*/, const char* bytes, std::size_t size,
           off_t offset, fuse_file_info* info) {
    of(request).write(request, bytes, size, offset, *info);
}
void flush(fuse_req_t request, fuse_ino_t /*number*/, fuse_file_info* info) {
    of(request).flush(request, *info);
}
void fsync(fuse_req_t request, fuse_ino_t /*number*/, int /*isData*/, fuse_file_info* info) {
    of(request).flush(request, *info);
}
void setattr(fuse_req_t request, fuse_ino_t number, struct stat* wanted, int which,
             fuse_file_info* /*info*/) {
    of(request).changeAttributes(request, number, *wanted, which);
}
void rename(fuse_req_t request, fuse_ino_t parent, const char* name, fuse_ino_t newParent,
            const char* newName, unsigned flags) {
    of(request).rename(request, parent, name, newParent, newName, flags);
}
void unlink(fuse_req_t request, fuse_ino_t parent, const char* name) {
    of(request).unlink(request, parent, name);
}
void mkdir(fuse_req_t request, fuse_ino_t parent, const char* name, mode_t /*mode*/) {
    of(request).makeFolder(request, parent, name);
}
void rmdir(fuse_req_t request, fuse_ino_t parent, const char* name) {
    of(request).removeFolder(request, parent, name);
}
void setxattr(fuse_req_t request, fuse_ino_t number, const char* name, const char* value,
              std::size_t size, int /*flags*/) {
    of(request).writeStream(request, number, name, std::string(value, size));
}

// What is not offered. Without a function the system would not ask again, and say that it is not
// known.
void symlink(fuse_req_t request, const char* /*target*/, fuse_ino_t /*parent*/,
             const char* /*name*/) {
    fuse_reply_err(request, EPERM);
}
void link(fuse_req_t request, fuse_ino_t /*number*/, fuse_ino_t /*newParent*/,
          const char* /*newName*/) {
    fuse_reply_err(request, EPERM);
}
void mknod(fuse_req_t request, fuse_ino_t /*parent*/, const char* /*name*/, mode_t /*mode*/,
           dev_t /*device*/) {
    fuse_reply_err(request, EPERM);
}
void removexattr(fuse_req_t request, fuse_ino_t /*number*/, const char* /*name*/) {
    fuse_reply_err(request, EOPNOTSUPP);
}

} // namespace

const fuse_lowlevel_ops& operations() {
    static const fuse_lowlevel_ops all = [] {
        fuse_lowlevel_ops made{};
        made.lookup = lookup;
        made.forget = forget;
        made.forget_multi = forgetMany;
        made.getattr = getattr;
        made.opendir = opendir;
        made.readdirplus = readdirplus;
        made.releasedir = releasedir;
        made.open = open;
        made.read = read;
        made.release = release;
        made.listxattr = listxattr;
        made.getxattr = getxattr;
        made.create = create;
        made.write = write;
        made.flush = flush;
        made.fsync = fsync;
        made.setattr = setattr;
        made.rename = rename;
        made.unlink = unlink;
        made.mkdir = mkdir;
        made.rmdir = rmdir;
        made.setxattr = setxattr;
        made.symlink = symlink;
        made.link = link;
        made.mknod = mknod;
        made.removexattr = removexattr;
        return made;
    }();
    return all;
}

} // namespace mounted
