// What a side-car's text must keep to before TinyXML sees it. That parser recurses once per nested element,
// when it parses and when it destroys the tree. It looks for double attributes by comparing each with all
// before it. And when the text ends inside a multi-byte character or a name, it reads past the end or stops
// the process.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

/// Elements inside one another, the root included. Cameras nest a dozen. Opening a clip beside a side-car
/// with 200 levels takes 107 KiB of stack.
inline constexpr std::size_t kMaxXmlNesting = 200;

/// Steps of the parser's work, of some 7 ns each on an Intel Xeon (GCC 12): half a second in all. A node or
/// an attribute counts kXmlItemSteps, and a node one more for each element around it. An attribute counts one
/// for each attribute before it in its element, and more when its name is long. The bound leaves room for
/// 2,000,000 nodes, some 440 MiB of tree, or 11,000 attributes on one element.
inline constexpr std::uint64_t kMaxXmlSteps = std::uint64_t{1} << 26;
inline constexpr std::uint64_t kXmlItemSteps = 32;

struct XmlCheck {
    std::size_t parseable = 0;   ///< bytes from the start that TinyXML may parse; 0: none
    const char* limit = nullptr; ///< the limit that the text exceeds, in words; null when it exceeds none
};

/// Checks a text with line ends of one '\n' and no NUL. `parseable` covers the nodes up to where TinyXML
/// (default encoding) itself stops looking. It is 0 when TinyXML would report an error or a limit is
/// exceeded. Double attributes are left to TinyXML to report.
[[nodiscard]] XmlCheck checkXml(std::string_view text);
