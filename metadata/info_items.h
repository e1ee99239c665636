// Setting items of the information record, and lines of the device metadata document. No state of their own.
#pragma once

#include "plugin/records.h"

#include <cstdint>
#include <string>

/// Sets a text item from a fixed-width field: all `length` bytes are copied, whatever they hold, and a NUL is
/// added. The new text is complete before the old one is released. Returns 1; 0 without memory, and the item
/// is as it was.
[[nodiscard]] int mfKrwSetInfoString(char** item, const char* text, unsigned int length);

/// Sets a text item to a copy of `text`, which must not be the item's own text: that is released first.
/// Returns the item's new text; null without memory, and the item is then null.
char* setInfoItem(char** item, const char* text);

/// Sets one item when names compare equal, byte for byte; returns whether they did. With two pairs both must
/// be equal. The number forms store the low 32 bits of the text read in base 10 (leading white space and sign
/// allowed, up to the first other character; 0 without digits).
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
