// Goes through a text as TinyXML 2.6.2 does, token by token, but without recursion and never past the end.
// Where that parser is lenient (bare attribute values, byte-order marks as white space, characters cut short
// by a quote or a '<'), so is this: a text that the two split differently could hide its nesting.
#include "metadata/xml_limits.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <vector>

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kSkippedAsSpace[] = {kByteOrderMark, "\xEF\xBF\xBE", "\xEF\xBF\xBF"};
constexpr std::string_view kDeclaration = "<?xml";
constexpr std::string_view kComment = "<!--";
constexpr std::string_view kCommentEnd = "-->";
constexpr std::string_view kCharacterData = "<![CDATA[";
constexpr std::string_view kCharacterDataEnd = "]]>";

/// Bytes up to this one are letters when the C library says so, all above it always are.
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

/// Bytes of the UTF-8 character that a byte begins; 1 for a byte that begins none.
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

class Scanner {
  public:
    explicit Scanner(std::string_view text) : m_text(text) {}

    std::optional<std::size_t> run() {
        if (rest().starts_with(kByteOrderMark)) m_encoding = Encoding::utf8;
        std::size_t accepted = 0;
        for (skipSpace(); !atEnd() && current() == '<'; skipSpace()) {
            const bool inElement = atElement();
            if (!node()) {
                // Outside the root element anything else that does not end just ends the document.
                if (inElement) return std::nullopt;
                break;
            }
            while (!m_open.empty())
                if (!content()) return std::nullopt;
            accepted = m_at;
        }
        return accepted == 0 ? std::nullopt : std::optional(accepted);
    }

  private:
    enum class Encoding : std::uint8_t { unknown, utf8, bytes };

    [[nodiscard]] bool atEnd() const { return m_at >= m_text.size(); }
    [[nodiscard]] char current() const { return m_text[m_at]; }
    [[nodiscard]] std::string_view rest() const { return m_text.substr(m_at); }
    [[nodiscard]] bool atElement() const { return m_at + 1 < m_text.size() && isNameStart(m_text[m_at + 1]); }
    [[nodiscard]] bool countItem() { return ++m_items <= kMaxXmlItems; }

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

    /// One piece of the innermost open element's content, or its end tag.
    bool content() {
        skipSpace();
        if (atEnd()) return false;
        if (current() != '<') return characters();
        return rest().starts_with("</") ? endTag() : node();
    }

    bool node() {
        if (!countItem()) return false;
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
        // An encoding that hides its name behind references would have to be decoded to be known.
        if (atEnd() || m_declared.find('&') != std::string_view::npos) return false;
        ++m_at;
        if (m_open.empty() && m_encoding == Encoding::unknown) m_encoding = declaredEncoding();
        return true;
    }

    bool pseudoAttribute() {
        std::string_view value;
        if (beginsWithoutCase(rest(), "version") || beginsWithoutCase(rest(), "standalone"))
            return attribute(value);
        if (beginsWithoutCase(rest(), "encoding")) return attribute(m_declared);
        while (!atEnd() && current() != '>' && !isSpace(current()))
            ++m_at;
        return !atEnd();
    }

    [[nodiscard]] Encoding declaredEncoding() const {
        const bool utf8 = m_declared.empty() || beginsWithoutCase(m_declared, "utf-8") ||
                          beginsWithoutCase(m_declared, "utf8");
        return utf8 ? Encoding::utf8 : Encoding::bytes;
    }

    bool element() {
        ++m_at;
        skipSpace();
        const std::string_view elementName = name();
        if (elementName.empty() || m_open.size() == kMaxXmlNesting) return false;
        for (std::size_t attributes = 0;; ++attributes) {
            skipSpace();
            if (atEnd() || attributes > kMaxXmlAttributes) return false;
            if (current() == '/') return skipEmptyEnd();
            if (current() == '>') break;
            std::string_view value;
            if (!countItem() || !attribute(value)) return false;
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

    bool attribute(std::string_view& value) {
        if (name().empty()) return false;
        skipSpace();
        if (atEnd() || current() != '=') return false;
        ++m_at;
        skipSpace();
        if (atEnd()) return false;
        return current() == '\'' || current() == '"' ? quotedValue(value) : bareValue(value);
    }

    bool quotedValue(std::string_view& value) {
        const char quote = current();
        const std::size_t start = ++m_at;
        while (!atEnd() && current() != quote)
            if (!character()) return false;
        if (atEnd()) return false;
        value = m_text.substr(start, m_at - start);
        ++m_at;
        return true;
    }

    bool bareValue(std::string_view& value) {
        const std::size_t start = m_at;
        for (; !atEnd() && !isSpace(current()) && current() != '/' && current() != '>'; ++m_at)
            if (current() == '\'' || current() == '"') return false;
        value = m_text.substr(start, m_at - start);
        return true;
    }

    bool characters() {
        if (!countItem()) return false;
        while (!atEnd() && current() != '<')
            if (!character()) return false;
        return !atEnd();
    }

    bool character() {
        if (rest().starts_with("&#")) return characterReference();
        m_at += m_encoding == Encoding::utf8 ? characterLength(current()) : 1;
        return m_at <= m_text.size();
    }

    /// "&#10;" or "&#xA;". Nothing but digits before the ';', so none of them is markup.
    bool characterReference() {
        m_at += 2;
        const bool hexadecimal = !atEnd() && current() == 'x';
        if (hexadecimal) ++m_at;
        while (!atEnd() && isDigit(current(), hexadecimal))
            ++m_at;
        if (atEnd() || current() != ';') return false;
        ++m_at;
        return true;
    }
    static bool isDigit(char character, bool hexadecimal) {
        return (hexadecimal ? std::isxdigit(toByte(character)) : std::isdigit(toByte(character))) != 0;
    }

    std::string_view m_text;
    std::size_t m_at = 0;
    std::size_t m_items = 0;
    Encoding m_encoding = Encoding::unknown;
    std::string_view m_declared;          // encoding that the latest declaration names
    std::vector<std::string_view> m_open; // names of the open elements, innermost last
};

} // namespace

std::optional<std::size_t> parseableLength(std::string_view text) {
    return Scanner(text).run();
}
