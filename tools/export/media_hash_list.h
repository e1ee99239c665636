// Histories of ASC Media Hash Lists (version 2.0): what a delivered folder holds. A folder keeps its lists in
// "ascmhl": one list for each generation, which never changes, and a chain file with the hashes of the lists.
#pragma once

#include "tools/export/media_hash.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

/// Hashes of a file, by kind.
using KindHashes = std::map<HashKind, std::string>;

/// What is wrong in a folder.
struct HashFinding {
    std::string path; // in the folder, with '/'
    std::string text;
};

/// The history of one folder. Histories of folders inside it are not read or changed. Failures throw
/// std::runtime_error, "PATH: reason".
class MediaHashHistory final {
  public:
    /// Reads the chain and its lists. A folder without a chain has no generation yet. A list that is missing,
    /// or differs from its hash in the chain, becomes a finding.
    explicit MediaHashHistory(std::string folder);

    /// Number of lists.
    [[nodiscard]] std::uint32_t generations() const { return m_generations; }
    [[nodiscard]] const std::vector<HashFinding>& findings() const { return m_findings; }
    /// The hashes that each file had in the first list that names it.
    [[nodiscard]] const std::map<std::string, KindHashes>& originals() const { return m_originals; }

    /// Compares the folder with its history: files that changed, are missing or are in no list.
    [[nodiscard]] std::vector<HashFinding> verify() const;

    /// Writes the next list, which has all files and folders, and adds it to the chain. `written` has hashes
    /// of `kind` that were made while files were written; other files are read. Files of earlier lists are
    /// verified. Returns what is wrong with them.
    std::vector<HashFinding> addGeneration(HashKind kind, const std::map<std::string, std::string>& written);

  private:
    void readList(const std::string& name);

    std::string m_folder;
    std::uint32_t m_generations = 0;
    std::map<std::string, KindHashes> m_originals;
    std::vector<HashFinding> m_findings;
};

/// The hash of a folder's content or of its structure, from the hashes of its children in text form.
[[nodiscard]] std::string folderHash(HashKind kind, std::vector<std::string> children);
/// The hash of a child in the structure of its folder, from the child's name and hash. For a folder that is
/// the hash of its structure.
[[nodiscard]] std::string structureHash(HashKind kind, const std::string& name, const std::string& hash);
