#include "tools/mount/clip_tree.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <sys/stat.h>
#include <system_error>

namespace fs = std::filesystem;

namespace {

/// Clips whose files are kept open, so that a folder of thousands takes few of them.
constexpr std::size_t kOpenClips = 16;

// A node is the number of a folder's slot and, in the low bits, an item of that folder. The root's node is
// the one that FUSE wants.
constexpr unsigned kItemBits = 40;
constexpr Node kFolderItem = 0;
constexpr Node kReportItem = 2;
constexpr Node kSheetItem = 3;
constexpr Node kListItem = 4;
constexpr Node kFirstFrameItem = 16;

constexpr Node makeNode(std::uint64_t slot, Node item) {
    return slot == 0 ? kRootNode : slot << kItemBits | item;
}
constexpr std::uint64_t slotNumber(Node node) {
    return node >> kItemBits;
}
constexpr Node itemOf(Node node) {
    return node == kRootNode ? kFolderItem : node & ((Node{1} << kItemBits) - 1);
}

[[noreturn]] void fail(int error) {
    throw std::system_error(error, std::generic_category());
}

struct DocumentName {
    Node item;
    const char* ending;
};
constexpr std::array kDocuments{DocumentName{kReportItem, ".json"}, DocumentName{kSheetItem, ".png"},
                                DocumentName{kListItem, ".unreadable.txt"}};

} // namespace

ClipTree::ClipTree(const Plugin& plugin, fs::path source, FrameCache& cache, MountLog log)
    : m_plugin(plugin), m_source(std::move(source)), m_cache(cache),
      m_log(std::move(log)), m_slots{Slot{m_source, kRootNode, nullptr}} {}

ClipTree::Slot ClipTree::slotOf(Node node) {
    const std::scoped_lock lock(m_mutex);
    if (slotNumber(node) >= m_slots.size()) fail(ESTALE);
    return m_slots[slotNumber(node)];
}

Node ClipTree::folderNode(const fs::path& path, Node parent) {
    const std::scoped_lock lock(m_mutex);
    const auto [found, isNew] = m_slotByPath.try_emplace(path, m_slots.size());
    if (!isNew && m_slots[found->second].clip == nullptr) return makeNode(found->second, kFolderItem);
    found->second = m_slots.size();
    m_slots.push_back({path, parent, nullptr});
    return makeNode(found->second, kFolderItem);
}

/// The node of a clip as its file is now.
Node ClipTree::clipNode(const fs::path& path, Node parent) {
    const auto identity = identify(path);
    if (!identity) {
        retire(path);
        fail(ENOENT);
    }
    ClipPointer old;
    Node node = 0;
    {
        const std::scoped_lock lock(m_mutex);
        const auto [found, isNew] = m_slotByPath.try_emplace(path, m_slots.size());
        if (!isNew) {
            old = m_slots[found->second].clip;
            if (old && old->identity() == *identity && !old->isGone())
                return makeNode(found->second, kFolderItem);
        }
        found->second = m_slots.size();
        m_slots.push_back(
            {path, parent,
             std::make_shared<ClipFolder>(m_plugin, path, *identity, m_slots.size(), m_cache.jobs(), m_log)});
        node = makeNode(found->second, kFolderItem);
        std::erase(m_openClips, old);
    }
    if (old) {
        old->retire();
        m_cache.forget(old->id());
        old->close();
    }
    return node;
}

Node ClipTree::nodeOf(const SourceEntry& entry, Node parent) {
    return entry.isClip ? clipNode(entry.path, parent) : folderNode(entry.path, parent);
}

/// Closes what is open of a clip that is gone.
void ClipTree::retire(const fs::path& path) {
    ClipPointer clip;
    {
        const std::scoped_lock lock(m_mutex);
        const auto found = m_slotByPath.find(path);
        if (found == m_slotByPath.end()) return;
        clip = m_slots[found->second].clip;
        if (!clip) return;
        m_slotByPath.erase(found);
        std::erase(m_openClips, clip);
    }
    clip->retire();
    m_cache.forget(clip->id());
    clip->close();
}

void ClipTree::retireAllBut(const std::vector<SourceEntry>& entries, Node folder) {
    std::vector<fs::path> gone;
    {
        const std::scoped_lock lock(m_mutex);
        for (const auto& [path, slot] : m_slotByPath)
            if (m_slots[slot].clip && m_slots[slot].parent == folder &&
                std::ranges::find(entries, path, &SourceEntry::path) == entries.end())
                gone.push_back(path);
    }
    for (const fs::path& path : gone)
        retire(path);
}

void ClipTree::requireCurrent(const Slot& slot) {
    if (!slot.clip->isGone() && identify(slot.path) == slot.clip->identity()) return;
    if (!slot.clip->isGone() && !identify(slot.path)) retire(slot.path);
    fail(ESTALE);
}

std::vector<SourceEntry> ClipTree::entriesOf(const Slot& slot) const {
    if (slot.path == m_source && fs::is_regular_file(m_source))
        return {{m_source.stem().string(), m_source, true}};
    std::error_code ignored;
    if (!fs::is_directory(slot.path, ignored)) fail(slot.path == m_source ? ENOENT : ESTALE);
    return listSource(slot.path);
}

/// The clip of a slot, opened; null when it does not open. It stays open until enough others were used.
ClipTree::ClipPointer ClipTree::openClip(const Slot& slot) {
    requireCurrent(slot);
    if (!slot.clip->opens()) return nullptr;
    ClipPointer longestUnused;
    {
        const std::scoped_lock lock(m_mutex);
        std::erase(m_openClips, slot.clip);
        m_openClips.push_front(slot.clip);
        if (m_openClips.size() > kOpenClips) {
            longestUnused = m_openClips.back();
            m_openClips.pop_back();
        }
    }
    if (longestUnused) longestUnused->close();
    return slot.clip;
}

NodeAttributes ClipTree::find(Node folder, const std::string& name) {
    const Slot slot = slotOf(folder);
    if (itemOf(folder) != kFolderItem) fail(ENOTDIR);
    if (!slot.clip) {
        const std::vector<SourceEntry> entries = entriesOf(slot);
        const auto found = std::ranges::find(entries, name, &SourceEntry::name);
        if (found == entries.end()) {
            retireAllBut(entries, folder);
            fail(ENOENT);
        }
        return attributes(nodeOf(*found, folder));
    }
    const ClipPointer clip = openClip(slot);
    const std::uint64_t number = slotNumber(folder);
    for (const DocumentName& document : kDocuments)
        if (name == slot.clip->stem() + document.ending && (clip || document.item == kListItem))
            return attributesOf(makeNode(number, document.item), slot);
    if (const auto frame = clip ? clip->frameNamed(name) : std::nullopt)
        return attributesOf(makeNode(number, kFirstFrameItem + *frame), slot);
    fail(ENOENT);
}

ClipFolder::Document ClipTree::documentOf(Node node, ClipFolder& clip) const {
    switch (itemOf(node)) {
    case kReportItem:
        return clip.report();
    case kSheetItem:
        return clip.sheet();
    case kListItem:
        return clip.unreadableList();
    default:
        return nullptr;
    }
}

NodeAttributes ClipTree::attributesOf(Node node, const Slot& slot) {
    NodeAttributes attributes{.node = node, .modified = slot.clip->identity().modified};
    const Node item = itemOf(node);
    attributes.isFolder = item == kFolderItem;
    if (attributes.isFolder) return attributes;
    attributes.isFixed = item != kListItem;
    if (item >= kFirstFrameItem) {
        attributes.size = slot.clip->frameFileSize();
        return attributes;
    }
    const ClipFolder::Document document = documentOf(node, *slot.clip);
    if (!document) fail(ENOENT);
    attributes.size = document->size();
    return attributes;
}

NodeAttributes ClipTree::attributes(Node node) {
    const Slot slot = slotOf(node);
    if (slot.clip) {
        requireCurrent(slot);
        return attributesOf(node, slot);
    }
    struct stat status {};
    if (::stat(slot.path.c_str(), &status) != 0) fail(node == kRootNode ? ENOENT : ESTALE);
    return {.node = node, .isFolder = true, .modified = status.st_mtim};
}

std::vector<NodeEntry> ClipTree::list(Node folder) {
    const Slot slot = slotOf(folder);
    if (itemOf(folder) != kFolderItem) fail(ENOTDIR);
    std::vector<NodeEntry> list;
    if (!slot.clip) {
        const std::vector<SourceEntry> entries = entriesOf(slot);
        retireAllBut(entries, folder);
        for (const SourceEntry& entry : entries)
            if (!entry.isClip || identify(entry.path)) // not deleted meanwhile
                list.push_back({entry.name, nodeOf(entry, folder), true});
        return list;
    }
    const ClipPointer clip = openClip(slot);
    const std::uint64_t number = slotNumber(folder);
    for (std::uint32_t frame = 0; clip && frame < clip->frames(); ++frame)
        list.push_back({clip->frameName(frame), makeNode(number, kFirstFrameItem + frame), false});
    for (const DocumentName& document : kDocuments)
        if (document.item == kListItem ? slot.clip->unreadableList() != nullptr : clip != nullptr)
            list.push_back({slot.clip->stem() + document.ending, makeNode(number, document.item), false});
    return list;
}

Node ClipTree::parent(Node folder) {
    return slotOf(folder).parent;
}

std::unique_ptr<MountedFile> ClipTree::open(Node file) {
    const Slot slot = slotOf(file);
    const Node item = itemOf(file);
    if (item == kFolderItem) fail(EISDIR);
    const ClipPointer clip = openClip(slot);
    if (item >= kFirstFrameItem && clip)
        return openFrame(clip, m_cache, static_cast<std::uint32_t>(item - kFirstFrameItem));
    ClipFolder::Document document = clip || item == kListItem ? documentOf(file, *slot.clip) : nullptr;
    if (!document) fail(ENOENT);
    return openDocument(std::move(document));
}
