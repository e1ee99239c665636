// Goes through a text as TinyXML 2.6.2 does, token by token, but without recursion and never past the end.
// TinyXML is lenient: it takes bare attribute values, treats byte-order marks as white space, lets a
// multi-byte character swallow a quote or a '<', and lets a character reference swallow markup. This scanner
// is lenient in the same places, because a text that the two read differently could hide its nesting.
#include "metadata/xml_limits.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kSkippedAsSpace[] = {kByteOrderMark, "\xEF\xBF\xBE", "\xEF\xBF\xBF"};
constexpr std::string_view kDeclaration = "<?xml";
constexpr std::string_view kComment = "<!--";
constexpr std::string_view kCommentEnd = "-->";
constexpr std::string_view kCharacterData = "<![CDATA[";
constexpr std::string_view kCharacterDataEnd = "]]>";

struct Entity {
    std::string_view text;
    char character;
};
constexpr Entity kEntities[] = {
    {"&amp;", '&'}, {"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}, {"&apos;", '\''},
};

/// Bytes of two names that compare in the time of one step.
constexpr std::uint64_t kNameBytesPerStep = 64;

/// The C library decides which bytes up to this one are letters. All bytes above it are letters to TinyXML.
constexpr unsigned char kLastClassified = 126;

unsigned char toByte(char character) {
    return static_cast<unsigned char>(character);
}

bool isSpace(char character) {
    return std::isspace(toByte(character)) != 0;
}

bool isNameStart(char character) {
    return toByte(character) > kLastClassified || std::isalpha(toByte(character)) != 0 || character == '_';
}

bool isNamePart(char character) {
    return isNameStart(character) || std::isdigit(toByte(character)) != 0 || character == '-' ||
           character == '.' || character == ':';
}

/// Number of bytes of the UTF-8 character that begins with `first`; 1 when none does.
std::size_t characterLength(char first) {
    const unsigned char byte = toByte(first);
    if (byte < 0xC2 || byte > 0xF4) return 1;
    if (byte < 0xE0) return 2;
    return byte < 0xF0 ? 3 : 4;
}

bool beginsWithoutCase(std::string_view text, std::string_view lowerCase) {
    return text.size() >= lowerCase.size() &&
           std::equal(lowerCase.begin(), lowerCase.end(), text.begin(),
                      [](char lower, char other) { return std::tolower(toByte(other)) == lower; });
}

/// A character reference inside a text: where it ends, and the lowest byte of its number.
struct Reference {
    std::size_t end;
    std::uint8_t value;
};

bool isDigit(char character, bool hexadecimal) {
    return (hexadecimal ? std::isxdigit(toByte(character)) : std::isdigit(toByte(character))) != 0;
}

unsigned digitValue(char digit) {
    return std::isdigit(toByte(digit)) != 0 ? toByte(digit) - unsigned{'0'}
                                            : static_cast<unsigned>(std::tolower(toByte(digit))) - 'a' + 10;
}

/// The reference that begins with "&#" at `start`, as TinyXML reads it. It takes the digits before the next
/// ';', back to the nearest 'x' or '#', and skips whatever stands before these. Nothing when no ';' follows
/// or the digits do not reach back that far.
std::optional<Reference> readReference(std::string_view text, std::size_t start) {
    const bool hexadecimal = start + 2 < text.size() && text[start + 2] == 'x';
    const std::size_t semicolon = text.find(';', start + (hexadecimal ? 3 : 2));
    if (semicolon == std::string_view::npos) return std::nullopt;
    std::size_t first = semicolon;
    for (const char before = hexadecimal ? 'x' : '#'; text[first - 1] != before; --first)
        if (!isDigit(text[first - 1], hexadecimal)) return std::nullopt;
    unsigned value = 0;
    for (std::size_t digit = first; digit < semicolon; ++digit)
        value = (value * (hexadecimal ? 16 : 10) + digitValue(text[digit])) & 0xFFU;
    return Reference{semicolon + 1, static_cast<std::uint8_t>(value)};
}

/// A quoted value as TinyXML decodes it while it does not know the encoding, up to its first NUL. All
/// references inside are sound.
std::string decode(std::string_view value) {
    std::string decoded;
    for (std::size_t at = 0; at < value.size();) {
        const std::string_view rest = value.substr(at);
        const auto* entity = std::ranges::find_if(
            kEntities, [rest](const Entity& known) { return rest.starts_with(known.text); });
        char character = rest.front();
        if (const auto reference = rest.starts_with("&#") ? readReference(value, at) : std::nullopt;
            reference) {
            character = static_cast<char>(reference->value);
            at = reference->end;
        } else if (entity != std::end(kEntities)) {
            character = entity->character;
            at += entity->text.size();
        } else {
            ++at;
            if (character == '&') continue; // TinyXML drops it
        }
        if (character == '\0') break;
        decoded += character;
    }
    return decoded;
}

class Scanner {
  public:
    explicit Scanner(std::string_view text) : m_text(text) {}

    XmlCheck run() {
        const std::size_t parseable = scan();
        return {m_limit == nullptr ? parseable : 0, m_limit};
    }

  private:
    enum class Encoding : std::uint8_t { unknown, utf8, bytes };

    struct Attribute {
        std::string_view name;
        std::string_view value;
        bool quoted = false;
    };

    std::size_t scan() {
        if (rest().starts_with(kByteOrderMark)) m_encoding = Encoding::utf8;
        std::size_t accepted = 0;
        for (skipSpace(); !atEnd() && current() == '<'; skipSpace()) {
            const bool inElement = atElement();
            if (!node()) {
                // TinyXML reports an element that does not end. Any other node without an end just ends the
                // document.
                if (inElement) return 0;
                break;
            }
            while (!m_open.empty())
                if (!content()) return 0;
            accepted = m_at;
        }
        return accepted;
    }

    [[nodiscard]] bool atEnd() const { return m_at >= m_text.size(); }
    [[nodiscard]] char current() const { return m_text[m_at]; }
    [[nodiscard]] std::string_view rest() const { return m_text.substr(m_at); }
    [[nodiscard]] bool atElement() const { return m_at + 1 < m_text.size() && isNameStart(m_text[m_at + 1]); }

    /// False, with the limit noted, when the work exceeds its bound.
    bool addSteps(std::uint64_t steps) {
        m_steps += steps;
        if (m_steps > kMaxXmlSteps) m_limit = "more nodes or attributes than the parser handles; not read";
        return m_limit == nullptr;
    }
    bool countNode() { return addSteps(kXmlItemSteps + m_open.size()); }
    bool countAttribute(std::uint64_t attributesBefore, std::uint64_t nameSize) {
        return addSteps(kXmlItemSteps + attributesBefore * (1 + nameSize / kNameBytesPerStep));
    }

    void skipSpace() {
        while (!atEnd()) {
            if (isSpace(current()))
                ++m_at;
            else if (m_encoding == Encoding::utf8 && atMark())
                m_at += kByteOrderMark.size();
            else
                return;
        }
    }
    [[nodiscard]] bool atMark() const {
        return std::any_of(std::begin(kSkippedAsSpace), std::end(kSkippedAsSpace),
                           [this](std::string_view mark) { return rest().starts_with(mark); });
    }

    /// Skips one piece of the innermost open element's content, or its end tag.
    bool content() {
        skipSpace();
        if (atEnd()) return false;
        if (current() != '<') return characters();
        return rest().starts_with("</") ? endTag() : node();
    }

    bool node() {
        if (!countNode()) return false;
        if (beginsWithoutCase(rest(), kDeclaration)) return declaration();
        if (rest().starts_with(kComment)) return skipPast(kCommentEnd, kComment.size());
        if (rest().starts_with(kCharacterData)) return skipPast(kCharacterDataEnd, kCharacterData.size());
        return atElement() ? element() : skipPast(">", 1);
    }

    /// Skips a token that begins here with `opening` bytes and ends behind the next `end`.
    bool skipPast(std::string_view end, std::size_t opening) {
        const std::size_t found = m_text.find(end, m_at + opening);
        if (found == std::string_view::npos) return false;
        m_at = found + end.size();
        return true;
    }

    bool declaration() {
        m_at += kDeclaration.size();
        m_declared = {};
        while (!atEnd() && current() != '>') {
            skipSpace();
            if (!pseudoAttribute()) return false;
        }
        if (atEnd()) return false;
        ++m_at;
        if (m_open.empty() && m_encoding == Encoding::unknown) m_encoding = declaredEncoding();
        return true;
    }

    bool pseudoAttribute() {
        Attribute other;
        if (beginsWithoutCase(rest(), "version") || beginsWithoutCase(rest(), "standalone"))
            return attribute(other);
        if (beginsWithoutCase(rest(), "encoding")) return attribute(m_declared);
        while (!atEnd() && current() != '>' && !isSpace(current()))
            ++m_at;
        return !atEnd();
    }

    [[nodiscard]] Encoding declaredEncoding() const {
        const std::string name = m_declared.quoted ? decode(m_declared.value) : std::string(m_declared.value);
        const bool utf8 = name.empty() || beginsWithoutCase(name, "utf-8") || beginsWithoutCase(name, "utf8");
        return utf8 ? Encoding::utf8 : Encoding::bytes;
    }

    bool element() {
        ++m_at;
        skipSpace();
        const std::string_view elementName = name();
        if (elementName.empty()) return false;
        if (m_open.size() == kMaxXmlNesting) {
            m_limit = "elements nested deeper than 200; not read";
            return false;
        }
        for (std::size_t attributes = 0;; ++attributes) {
            skipSpace();
            if (atEnd()) return false;
            if (current() == '/') return skipEmptyEnd();
            if (current() == '>') break;
            Attribute found;
            if (!attribute(found) || !countAttribute(attributes, found.name.size())) return false;
        }
        ++m_at;
        m_open.push_back(elementName);
        return true;
    }

    bool skipEmptyEnd() {
        const bool closed = rest().starts_with("/>");
        m_at += 2;
        return closed;
    }

    bool endTag() {
        m_at += 2;
        if (!rest().starts_with(m_open.back())) return false;
        m_at += m_open.back().size();
        skipSpace();
        if (atEnd() || current() != '>') return false;
        ++m_at;
        m_open.pop_back();
        return true;
    }

    /// Empty when there is none here, or when the text ends with it.
    std::string_view name() {
        if (atEnd() || !isNameStart(current())) return {};
        const std::size_t start = m_at;
        while (!atEnd() && isNamePart(current()))
            ++m_at;
        return atEnd() ? std::string_view{} : m_text.substr(start, m_at - start);
    }

    bool attribute(Attribute& found) {
        found.name = name();
        if (found.name.empty()) return false;
        skipSpace();
        if (atEnd() || current() != '=') return false;
        ++m_at;
        skipSpace();
        if (atEnd()) return false;
        return current() == '\'' || current() == '"' ? quotedValue(found) : bareValue(found);
    }

    bool quotedValue(Attribute& found) {
        const char quote = current();
        const std::size_t start = ++m_at;
        while (!atEnd() && current() != quote)
            if (!character()) return false;
        if (atEnd()) return false;
        found.value = m_text.substr(start, m_at - start);
        found.quoted = true;
        ++m_at;
        return true;
    }

    bool bareValue(Attribute& found) {
        const std::size_t start = m_at;
        for (; !atEnd() && !isSpace(current()) && current() != '/' && current() != '>'; ++m_at)
            if (current() == '\'' || current() == '"') return false;
        found.value = m_text.substr(start, m_at - start);
        return true;
    }

    bool characters() {
        if (!countNode()) return false;
        while (!atEnd() && current() != '<')
            if (!character()) return false;
        return !atEnd();
    }

    bool character() {
        if (rest().starts_with("&#")) {
            const std::optional<Reference> reference = readReference(m_text, m_at);
            if (reference) m_at = reference->end;
            return reference.has_value();
        }
        m_at += m_encoding == Encoding::utf8 ? characterLength(current()) : 1;
        return m_at <= m_text.size();
    }

    std::string_view m_text;
    std::size_t m_at = 0;
    std::uint64_t m_steps = 0;
    const char* m_limit = nullptr;
    Encoding m_encoding = Encoding::unknown;
    Attribute m_declared;                 // encoding that the latest declaration names
    std::vector<std::string_view> m_open; // names of the open elements, innermost last
};

} // namespace

XmlCheck checkXml(std::string_view text) {
    return Scanner(text).run();
}
