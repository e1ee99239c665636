// The text slate: lines of the form "Key....: value".
#pragma once

#include <string>

/// The device metadata document of the slate at `path`; of one that cannot be read, the document without item
/// lines. A slate is a page of text: of a longer file only the first MiB is looked at. May throw
/// std::bad_alloc.
[[nodiscard]] std::string slateDocument(const char* path);
