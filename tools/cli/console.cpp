#include "tools/cli/console.h"

#include "tools/clip/interrupt.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <iterator>
#include <new>
#include <stdexcept>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace console {

namespace {

// Open until the process ends, as standard output is.
std::FILE* results = stdout;
bool resultLost = false;

/// True while a progress line is on the terminal.
bool progressShown = false;

void removeProgressLine() {
    if (std::exchange(progressShown, false)) std::fputs("\r\x1b[K", stderr);
}

/// One write per line, so that lines of several threads do not mix.
void writeErrorLine(std::string_view prefix, std::string_view text) {
    removeProgressLine();
    const std::string line = fmt::format("{}{}\n", prefix, printable(text));
    std::fwrite(line.data(), 1, line.size(), stderr);
}

} // namespace

void claimStandardOutput() {
    const int own = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    if (own < 0) return; // the caller closed it: there is nothing to protect
    results = fdopen(own, "w");
    if (results == nullptr) throw std::runtime_error("standard output cannot be used");
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (nowhere < 0) return;
    dup2(nowhere, STDOUT_FILENO);
    ::close(nowhere);
}

void print(std::string_view text) {
    if (resultsGoToTerminal()) removeProgressLine();
    if (std::fwrite(text.data(), 1, text.size(), results) != text.size()) resultLost = true;
}

bool write(std::span<const std::uint8_t> bytes) {
    const int descriptor = fileno(results);
    while (!bytes.empty()) {
        interrupt::check(); // after a signal, the write before may have been cut short
        const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
        if (count >= 0) {
            bytes = bytes.subspan(static_cast<std::size_t>(count));
            continue;
        }
        if (errno == EPIPE) return false;
        if (errno != EINTR)
            throw std::runtime_error(
                fmt::format("standard output: {}", std::generic_category().message(errno)));
    }
    return true;
}

void close() {
    std::fflush(results);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (nowhere < 0) return;
    dup2(nowhere, fileno(results));
    ::close(nowhere);
}

bool resultsGoToTerminal() {
    return isatty(fileno(results)) != 0;
}

void flush() {
    if (std::fflush(results) != 0 || resultLost)
        throw std::runtime_error("standard output: the result could not be written");
}

void complain(std::string_view text) {
    writeErrorLine("krw: ", text);
}

void complainOf(const std::exception& error) {
    if (const auto* const file = dynamic_cast<const std::filesystem::filesystem_error*>(&error))
        return complain(fmt::format("{}: {}", file->path1().string(), file->code().message()));
    if (dynamic_cast<const std::bad_alloc*>(&error) != nullptr) return complain("out of memory");
    complain(error.what());
}

void note(std::string_view text) {
    writeErrorLine("", text);
}

void showProgress(std::string_view text) {
    constexpr std::size_t kColumns = 29;
    removeProgressLine();
    if (text.empty()) return;
    progressShown = true;
    const std::string_view shown = text.substr(0, kColumns);
    std::fwrite(shown.data(), 1, shown.size(), stderr);
}

std::string printable(std::string_view text) {
    std::string clean;
    clean.reserve(text.size());
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x20 || byte == 0x7F)
            fmt::format_to(std::back_inserter(clean), "\\x{:02X}", byte);
        else
            clean += character;
    }
    return clean;
}

bool errorIsTerminal() {
    static const bool isTerminal = isatty(STDERR_FILENO) != 0;
    return isTerminal;
}

} // namespace console
