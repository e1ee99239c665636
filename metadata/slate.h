// The text slate: lines of the form "Key....: value".
#pragma once

#include <string>

/// The device metadata document of the slate at `path`. A slate that cannot be read gives the document
/// without item lines. Of a slate larger than kMaxSideCarSize only that much is read, and a warning is
/// logged. May throw std::bad_alloc.
[[nodiscard]] std::string slateDocument(const char* path);
