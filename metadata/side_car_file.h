// Reading a side-car's bytes. Side-cars are small texts, so a file is taken whole, up to a limit.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

/// First `limit` + 1 bytes of a file: a result longer than `limit` says that the file is too. Nothing when
/// the file cannot be opened or read; only a regular file can. May throw std::bad_alloc.
[[nodiscard]] std::optional<std::string> readSideCar(const char* path, std::size_t limit);
