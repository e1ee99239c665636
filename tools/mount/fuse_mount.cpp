#include "tools/mount/fuse_mount.h"

#include "tools/mount/clip_tree.h"
#include "tools/mount/direct_reads.h"
#include "tools/mount/handle_table.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fmt/format.h>
#include <memory>
#include <pthread.h>
#include <stdexcept>
#include <sys/statvfs.h>
#include <sys/uio.h>
#include <syslog.h>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

#define FUSE_USE_VERSION 312
#include <fuse_lowlevel.h>

namespace fs = std::filesystem;

namespace {

/// Seconds for which the kernel may cache an answer: that a clip is there and has not changed.
constexpr double kSourceTimeout = 1;
/// What a clip's state holds does not change: a clip that changes gets other nodes.
constexpr double kFixedTimeout = 24.0 * 3600;

/// Programs read in pieces of this size. Pieces that pass through the page cache arrive 128 KiB at a time.
/// What is read directly arrives in one go, up to the most that the kernel asks for.
constexpr unsigned kCachedBlockSize = 1U << 17U;
constexpr unsigned kDirectBlockSize = 1U << 20U;
constexpr std::uint64_t kUnitOfBlocks = 512;

/// A folder as it was when it was opened.
using Listing = std::vector<NodeEntry>;

struct OpenFile {
    OpenFile(std::unique_ptr<MountedFile> opened, bool isDirect) : file(std::move(opened)), reads{isDirect} {}

    std::unique_ptr<MountedFile> file;
    DirectReads::File reads;
};

/// What the requests work on.
struct Mount {
    fs::path source;
    MountLog log;
    DirectReads directReads;
    std::unique_ptr<FrameCache> cache; // outlives tree and files
    std::unique_ptr<ClipTree> tree;
    HandleTable<OpenFile> files;
    HandleTable<const Listing> listings;
};

Mount& mountOf(fuse_req_t request) {
    return *static_cast<Mount*>(fuse_req_userdata(request));
}

/// Answers with an error for whatever `serve` throws: no request ends the mount.
template <typename Serve>
void answer(fuse_req_t request, const char* what, Serve serve) {
    int error = EIO;
    try {
        serve(mountOf(request));
        return;
    } catch (const std::bad_alloc&) {
        error = ENOMEM;
    } catch (const std::system_error& failure) {
        if (failure.code().category() == std::generic_category() ||
            failure.code().category() == std::system_category())
            error = failure.code().value();
    } catch (const std::exception& failure) {
        mountOf(request).log(fmt::format("{}: {}", what, failure.what()));
    }
    fuse_reply_err(request, error);
}

struct stat statusOf(const Mount& mount, const NodeAttributes& attributes) {
    struct stat status {};
    status.st_ino = attributes.node;
    status.st_mode = attributes.isFolder ? S_IFDIR | 0555U : S_IFREG | 0444U;
    status.st_nlink = attributes.isFolder ? 2 : 1;
    status.st_uid = ::getuid();
    status.st_gid = ::getgid();
    status.st_size = static_cast<off_t>(attributes.size);
    status.st_blksize = mount.directReads.areGranted() ? kDirectBlockSize : kCachedBlockSize;
    status.st_blocks = static_cast<blkcnt_t>((attributes.size + kUnitOfBlocks - 1) / kUnitOfBlocks);
    status.st_atim = status.st_mtim = status.st_ctim = attributes.modified;
    return status;
}

double timeoutOf(const NodeAttributes& attributes) {
    return attributes.isFixed ? kFixedTimeout : kSourceTimeout;
}

void lookUp(fuse_req_t request, fuse_ino_t folder, const char* name) {
    answer(request, "lookup", [&](Mount& mount) {
        const NodeAttributes attributes = mount.tree->find(folder, name);
        fuse_entry_param entry{};
        entry.ino = attributes.node;
        entry.attr = statusOf(mount, attributes);
        entry.entry_timeout = entry.attr_timeout = timeoutOf(attributes);
        fuse_reply_entry(request, &entry);
    });
}

void getAttributes(fuse_req_t request, fuse_ino_t node, fuse_file_info* /*file*/) {
    answer(request, "stat", [&](Mount& mount) {
        const NodeAttributes attributes = mount.tree->attributes(node);
        const struct stat status = statusOf(mount, attributes);
        fuse_reply_attr(request, &status, timeoutOf(attributes));
    });
}

void openFolder(fuse_req_t request, fuse_ino_t folder, fuse_file_info* file) {
    answer(request, "opendir", [&](Mount& mount) {
        auto listing = std::make_shared<Listing>(mount.tree->list(folder));
        const std::array dots{NodeEntry{".", folder, true},
                              NodeEntry{"..", mount.tree->parent(folder), true}};
        listing->insert(listing->begin(), dots.begin(), dots.end());
        file->fh = mount.listings.add(std::move(listing));
        const std::uint64_t handle = file->fh;
        if (fuse_reply_open(request, file) != 0) mount.listings.remove(handle); // the caller has gone
    });
}

void readFolder(fuse_req_t request, fuse_ino_t /*folder*/, std::size_t size, off_t offset,
                fuse_file_info* file) {
    answer(request, "readdir", [&](Mount& mount) {
        const std::shared_ptr<const Listing> opened = mount.listings.at(file->fh);
        const Listing& listing = *opened;
        std::vector<char> buffer(size);
        std::size_t filled = 0;
        for (auto next = static_cast<std::size_t>(offset); next < listing.size(); ++next) {
            struct stat status {};
            status.st_ino = listing[next].node;
            status.st_mode = listing[next].isFolder ? S_IFDIR : S_IFREG;
            const std::size_t taken =
                fuse_add_direntry(request, buffer.data() + filled, size - filled, listing[next].name.c_str(),
                                  &status, static_cast<off_t>(next + 1));
            if (taken > size - filled) break;
            filled += taken;
        }
        fuse_reply_buf(request, buffer.data(), filled);
    });
}

void releaseFolder(fuse_req_t request, fuse_ino_t /*folder*/, fuse_file_info* file) {
    mountOf(request).listings.remove(file->fh);
    fuse_reply_err(request, 0);
}

void openFile(fuse_req_t request, fuse_ino_t node, fuse_file_info* file) {
    answer(request, "open", [&](Mount& mount) {
        const NodeAttributes attributes = mount.tree->attributes(node);
        std::unique_ptr<MountedFile> content = mount.tree->open(node);
        const bool isDirect = !attributes.isFixed || mount.directReads.takeFile();
        file->fh = mount.files.add(std::make_shared<OpenFile>(std::move(content), isDirect));
        const std::uint64_t handle = file->fh;
        file->direct_io = isDirect ? 1 : 0;
        file->keep_cache = isDirect ? 0 : 1;
        if (fuse_reply_open(request, file) != 0) mount.files.remove(handle);
    });
}

void readFile(fuse_req_t request, fuse_ino_t /*node*/, std::size_t size, off_t offset, fuse_file_info* file) {
    answer(request, "read", [&](Mount& mount) {
        const std::shared_ptr<OpenFile> opened = mount.files.at(file->fh);
        if (opened->reads.isDirect) mount.directReads.note(opened->reads, size);
        const FilePart part = opened->file->read(static_cast<std::uint64_t>(offset), size);
        std::vector<iovec> pieces;
        for (const auto& piece : part.pieces)
            pieces.push_back({const_cast<std::uint8_t*>(piece.data()), piece.size()});
        fuse_reply_iov(request, pieces.data(), static_cast<int>(pieces.size()));
    });
}

void releaseFile(fuse_req_t request, fuse_ino_t /*node*/, fuse_file_info* file) {
    mountOf(request).files.remove(file->fh);
    fuse_reply_err(request, 0);
}

/// The source's file system, with nothing free.
void fileSystemStatus(fuse_req_t request, fuse_ino_t /*node*/) {
    answer(request, "statfs", [&](Mount& mount) {
        struct statvfs status {};
        if (::statvfs(mount.source.c_str(), &status) != 0)
            throw std::system_error(errno, std::generic_category());
        status.f_bfree = status.f_bavail = 0;
        status.f_ffree = status.f_favail = 0;
        fuse_reply_statfs(request, &status);
    });
}

void begin(void* /*mount*/, fuse_conn_info* connection) {
    // Attributes cost opening clips: a listing of names does not ask for them.
    connection->want &= ~static_cast<unsigned>(FUSE_CAP_READDIRPLUS);
}

/// Nothing that writes: the kernel answers EROFS on a read-only mount.
fuse_lowlevel_ops operations() {
    fuse_lowlevel_ops operations{};
    operations.init = begin;
    operations.lookup = lookUp;
    operations.getattr = getAttributes;
    operations.open = openFile;
    operations.read = readFile;
    operations.release = releaseFile;
    operations.opendir = openFolder;
    operations.readdir = readFolder;
    operations.releasedir = releaseFolder;
    operations.statfs = fileSystemStatus;
    return operations;
}

ssize_t takeRequest(int kernel, void* buffer, std::size_t size, void* mount) {
    const ssize_t taken = ::read(kernel, buffer, size);
    if (taken > 0) static_cast<Mount*>(mount)->directReads.see(buffer, static_cast<std::size_t>(taken));
    return taken;
}

ssize_t giveAnswer(int kernel, iovec* pieces, int count, void* mount) {
    if (count == 2) static_cast<Mount*>(mount)->directReads.amend(pieces[1].iov_base, pieces[1].iov_len);
    return ::writev(kernel, pieces, count);
}

std::string& complaintOfLibrary() {
    static std::string complaint;
    return complaint;
}

/// Keeps the library's last complaint, which says why a mount fails.
[[gnu::format(printf, 2, 0)]] void keepComplaint(fuse_log_level level, const char* format,
                                                 va_list arguments) {
    if (level > FUSE_LOG_ERR) return;
    std::array<char, 512> line{};
    const int length = std::vsnprintf(line.data(), line.size(), format, arguments);
    if (length > 0) complaintOfLibrary() = line.data();
    while (complaintOfLibrary().ends_with('\n'))
        complaintOfLibrary().pop_back();
}

[[noreturn]] void failToMount(const std::string& mountPoint) {
    const std::string& why = complaintOfLibrary();
    throw std::runtime_error(fmt::format("{}: cannot be mounted on ({})", mountPoint,
                                         why.empty() ? "libfuse does not say why" : why));
}

/// A session of libfuse that is mounted. Unmounts on every way out.
class Session final {
  public:
    Session(Mount& mount, const std::string& mountPoint) {
        fuse_set_log_func(keepComplaint);
        std::array<std::string, 3> words{"krw", "-o", "ro,default_permissions,fsname=krw,subtype=krw"};
        std::array<char*, words.size()> pointers{};
        std::ranges::transform(words, pointers.begin(), [](std::string& word) { return word.data(); });
        fuse_args arguments = FUSE_ARGS_INIT(static_cast<int>(pointers.size()), pointers.data());
        const fuse_lowlevel_ops served = operations();
        m_session = fuse_session_new(&arguments, &served, sizeof served, &mount);
        fuse_opt_free_args(&arguments);
        if (m_session == nullptr) failToMount(mountPoint);
        if (fuse_session_mount(m_session, mountPoint.c_str()) != 0) {
            fuse_session_destroy(m_session);
            failToMount(mountPoint);
        }
        const fuse_custom_io way{giveAnswer, takeRequest, nullptr, nullptr};
        if (fuse_session_custom_io(m_session, &way, fuse_session_fd(m_session)) != 0) {
            fuse_session_unmount(m_session);
            fuse_session_destroy(m_session);
            failToMount(mountPoint);
        }
    }
    ~Session() {
        fuse_remove_signal_handlers(m_session);
        fuse_session_unmount(m_session);
        fuse_session_destroy(m_session);
    }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    void serve() {
        const std::unique_ptr<fuse_loop_config, decltype(&fuse_loop_cfg_destroy)> config(
            fuse_loop_cfg_create(), fuse_loop_cfg_destroy);
        fuse_session_loop_mt(m_session, config.get());
    }
    [[nodiscard]] fuse_session* get() { return m_session; }

  private:
    fuse_session* m_session = nullptr;
};

/// SIGINT, SIGTERM and SIGHUP end the session. The library takes them only where nobody else does.
void endOnSignals(fuse_session* session) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        std::signal(signal, SIG_DFL);
    fuse_set_signal_handlers(session);
}

/// Makes the cache, whose workers leave signals to this thread.
std::unique_ptr<FrameCache> startCache(const MountOptions& options) {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    auto cache = std::make_unique<FrameCache>(options.cacheBytes, options.jobs);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return cache;
}

/// The source by its full path. Throws std::runtime_error when it is neither a folder nor a clip that opens.
fs::path checkedSource(const Plugin& plugin, const std::string& path) {
    std::error_code error;
    fs::path source = fs::canonical(path, error);
    if (error) throw std::runtime_error(fmt::format("{}: {}", path, error.message()));
    if (!fs::is_directory(source)) const Clip opens(plugin, path);
    return source;
}

/// A folder that is shown inside itself has no end.
void refuseLoop(const fs::path& source, const fs::path& mountPoint) {
    const auto [end, ignored] = std::ranges::mismatch(source, mountPoint);
    if (end == source.end())
        throw std::runtime_error(
            fmt::format("{}: lies in {}, which is to be mounted", mountPoint.string(), source.string()));
}

void logToSystem(const std::string& line) {
    // A C interface without another form.
    ::syslog(LOG_WARNING, "%s", line.c_str()); // NOLINT(cppcoreguidelines-pro-type-vararg)
}

} // namespace

void mountClips(const Plugin& plugin, const MountOptions& options) {
    Mount mount;
    mount.source = checkedSource(plugin, options.source);
    mount.log = options.log;
    std::error_code error;
    const fs::path mountPoint = fs::canonical(options.mountPoint, error);
    if (error) throw std::runtime_error(fmt::format("{}: {}", options.mountPoint, error.message()));
    refuseLoop(mount.source, mountPoint);
    Session session(mount, mountPoint.string());
    // From here on there may be another process: threads start in that one.
    if (fuse_daemonize(options.inForeground ? 1 : 0) != 0)
        throw std::runtime_error("the mount cannot go on in the background");
    if (!options.inForeground) {
        options.leaveConsole();
        ::openlog("krw", LOG_PID, LOG_DAEMON);
        mount.log = logToSystem;
    }
    endOnSignals(session.get());
    mount.cache = startCache(options);
    mount.tree = std::make_unique<ClipTree>(plugin, mount.source, *mount.cache, mount.log);
    session.serve();
}
