// The tree that is mounted: folders as the source has them, with a folder for each clip. It knows nothing of
// FUSE. Nodes stand for one state of a clip: a clip that has changed gets new nodes, and requests for its
// old nodes fail with ESTALE, after which the kernel looks names up again.
#pragma once

#include "tools/mount/clip_folder.h"
#include "tools/mount/mounted_file.h"
#include "tools/mount/source_folder.h"

#include <cstdint>
#include <ctime>
#include <deque>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

using Node = std::uint64_t;

inline constexpr Node kRootNode = 1;

struct NodeAttributes {
    Node node = 0;
    bool isFolder = false;
    bool isFixed = false; // never changes while the node exists
    std::uint64_t size = 0;
    std::timespec modified{};
};

struct NodeEntry {
    std::string name;
    Node node = 0;
    bool isFolder = false;
};

/// Any thread may call. Failures throw std::system_error: ENOENT for a name that is not there, ESTALE for a
/// node that no longer exists, ENOTDIR, EISDIR; other exceptions stand for EIO.
class ClipTree final {
  public:
    /// `source` is a clip or a folder, by an absolute path. Plug-in and cache must outlive this object.
    ClipTree(const Plugin& plugin, std::filesystem::path source, FrameCache& cache, MountLog log);

    [[nodiscard]] NodeAttributes find(Node folder, const std::string& name);
    [[nodiscard]] NodeAttributes attributes(Node node);
    /// What a folder holds, by name, without the folders "." and "..".
    [[nodiscard]] std::vector<NodeEntry> list(Node folder);
    /// The folder that a folder lies in; the root's is the root.
    [[nodiscard]] Node parent(Node folder);
    [[nodiscard]] std::unique_ptr<MountedFile> open(Node file);

  private:
    using ClipPointer = std::shared_ptr<ClipFolder>;

    /// A folder of the tree.
    struct Slot {
        std::filesystem::path path;
        Node parent = kRootNode;
        ClipPointer clip; // null for a folder of the source
    };

    [[nodiscard]] Slot slotOf(Node node);
    [[nodiscard]] Node folderNode(const std::filesystem::path& path, Node parent);
    [[nodiscard]] Node clipNode(const std::filesystem::path& path, Node parent);
    [[nodiscard]] Node nodeOf(const SourceEntry& entry, Node parent);
    [[nodiscard]] std::vector<SourceEntry> entriesOf(const Slot& slot) const;
    [[nodiscard]] ClipPointer openClip(const Slot& slot);
    void requireCurrent(const Slot& slot);
    void retire(const std::filesystem::path& path);
    void retireAllBut(const std::vector<SourceEntry>& entries, Node folder);
    [[nodiscard]] NodeAttributes attributesOf(Node node, const Slot& slot);
    [[nodiscard]] ClipFolder::Document documentOf(Node node, ClipFolder& clip) const;

    const Plugin& m_plugin;
    const std::filesystem::path m_source;
    FrameCache& m_cache;
    const MountLog m_log;
    std::mutex m_mutex; // guards what follows
    std::vector<Slot> m_slots;
    std::map<std::filesystem::path, std::uint64_t> m_slotByPath;
    std::deque<ClipPointer> m_openClips; // the last used first
};
