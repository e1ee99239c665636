#include "tools/clip/failure_reasons.h"

#include "plugin/status.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <fmt/format.h>
#include <span>
#include <string_view>
#include <system_error>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

/// A status, a part of the log line that comes with it (empty for any line), and the reason in words.
struct Reason {
    std::uint32_t status;
    std::string_view line;
    std::string_view words;
};

constexpr Reason kOpenReasons[] = {
    {status::kNoFile, "", "no frame table: neither a stored one nor a chain of at least two frame records"},
    {status::kBadHeader, "read DNG header size", "too short for a KRW clip"},
    {status::kBadHeader, "read DNG header", "the file header cannot be read"},
    {status::kBadHeader, "Endian mismatch", "not a KRW clip (its header is no KRW file header)"},
    {status::kNoDanraw, "", "not a KRW clip (its header names no frame header)"},
    {status::kUnreadable, "Unexpected compression",
     "the header names a compression that KRW clips do not have"},
    {status::kUnreadable, "read DANRAW", "the first frame header cannot be read"},
    {status::kBadRecord, "signature", "the first frame header carries no signature"},
    {status::kBadRecord, "dimensions", "the picture size is zero, odd or too large"},
    {status::kOutOfMemory, "", "out of memory"},
};

constexpr Reason kReadReasons[] = {
    {status::kNoFile, "Invalid KRW frame offset", "its record lies beyond any file"},
    {status::kNoFile, "table pos", "its record cannot be reached"},
    {status::kNoFile, "read frame header",
     "its frame header cannot be read (past the end of the file, or a failing disk)"},
    {status::kNoFile, "", "the clip has no such frame"},
    {status::kBadRecord, "signature", "its record carries no frame header"},
    {status::kBadRecord, "dimensions", "its picture size is not the clip's"},
    {status::kBadRecord, "plane size or offset", "a colour plane's size or place is impossible"},
    {status::kBadRecord, "plan data", "a colour plane cannot be reached"},
    {status::kPlaneRead, "",
     "a colour plane cannot be read to its end (the file ends there, or the disk fails)"},
    {status::kOutOfMemory, "", "out of memory"},
    {status::kFrameBuffer, "", "the picture does not fit the clip's picture size"},
};

bool logged(const std::vector<std::string>& log, std::string_view text) {
    return text.empty() || std::any_of(log.begin(), log.end(), [text](const std::string& line) {
               return line.find(text) != std::string::npos;
           });
}

std::string explain(std::span<const Reason> reasons, std::uint32_t status,
                    const std::vector<std::string>& log) {
    for (const Reason& reason : reasons)
        if (reason.status == status && logged(log, reason.line)) return std::string(reason.words);
    return log.empty() ? fmt::format("the reader gave status 0x{:08X}", status)
                       : fmt::format("the reader gave status 0x{:08X}: {}", status, log.back());
}

/// The number in "codec error: %X!", 0 when there is none.
std::uint64_t samplesLeft(std::string_view line, std::size_t numberAt) {
    std::uint32_t number = 0;
    std::from_chars(line.data() + numberAt, line.data() + line.size(), number, 16);
    return number;
}

} // namespace

std::string explainPath(const std::string& path) {
    std::error_code error;
    const fs::file_status file = fs::status(path, error);
    if (!fs::exists(file)) return error ? error.message() : "no such file";
    if (fs::is_directory(file)) return "is a directory, not a clip";
    if (!fs::is_regular_file(file)) return "is not a regular file";
    if (access(path.c_str(), R_OK) != 0) return std::generic_category().message(errno);
    if (fs::file_size(path, error) == 0 && !error) return "is empty";
    return {};
}

std::string explainOpenFailure(std::uint32_t status, const std::vector<std::string>& log) {
    return explain(kOpenReasons, status, log);
}

std::string explainReadFailure(std::uint32_t status, const std::vector<std::string>& log) {
    return explain(kReadReasons, status, log);
}

std::string describeDamage(const std::vector<std::string>& log, std::uint64_t planeSamples) {
    constexpr std::string_view kMark = "codec error: ";
    std::string words;
    for (const std::string& line : log) {
        const std::size_t at = line.find(kMark);
        if (at == std::string::npos) continue;
        if (!words.empty()) words += ", ";
        words += fmt::format("a colour plane breaks off with {} of {} samples left",
                             samplesLeft(line, at + kMark.size()), planeSamples);
    }
    return words;
}
