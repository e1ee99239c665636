// Histories of ASC Media Hash Lists (version 2.0): what a delivered folder holds, in lists that are only ever
// added to. A folder has its lists in "ascmhl": one for each generation, and a chain file with the lists' own
// hashes.
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

/// The history of one folder. Histories of folders inside it are left alone. Failures throw
/// std::runtime_error, "PATH: reason".
class MediaHashHistory final {
  public:
    /// Reads the chain and the lists that are there; a folder without is at its beginning. Lists that differ
    /// from their hash in the chain, or are missing, become findings.
    explicit MediaHashHistory(std::string folder);

    /// Number of lists.
    [[nodiscard]] std::uint32_t generations() const { return m_generations; }
    [[nodiscard]] const std::vector<HashFinding>& findings() const { return m_findings; }
    /// The hashes that each file had when it was seen first.
    [[nodiscard]] const std::map<std::string, KindHashes>& originals() const { return m_originals; }

    /// Compares the folder with its history: files that changed, are missing or are in no list.
    [[nodiscard]] std::vector<HashFinding> verify() const;

    /// Writes the next list with all the folder's files and folders, and puts it into the chain. `written`
    /// has hashes of `kind` that were made while files were written; other files are read. Files of earlier
    /// lists are verified; what is wrong with them is returned.
    std::vector<HashFinding> addGeneration(HashKind kind, const std::map<std::string, std::string>& written);

  private:
    void readList(const std::string& name);

    std::string m_folder;
    std::uint32_t m_generations = 0;
    std::map<std::string, KindHashes> m_originals;
    std::vector<HashFinding> m_findings;
};

/// The hash of a folder's content, or of its structure, from those of its children in text form.
[[nodiscard]] std::string folderHash(HashKind kind, std::vector<std::string> children);
/// A child's part in the hash of a folder's structure: its name and its hash, a folder's being that of its
/// structure.
[[nodiscard]] std::string structureHash(HashKind kind, const std::string& name, const std::string& hash);
