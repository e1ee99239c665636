// Reasons why a clip or a frame cannot be read: the words for a status and a log line of the plug-in.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// What is wrong with a path before the plug-in is asked: missing, a directory, empty, no permission. The
/// result is empty when nothing is wrong.
[[nodiscard]] std::string explainPath(const std::string& path);

/// Why a clip did not open, or a probe refused it. Never empty.
[[nodiscard]] std::string explainOpenFailure(std::uint32_t status, const std::vector<std::string>& log);

/// Why a frame could not be read. Never empty.
[[nodiscard]] std::string explainReadFailure(std::uint32_t status, const std::vector<std::string>& log);

/// The damage of a frame that was delivered. Only the decoder's lines in the log tell of it. Empty when
/// nothing is damaged. `planeSamples` is the number of samples of one plane.
[[nodiscard]] std::string describeDamage(const std::vector<std::string>& log, std::uint64_t planeSamples);
