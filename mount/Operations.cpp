#include "mount/Operations.h"

#include "mount/FileSystem.h"

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
        return made;
    }();
    return all;
}

} // namespace mounted
