// Output of the program: results on standard output, one line per complaint on standard error. Lines that the
// plug-in prints to standard output are dropped; it announces a rebuilt frame table there.
#pragma once

#include <cstdint>
#include <exception>
#include <span>
#include <string>
#include <string_view>

namespace console {

/// Keeps standard output for `print` and `write`. What other code writes there from now on is dropped. Call
/// this once, before the plug-in is loaded.
void claimStandardOutput();

/// Writes a result unchanged. It removes the progress line first when both are on a terminal.
void print(std::string_view text);

/// Writes bytes at once, before anything that `print` still buffers. Returns false when the reader of
/// standard output has closed it. Throws std::runtime_error for any other failure, Interrupted when a signal
/// asks to stop.
[[nodiscard]] bool write(std::span<const std::uint8_t> bytes);

[[nodiscard]] bool resultsGoToTerminal();

/// Closes standard output, so that its reader sees the end. For a daemon.
void close();

/// Throws std::runtime_error when a result could not be written (a full disk, a closed pipe).
void flush();

/// Writes "krw: TEXT" as one line to standard error, in place of a progress line.
void complain(std::string_view text);

/// Writes the message of an exception like that. An exception of std::filesystem reads "PATH: reason".
void complainOf(const std::exception& error);

/// Writes a remark, such as a summary, as one line to standard error. A remark is no complaint.
void note(std::string_view text);

/// Makes text from a file safe for a terminal, on one line: each control character becomes \xNN.
[[nodiscard]] std::string printable(std::string_view text);

/// True when standard error is a terminal.
[[nodiscard]] bool errorIsTerminal();

/// Shows a progress line in place of the one before. Standard error must be a terminal. An empty text removes
/// the line; so does anything else that is written. At most 29 characters are shown, because a line that
/// wraps could not be removed.
void showProgress(std::string_view text);

} // namespace console
