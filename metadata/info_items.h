// Sets items of the information record and appends lines to the device metadata document.
#pragma once

#include "plugin/records.h"

#include <cstdint>
#include <string>

/// Sets a text item from a fixed-width field. All `length` bytes are copied, whatever they hold, and a NUL is
/// added. The old text is released after the new one is complete. Returns 1. Without memory, returns 0 and
/// leaves the item as it was.
[[nodiscard]] int mfKrwSetInfoString(char** item, const char* text, unsigned int length);

/// Sets a text item to a copy of `text`. The old text is released first, so `text` must not be the item's
/// own. Returns the item's new text. Without memory, the item and the result are null.
char* setInfoItem(char** item, const char* text);

/// Sets one item when names compare equal, byte for byte, and returns whether they did. With two pairs, both
/// must be equal. The number forms store the low 32 bits of the text read in base 10. White space and a sign
/// may come first. Reading stops at the first character that is no digit. Without digits, the number is 0.
bool setStandardItem(char** item, const char* name, const char* key, const char* value);
bool setStandardItem(char** item, const char* name1, const char* key1, const char* name2, const char* key2,
                     const char* value);
bool setStandardItem(unsigned int* item, const char* name, const char* key, const char* text);
bool setStandardItem(unsigned int* item, const char* name1, const char* key1, const char* name2,
                     const char* key2, const char* text);

/// Appends the line "\t<tag>value</tag>\n", or with "tag-sub" as the element name. Nothing is escaped. May
/// throw what the string throws.
void addXmlItem(std::string& doc, const char* tag, const char* value);
void addXmlItem(std::string& doc, const char* tag, const char* sub, const char* value);

/// Replaces every occurrence of the one-character text `from` by `to`, which does not contain it.
void replace(std::string& text, const char* from, const char* to);

/// Makes a line of the text slate fit for element names: ' ', '(' and ')' become '-', '/' becomes '.'.
void fixTagLine(std::string& line);
