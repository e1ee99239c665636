// Sets items of the information record and appends lines to the device metadata document.
#include "metadata/info_items.h"

#include "host/memory.h"

#include <cstdlib>
#include <cstring>

namespace {

constexpr int kDecimal = 10;

bool equal(const char* name, const char* key) {
    return std::strcmp(name, key) == 0;
}

unsigned int toNumber(const char* text) {
    return static_cast<unsigned int>(std::strtol(text, nullptr, kDecimal));
}

} // namespace

int mfKrwSetInfoString(char** item, const char* text, unsigned int length) {
    auto* copy = static_cast<char*>(PVAlloc(std::size_t{length} + 1));
    if (copy == nullptr) return 0;
    pvOSCopyMemory(copy, text, length);
    copy[length] = '\0';
    if (*item != nullptr) PVFree(*item);
    *item = copy;
    return 1;
}

char* setInfoItem(char** item, const char* text) {
    if (*item != nullptr) PVFree(*item);
    const std::size_t length = std::strlen(text);
    *item = static_cast<char*>(PVAlloc(length + 2));
    if (*item != nullptr) pvOSCopyMemory(*item, text, length + 1);
    return *item;
}

bool setStandardItem(char** item, const char* name, const char* key, const char* value) {
    if (!equal(name, key)) return false;
    setInfoItem(item, value);
    return true;
}

bool setStandardItem(char** item, const char* name1, const char* key1, const char* name2, const char* key2,
                     const char* value) {
    return equal(name1, key1) && setStandardItem(item, name2, key2, value);
}

bool setStandardItem(unsigned int* item, const char* name, const char* key, const char* text) {
    if (!equal(name, key)) return false;
    *item = toNumber(text);
    return true;
}

bool setStandardItem(unsigned int* item, const char* name1, const char* key1, const char* name2,
                     const char* key2, const char* text) {
    return equal(name1, key1) && setStandardItem(item, name2, key2, text);
}

void addXmlItem(std::string& doc, const char* tag, const char* value) {
    doc.append("\t<").append(tag).append(">").append(value).append("</").append(tag).append(">\n");
}

void addXmlItem(std::string& doc, const char* tag, const char* sub, const char* value) {
    doc.append("\t<").append(tag).append("-").append(sub).append(">").append(value);
    doc.append("</").append(tag).append("-").append(sub).append(">\n");
}

void replace(std::string& text, const char* from, const char* to) {
    const std::size_t length = std::strlen(to);
    for (std::size_t at = text.find(*from); at != std::string::npos; at = text.find(*from, at + length))
        text.replace(at, 1, to, length);
}

void fixTagLine(std::string& line) {
    replace(line, " ", "-");
    replace(line, "/", ".");
    replace(line, "(", "-");
    replace(line, ")", "-");
}
