// A file of the tree, open for reading.
#pragma once

#include "tools/mount/clip_folder.h"
#include "tools/mount/frame_cache.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

/// A part of a file, piece by piece, where it lies in memory. Valid while this object and its file live.
struct FilePart {
    std::vector<std::span<const std::uint8_t>> pieces;
    std::optional<FrameCache::Lease> lease;
};

/// Any thread may call.
class MountedFile {
  public:
    MountedFile() = default;
    MountedFile(const MountedFile&) = delete;
    MountedFile& operator=(const MountedFile&) = delete;
    virtual ~MountedFile() = default;

    /// Up to `size` bytes, fewer at the end of the file only. Throws std::system_error, EIO for a frame that
    /// cannot be read.
    [[nodiscard]] virtual FilePart read(std::uint64_t offset, std::uint64_t size) = 0;
};

[[nodiscard]] std::unique_ptr<MountedFile> openDocument(ClipFolder::Document document);

/// The frame is decoded when its samples are read.
[[nodiscard]] std::unique_ptr<MountedFile> openFrame(std::shared_ptr<ClipFolder> clip, FrameCache& cache,
                                                     std::uint32_t frame);
