// The host's file and path functions: real files, 64-bit offsets everywhere.
#pragma once

#include "plugin/records.h"

#include <cstdint>

inline constexpr std::int64_t kInvalidHandle = -1;
inline constexpr std::uint64_t kSeekFailed = ~std::uint64_t{0};

/// Arguments of pvOSCreateFile.
inline constexpr std::uint32_t kAccessRead = 0x80000000U;
inline constexpr std::uint32_t kAccessWrite = 0x40000000U;
inline constexpr std::uint32_t kShareRead = 1;
inline constexpr std::uint32_t kOpenExisting = 3;

/// Sizes of the work areas that pvOSSplitPath fills, terminators included.
inline constexpr std::uint32_t kDriveArea = 4;
inline constexpr std::uint32_t kDirectoryArea = 4096;
inline constexpr std::uint32_t kNameArea = 255;
inline constexpr std::uint32_t kExtensionArea = 255;
inline constexpr std::uint32_t kPathArea = 4096;

extern "C" {

/// Opens a regular file and returns its handle, which the caller closes. Returns kInvalidHandle on failure.
/// This host only reads existing files: any other access or disposition fails. Directories, pipes and devices
/// are not opened, and the call never waits for one.
[[gnu::visibility("default")]] std::int64_t
pvOSCreateFile(const char* path, std::uint32_t access, std::uint32_t shareMode,
               _SECURITY_ATTRIBUTES* security, std::uint32_t disposition, std::uint32_t attributes,
               std::int64_t templateFile);

/// Reads up to `length` bytes at the file position. Returns non-zero on success. `*bytesRead` (never null) is
/// less than `length` only at the end of the file. It is 0 when the read fails.
[[gnu::visibility("default")]] int pvOSReadFile(std::int64_t handle, void* buffer, std::uint32_t length,
                                                std::uint32_t* bytesRead, _OVERLAPPED* overlapped);

/// Moves the file position to an absolute offset and returns it. Returns kSeekFailed for an offset above 2^63
/// - 1 or a handle that cannot seek. Positions past the end of the file are legal. A read there delivers no
/// bytes.
[[gnu::visibility("default")]] std::uint64_t pvOSSeek(std::int64_t handle, std::uint64_t offset);

/// Returns the low 32 bits of the file's size and stores the high 32 bits through `high` unless it is null.
/// The size of a bad handle is 0.
[[gnu::visibility("default")]] std::uint32_t pvOSGetFileSize(std::int64_t handle, std::uint32_t* high);

/// Non-zero on success.
[[gnu::visibility("default")]] int pvOSCloseFile(std::int64_t handle);

/// Non-zero when something of that name exists.
[[gnu::visibility("default")]] int pvOSFileExists(const char* path);

/// Splits a path into work areas of the sizes above. The drive is always empty here. The directory ends in
/// its last '/'. The extension starts at the name's last '.'. When a part does not fit its area, all four are
/// left empty, because a shortened name would name another file.
[[gnu::visibility("default")]] void pvOSSplitPath(const char* path, char* drive, char* directory, char* name,
                                                  char* extension);

/// Joins the four parts into `out`, kPathArea bytes. The result is empty when it does not fit.
[[gnu::visibility("default")]] void pvOSMakePath(char* out, const char* drive, const char* directory,
                                                 const char* name, const char* extension);
}
