// What the program says: results on standard output, one line per complaint on standard error. The plug-in's
// own lines on standard output (a rebuilt frame table announces itself there) are kept out of both.
#pragma once

#include <cstdint>
#include <exception>
#include <span>
#include <string>
#include <string_view>

namespace console {

/// Keeps standard output for `print` alone: what anyone else writes there from now on is dropped. Called
/// once, before the plug-in is loaded.
void claimStandardOutput();

/// Writes a result as it stands. A progress line goes first where both are on a terminal.
void print(std::string_view text);

/// Writes bytes at once, ahead of what `print` has not flushed. False when the reader of standard output has
/// gone. Throws std::runtime_error for any other failure, Interrupted when a signal asks to stop.
[[nodiscard]] bool write(std::span<const std::uint8_t> bytes);

[[nodiscard]] bool resultsGoToTerminal();

/// Leaves standard output: who reads it sees its end. For a daemon.
void close();

/// Throws std::runtime_error when a result could not be written (a full disk, a closed pipe).
void flush();

/// Writes "krw: TEXT" as one line to standard error, over a progress line that may stand there.
void complain(std::string_view text);

/// The same for an exception. One of the file system library is told as "PATH: reason".
void complainOf(const std::exception& error);

/// Writes a remark on how the work went as one line to standard error: nothing is wrong.
void note(std::string_view text);

/// Text from a file, fit for a terminal and for a line: control characters as \xNN.
[[nodiscard]] std::string printable(std::string_view text);

/// True when standard error is a terminal.
[[nodiscard]] bool errorIsTerminal();

/// Shows a line of progress at the end of standard error, which has to be a terminal, in place of the line
/// before it. Anything else that is written takes it away, as an empty text does. No more than 29 characters
/// are shown: a line that wraps could not be taken away.
void showProgress(std::string_view text);

} // namespace console
