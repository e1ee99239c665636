#include "tools/export/media_hash_list.h"

#include "tools/export/output_file.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <climits>
#include <ctime>
#include <filesystem>
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <optional>
#include <pugixml.hpp>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

constexpr const char* kHistoryFolder = "ascmhl";
constexpr const char* kChainName = "ascmhl_chain.xml";

// Lists leave out their own folder, the files of file managers, and the notes of exports.
constexpr std::array kIgnored{
    ".DS_Store", "ascmhl", "ascmhl/", "*.krw-export.json", "*.krw-export.unfinished", "*.krw-part"};

bool isIgnored(const std::string& name) {
    return std::ranges::any_of(kIgnored, [&name](std::string_view pattern) {
        return pattern.starts_with('*') ? name.ends_with(pattern.substr(1)) : name == pattern;
    });
}

std::string timeText(std::time_t time) {
    return fmt::format("{:%Y-%m-%dT%H:%M:%S}+00:00", fmt::gmtime(time));
}

std::string modificationTime(const std::string& path) {
    struct stat status {};
    return timeText(::stat(path.c_str(), &status) == 0 ? status.st_mtime : 0);
}

std::string hostName() {
    std::array<char, HOST_NAME_MAX + 1> name{};
    return ::gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "localhost";
}

void load(pugi::xml_document& document, const std::string& path) {
    const pugi::xml_parse_result result = document.load_file(path.c_str());
    if (!result) throw std::runtime_error(fmt::format("{}: {}", path, result.description()));
}

void save(const pugi::xml_document& document, const std::string& path, Existing existing) {
    std::ostringstream text;
    document.save(text, "  ", pugi::format_default, pugi::encoding_utf8);
    const std::string bytes = text.str();
    OutputFile file(path, {.existing = existing});
    file.write({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
    file.finish();
}

pugi::xml_node begin(pugi::xml_document& document, const char* root, const char* nameSpace) {
    pugi::xml_node declaration = document.append_child(pugi::node_declaration);
    declaration.append_attribute("version") = "1.0";
    declaration.append_attribute("encoding") = "UTF-8";
    pugi::xml_node node = document.append_child(root);
    if (std::string_view(root) == "hashlist") node.append_attribute("version") = "2.0";
    node.append_attribute("xmlns") = nameSpace;
    return node;
}

void addText(pugi::xml_node parent, const char* name, const std::string& text) {
    parent.append_child(name).text() = text.c_str();
}

/// The hashes below an element, without those that an earlier run found to be wrong.
KindHashes hashesOf(const pugi::xml_node& element) {
    KindHashes hashes;
    for (const auto& [name, kind] : hashKinds()) {
        const pugi::xml_node hash = element.child(name.c_str());
        if (hash && std::string_view(hash.attribute("action").value()) != "failed")
            hashes.emplace(kind, hash.text().get());
    }
    return hashes;
}

std::vector<HashKind> kindsOf(const KindHashes& hashes) {
    std::vector<HashKind> kinds;
    for (const auto& [kind, text] : hashes)
        kinds.push_back(kind);
    return kinds;
}

/// "xxh64 1, in the lists 2" for the first hash that differs.
std::optional<std::string> difference(const KindHashes& expected, const KindHashes& found) {
    for (const auto& [kind, text] : expected)
        if (found.at(kind) != text)
            return fmt::format("{} is {}, in the lists {}", hashName(kind), found.at(kind), text);
    return std::nullopt;
}

/// A folder's entries that belong to the delivery, by name.
std::vector<fs::directory_entry> entriesOf(const fs::path& folder) {
    std::vector<fs::directory_entry> entries;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder))
        if (!isIgnored(entry.path().filename().string()) && (entry.is_regular_file() || entry.is_directory()))
            entries.push_back(entry);
    std::ranges::sort(entries, {}, [](const fs::directory_entry& entry) { return entry.path(); });
    return entries;
}

/// Throws for a name that XML 1.0 cannot hold.
void requireListable(const std::string& path) {
    const bool hasControl = std::ranges::any_of(path, [](unsigned char c) { return c < 0x20 || c == 0x7F; });
    if (hasControl)
        throw std::runtime_error(fmt::format("{}: a name with control characters fits no list", path));
}

struct FolderHashes {
    std::string content;
    std::string structure;
};

/// Goes through a folder and adds an element for each file and folder to a new list.
class ListMaker final {
  public:
    ListMaker(std::string folder, HashKind kind, const std::map<std::string, KindHashes>& originals,
              const std::map<std::string, std::string>& written, std::string time)
        : m_folder(std::move(folder)), m_kind(kind), m_originals(originals), m_written(written),
          m_time(std::move(time)) {}

    FolderHashes addFolder(pugi::xml_node hashes, const std::string& inside) {
        std::vector<std::string> content;
        std::vector<std::string> structure;
        for (const fs::directory_entry& entry : entriesOf(fs::path(m_folder) / inside)) {
            const std::string name = entry.path().filename().string();
            const std::string path = inside.empty() ? name : fmt::format("{}/{}", inside, name);
            requireListable(path);
            FolderHashes child;
            if (entry.is_directory()) {
                child = addFolder(hashes, path);
                addFolderElement(hashes, path, child);
            } else {
                child.content = child.structure = addFile(hashes, path);
            }
            content.push_back(child.content);
            structure.push_back(structureHash(m_kind, name, child.structure));
        }
        return {folderHash(m_kind, content), folderHash(m_kind, structure)};
    }

    void addFolderHashes(pugi::xml_node element, const FolderHashes& hashes) const {
        for (const auto& [name, text] :
             {std::pair("content", hashes.content), {"structure", hashes.structure}}) {
            pugi::xml_node hash = element.append_child(name).append_child(hashName(m_kind).c_str());
            hash.append_attribute("hashdate") = m_time.c_str();
            hash.text() = text.c_str();
        }
    }

    [[nodiscard]] std::vector<HashFinding> takeFindings() {
        for (const auto& [path, hashes] : m_originals)
            if (!m_seen.contains(path)) m_findings.push_back({path, "is missing"});
        return std::move(m_findings);
    }

  private:
    pugi::xml_node addPath(pugi::xml_node element, const std::string& path) const {
        pugi::xml_node node = element.append_child("path");
        node.text() = path.c_str();
        return node;
    }

    void addFolderElement(pugi::xml_node hashes, const std::string& path, const FolderHashes& folder) const {
        pugi::xml_node element = hashes.append_child("directoryhash");
        addPath(element, path).append_attribute("lastmodificationdate") =
            modificationTime((fs::path(m_folder) / path).string()).c_str();
        addFolderHashes(element, folder);
    }

    [[nodiscard]] KindHashes hashesNow(const std::string& path, const KindHashes& expected) const {
        const auto written = m_written.find(path);
        const bool isKnown = expected.empty() || (expected.size() == 1 && expected.contains(m_kind));
        if (written != m_written.end() && isKnown) return {{m_kind, written->second}};
        std::vector<HashKind> kinds = kindsOf(expected);
        if (!expected.contains(m_kind)) kinds.push_back(m_kind);
        return fileHashes((fs::path(m_folder) / path).string(), kinds);
    }

    std::string addFile(pugi::xml_node hashes, const std::string& path) {
        m_seen.insert(path);
        const auto original = m_originals.find(path);
        const KindHashes expected = original == m_originals.end() ? KindHashes() : original->second;
        const KindHashes now = hashesNow(path, expected);
        const std::optional<std::string> wrong = difference(expected, now);
        if (wrong) m_findings.push_back({path, *wrong});

        const std::string file = (fs::path(m_folder) / path).string();
        pugi::xml_node element = hashes.append_child("hash");
        pugi::xml_node node = addPath(element, path);
        node.append_attribute("size") = static_cast<unsigned long long>(fs::file_size(file));
        node.append_attribute("lastmodificationdate") = modificationTime(file).c_str();
        for (const auto& [kind, text] : now) {
            const auto known = expected.find(kind);
            // The file has changed, so a hash of a new kind would not be that of the original.
            if (known == expected.end() && wrong) continue;
            pugi::xml_node hash = element.append_child(hashName(kind).c_str());
            hash.append_attribute("action") = known == expected.end() ? "original"
                                              : known->second == text ? "verified"
                                                                      : "failed";
            hash.append_attribute("hashdate") = m_time.c_str();
            hash.text() = text.c_str();
        }
        return now.at(m_kind);
    }

    std::string m_folder;
    HashKind m_kind;
    const std::map<std::string, KindHashes>& m_originals;
    const std::map<std::string, std::string>& m_written;
    std::string m_time;
    std::set<std::string> m_seen;
    std::vector<HashFinding> m_findings;
};

bool leavesFolder(const fs::path& path) {
    return path.is_absolute() || std::ranges::find(path, fs::path("..")) != path.end();
}

std::string c4Of(const std::string& path) {
    return fileHashes(path, {HashKind::c4}).at(HashKind::c4);
}

void update(MediaHash& hash, std::string_view text) {
    hash.update({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

} // namespace

std::string folderHash(HashKind kind, std::vector<std::string> children) {
    std::ranges::sort(children);
    MediaHash hash(kind);
    for (const std::string& child : children)
        hash.update(hashBytes(kind, child));
    return hash.text();
}

std::string structureHash(HashKind kind, const std::string& name, const std::string& hash) {
    MediaHash element(kind);
    update(element, name);
    element.update(hashBytes(kind, hash));
    return element.text();
}

MediaHashHistory::MediaHashHistory(std::string folder) : m_folder(std::move(folder)) {
    const std::string chainPath = (fs::path(m_folder) / kHistoryFolder / kChainName).string();
    if (!fs::exists(chainPath)) return;
    pugi::xml_document chain;
    load(chain, chainPath);
    for (const pugi::xml_node& list : chain.child("ascmhldirectory").children("hashlist")) {
        const std::string name = list.child("path").text().get();
        const std::string listPath = fmt::format("{}/{}", kHistoryFolder, name);
        m_generations = std::max(m_generations, list.attribute("sequencenr").as_uint());
        if (leavesFolder(listPath) || !fs::is_regular_file(fs::path(m_folder) / listPath)) {
            m_findings.push_back({listPath, "is missing"});
        } else if (c4Of((fs::path(m_folder) / listPath).string()) != list.child("c4").text().get()) {
            m_findings.push_back({listPath, "is not the list that the chain names: its hash differs"});
        } else {
            readList(listPath);
        }
    }
}

void MediaHashHistory::readList(const std::string& name) {
    pugi::xml_document list;
    load(list, (fs::path(m_folder) / name).string());
    for (const pugi::xml_node& element : list.child("hashlist").child("hashes").children("hash")) {
        const std::string path = element.child("path").text().get();
        if (leavesFolder(path)) {
            m_findings.push_back({name, fmt::format("names a file outside the folder: {}", path)});
            continue;
        }
        for (const auto& [kind, text] : hashesOf(element))
            m_originals[path].emplace(kind, text);
    }
}

std::vector<HashFinding> MediaHashHistory::verify() const {
    std::vector<HashFinding> findings;
    for (const auto& [path, expected] : m_originals) {
        const std::string file = (fs::path(m_folder) / path).string();
        if (!fs::is_regular_file(file)) {
            findings.push_back({path, "is missing"});
        } else if (const auto wrong = difference(expected, fileHashes(file, kindsOf(expected)))) {
            findings.push_back({path, *wrong});
        }
    }
    std::vector<std::string> folders{""};
    while (!folders.empty()) {
        const std::string inside = folders.back();
        folders.pop_back();
        for (const fs::directory_entry& entry : entriesOf(fs::path(m_folder) / inside)) {
            const std::string path = (fs::path(inside) / entry.path().filename()).generic_string();
            if (entry.is_directory())
                folders.push_back(path);
            else if (!m_originals.contains(path))
                findings.push_back({path, "is in no list"});
        }
    }
    return findings;
}

std::vector<HashFinding> MediaHashHistory::addGeneration(HashKind kind,
                                                         const std::map<std::string, std::string>& written) {
    const std::time_t now = std::time(nullptr);
    pugi::xml_document document;
    pugi::xml_node list = begin(document, "hashlist", "urn:ASC:MHL:v2.0");
    pugi::xml_node creator = list.append_child("creatorinfo");
    addText(creator, "creationdate", timeText(now));
    addText(creator, "hostname", hostName());
    pugi::xml_node tool = creator.append_child("tool");
    tool.append_attribute("version") = KRW_VERSION;
    tool.text() = "krw";
    pugi::xml_node process = list.append_child("processinfo");
    addText(process, "process", "in-place");
    pugi::xml_node root = process.append_child("roothash");
    pugi::xml_node ignored = process.append_child("ignore");
    for (const char* pattern : kIgnored)
        addText(ignored, "pattern", pattern);

    pugi::xml_node hashes = list.append_child("hashes");
    ListMaker maker(m_folder, kind, m_originals, written, timeText(now));
    maker.addFolderHashes(root, maker.addFolder(hashes, ""));
    if (!hashes.first_child()) list.remove_child(hashes);

    const fs::path history = fs::path(m_folder) / kHistoryFolder;
    fs::create_directories(history);
    std::string folderName = fs::canonical(m_folder).filename().string();
    if (folderName.empty()) folderName = "root";
    const std::string name =
        fmt::format("{:04}_{}_{:%Y-%m-%d_%H%M%S}Z.mhl", m_generations + 1, folderName, fmt::gmtime(now));
    save(document, (history / name).string(), Existing::keep);

    const std::string chainPath = (history / kChainName).string();
    pugi::xml_document chain;
    if (fs::exists(chainPath))
        load(chain, chainPath);
    else
        (void)begin(chain, "ascmhldirectory", "urn:ASC:MHL:DIRECTORY:v2.0");
    pugi::xml_node entry = chain.child("ascmhldirectory").append_child("hashlist");
    entry.append_attribute("sequencenr") = ++m_generations;
    addText(entry, "path", name);
    addText(entry, "c4", c4Of((history / name).string()));
    save(chain, chainPath, Existing::replace);
    return maker.takeFindings();
}
