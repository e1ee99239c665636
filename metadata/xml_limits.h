// What a side-car's text must keep to before TinyXML sees it. Its parser and its destructors recurse once per
// nested element, it looks for double attributes by comparing each with all before it, and a multi-byte
// character or a name that the text's end cuts off makes it read past that end or stop the process.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

/// Bytes. The side-cars of long recordings stay below 1 MiB.
inline constexpr std::size_t kMaxXmlSize = std::size_t{16} << 20;

/// Elements inside one another, the root included. Cameras nest a dozen.
inline constexpr std::size_t kMaxXmlNesting = 200;

/// Nodes and attributes in all, each some 250 bytes of tree: 64 MiB.
inline constexpr std::size_t kMaxXmlItems = std::size_t{1} << 18;

/// Attributes of one element, for the time that comparing them takes. Cameras write a dozen.
inline constexpr std::size_t kMaxXmlAttributes = 256;

/// Length of the part of `text` that TinyXML (default encoding) may parse: its nodes up to where TinyXML
/// itself stops looking, the last one closed by '>'. Nothing when TinyXML would report an error or the limits
/// are exceeded. `text` has line ends of one '\n' and no NUL. Double attributes are left to TinyXML to
/// report.
[[nodiscard]] std::optional<std::size_t> parseableLength(std::string_view text);
