#include "tools/export/export_journal.h"

#include "tools/export/input_file.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <stdexcept>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

using Json = nlohmann::ordered_json;

namespace {

constexpr mode_t kPermissions = 0666; // what the user's umask leaves of it

[[noreturn]] void fail(const std::string& path, int error) {
    throw std::runtime_error(fmt::format("{}: {}", path, std::generic_category().message(error)));
}

[[noreturn]] void refuse(const std::string& path, const std::string& why) {
    throw std::runtime_error(fmt::format("{}: {}", path, why));
}

/// False when the file was removed or replaced since it was opened.
bool hasName(int descriptor, const std::string& path) {
    struct stat opened {};
    struct stat named {};
    return ::fstat(descriptor, &opened) == 0 && ::stat(path.c_str(), &named) == 0 &&
           opened.st_ino == named.st_ino && opened.st_dev == named.st_dev;
}

std::string lineOf(const Json& document) {
    return document.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string contentOf(const std::string& path) {
    InputFile file(path);
    std::string text(file.size(), '\0');
    text.resize(file.read({reinterpret_cast<std::uint8_t*>(text.data()), text.size()}).size());
    return text;
}

} // namespace

ExportJournal::ExportJournal(ExportFileNames names, ExportIdentity identity, ExportStart start,
                             const FrameFilter& selected, bool sync)
    : m_names(std::move(names)), m_start(start), m_sync(sync), m_replaces(start == ExportStart::replace),
      m_manifest(std::move(identity)) {
    lock();
    try {
        const std::string lines = contentOf(m_names.journal);
        m_worthKeeping = !lines.empty();
        if (m_worthKeeping) {
            readJournal(lines, selected);
        } else {
            readManifest(m_names.wholeManifest, selected);
            if (m_names.manifest != m_names.wholeManifest) readManifest(m_names.manifest, selected);
        }
        if (m_end == 0) begin();
    } catch (...) {
        if (!m_worthKeeping) ::unlink(m_names.journal.c_str());
        ::close(m_descriptor);
        throw;
    }
}

ExportJournal::~ExportJournal() {
    if (m_descriptor < 0) return;
    if (!m_worthKeeping) ::unlink(m_names.journal.c_str());
    ::close(m_descriptor);
}

void ExportJournal::lock() {
    for (;;) {
        m_descriptor = ::open(m_names.journal.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, kPermissions);
        if (m_descriptor < 0) fail(m_names.journal, errno);
        const bool locked = ::flock(m_descriptor, LOCK_EX | LOCK_NB) == 0;
        const bool taken = !locked && errno == EWOULDBLOCK; // other errors: the file system has no locks
        if (!taken && hasName(m_descriptor, m_names.journal)) return;
        ::close(m_descriptor);
        if (taken) refuse(m_names.journal, "another export is writing these files");
    }
}

/// Reads the journal of a run that was killed. The last line may be cut short.
void ExportJournal::readJournal(const std::string& lines, const FrameFilter& selected) {
    if (m_start == ExportStart::fresh)
        refuse(m_names.journal,
               "exists already: an export did not end (--resume continues it, --overwrite begins anew)");
    std::uint64_t read = 0;
    for (std::size_t end = lines.find('\n'); end != std::string::npos; end = lines.find('\n', read)) {
        const Json document = Json::parse(lines.substr(read, end - read), nullptr, false);
        try {
            if (read > 0) {
                const ExportedFrame frame = frameFromJson(document);
                if (m_start != ExportStart::replace || !selected(frame.frame)) m_manifest.set(frame);
            } else {
                const std::string difference =
                    differenceBetween(identityFromJson(document), m_manifest.identity());
                if (!difference.empty() && m_start == ExportStart::replace) return;
                if (!difference.empty()) refuse(m_names.journal, difference);
                m_replaces = m_replaces || document.at("replaces").get<bool>();
            }
        } catch (const Json::exception&) {
            break; // lines behind a damaged one are lost; the files of their frames are compared
        }
        read = end + 1;
    }
    // A replacing run writes the journal anew.
    if (m_start == ExportStart::resume) m_end = read;
}

/// Takes over the frames of a manifest, where there is one.
void ExportJournal::readManifest(const std::string& path, const FrameFilter& selected) {
    if (!std::filesystem::exists(path)) return;
    if (m_start == ExportStart::fresh)
        refuse(path, "exists already (--resume continues the export, --overwrite replaces)");
    try {
        const ExportManifest earlier = ExportManifest::read(path);
        const std::string difference = differenceBetween(earlier.identity(), m_manifest.identity());
        if (!difference.empty()) refuse(path, difference);
        for (const auto& [number, frame] : earlier.frames())
            if (m_start != ExportStart::replace || !selected(number)) m_manifest.set(frame);
    } catch (const std::runtime_error&) {
        if (m_start != ExportStart::replace) throw;
    }
}

void ExportJournal::begin() {
    Json head = identityJson(m_manifest.identity());
    head["replaces"] = m_replaces;
    std::string lines = lineOf(head);
    for (const auto& [number, frame] : m_manifest.frames())
        lines += lineOf(frameJson(frame));
    append(lines);
}

void ExportJournal::append(const std::string& lines) {
    // A line that was cut short may stand behind the whole lines. It is overwritten.
    const auto end = static_cast<off_t>(m_end);
    if (::ftruncate(m_descriptor, end) != 0) fail(m_names.journal, errno);
    for (std::size_t done = 0; done < lines.size();) {
        const ssize_t count =
            ::pwrite(m_descriptor, lines.data() + done, lines.size() - done, end + static_cast<off_t>(done));
        if (count < 0 && errno != EINTR) fail(m_names.journal, errno);
        if (count > 0) done += static_cast<std::size_t>(count);
    }
    if (m_sync && ::fdatasync(m_descriptor) != 0) fail(m_names.journal, errno);
    m_end += lines.size();
}

std::optional<ExportedFrame> ExportJournal::find(std::uint32_t frame) const {
    const std::scoped_lock guard(m_mutex);
    const ExportedFrame* const found = m_manifest.find(frame);
    return found != nullptr ? std::optional(*found) : std::nullopt;
}

void ExportJournal::add(const ExportedFrame& frame) {
    const std::scoped_lock guard(m_mutex);
    m_worthKeeping = true;
    append(lineOf(frameJson(frame)));
    m_manifest.set(frame);
}

void ExportJournal::finish() {
    const std::scoped_lock guard(m_mutex);
    m_manifest.write(m_names.manifest, m_sync);
    ::unlink(m_names.journal.c_str());
    ::close(std::exchange(m_descriptor, -1));
}
