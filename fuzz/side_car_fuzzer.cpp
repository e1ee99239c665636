// Side-cars: the input stands beside a good clip, once as its XML side-car and once as a text slate. The XML
// parser is a library that sanitizers do not look into, so its input is also parsed at the end of a page
// behind which nothing can be read.
#include "fuzz/fuzz_support.h"
#include "fuzz/memory_files.h"
#include "host/info_records.h"
#include "host/memory.h"
#include "metadata/side_car.h"
#include "metadata/xml_limits.h"
#include "metadata/xml_side_car.h"
#include "plugin/cmfkrw.h"
#include "plugin/status.h"
#include "tests/support/guarded_bytes.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>
#include <tinyxml.h>

namespace {

constexpr std::string_view kOpening = "<PVDeviceMetadata>\n";
constexpr std::string_view kClosing = "</PVDeviceMetadata>";

/// What the side-car search makes of a fresh information record.
class FoundItems {
  public:
    explicit FoundItems(const std::string& path) {
        require(findMetaData(path.c_str(), &m_info) == 0, "the search has no failures");
    }
    FoundItems(const FoundItems&) = delete;
    FoundItems& operator=(const FoundItems&) = delete;
    ~FoundItems() { qmxInfoDelete(&m_info); }

    [[nodiscard]] QMXINFO& info() { return m_info; }
    [[nodiscard]] std::string_view document() const {
        const char* text = m_info[InfoText::deviceMetadata];
        return text == nullptr ? std::string_view() : std::string_view(text);
    }
    [[nodiscard]] bool nothingSet() const {
        constexpr QMXINFO kUntouched = makeDefaultInfo();
        return std::memcmp(&m_info, &kUntouched, sizeof m_info) == 0;
    }

  private:
    QMXINFO m_info = makeDefaultInfo();
};

bool isDocument(std::string_view document) {
    return document.starts_with(kOpening) && document.ends_with(kClosing);
}

/// Texts one after another whose NUL lies in the last readable byte of a page.
class GuardedText {
  public:
    static constexpr std::size_t kRoom = std::size_t{1} << 20;

    [[nodiscard]] const char* place(std::string_view text) const {
        std::uint8_t* const start = m_room.end() - text.size() - 1;
        *std::ranges::copy(text, start).out = 0;
        return reinterpret_cast<const char*>(start);
    }

  private:
    GuardedRoom m_room{kRoom};
};

/// The text up to its first NUL with line ends of one '\n', as a side-car is parsed.
std::string asParsed(std::span<const std::uint8_t> bytes) {
    std::string text;
    for (std::size_t i = 0; i < bytes.size() && bytes[i] != 0; ++i) {
        if (bytes[i] == '\n' && i > 0 && bytes[i - 1] == '\r') continue;
        text += bytes[i] == '\r' ? '\n' : static_cast<char>(bytes[i]);
    }
    return text;
}

std::size_t nesting(const TiXmlNode& node) {
    std::size_t deepest = 0;
    for (const TiXmlNode* child = node.FirstChild(); child != nullptr; child = child->NextSibling())
        if (child->ToElement() != nullptr) deepest = std::max(deepest, 1 + nesting(*child));
    return deepest;
}

void parseAtPageEnd(std::string_view text, std::size_t length) {
    static const GuardedText guarded;
    if (text.size() >= GuardedText::kRoom || length == 0) return;
    require(length <= text.size(), "what may be parsed lies inside the text");
    TiXmlDocument tree;
    tree.Parse(guarded.place(text.substr(0, length)), nullptr, TIXML_DEFAULT_ENCODING);
    require(!tree.Error() || tree.ErrorId() == TiXmlBase::TIXML_ERROR_PARSING_ELEMENT,
            "only double attributes are left for the parser to report");
    require(nesting(tree) <= kMaxXmlNesting, "the parser sees no deeper nesting than the check before it");
}

bool sameAttributes(const TiXmlElement& a, const TiXmlElement& b) {
    const TiXmlAttribute* inA = a.FirstAttribute();
    const TiXmlAttribute* inB = b.FirstAttribute();
    for (; inA != nullptr && inB != nullptr; inA = inA->Next(), inB = inB->Next())
        if (inA->NameTStr() != inB->NameTStr() || inA->ValueStr() != inB->ValueStr()) return false;
    return inA == inB;
}

bool sameTree(const TiXmlNode& a, const TiXmlNode& b) {
    if (a.Type() != b.Type() || a.ValueStr() != b.ValueStr()) return false;
    if (a.ToElement() != nullptr && !sameAttributes(*a.ToElement(), *b.ToElement())) return false;
    const TiXmlNode* inA = a.FirstChild();
    const TiXmlNode* inB = b.FirstChild();
    for (; inA != nullptr && inB != nullptr; inA = inA->NextSibling(), inB = inB->NextSibling())
        if (!sameTree(*inA, *inB)) return false;
    return inA == inB;
}

/// TinyXML's own way from a file to a tree.
bool loadFile(std::span<const std::uint8_t> bytes, TiXmlDocument& document) {
    // A stream for reading never writes.
    void* const contents =
        const_cast<std::uint8_t*>(bytes.data()); // NOLINT(cppcoreguidelines-pro-type-const-cast)
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(fmemopen(contents, bytes.size(), "rb"),
                                                               std::fclose);
    require(file != nullptr, "a stream over memory can be had");
    return document.LoadFile(file.get(), TIXML_DEFAULT_ENCODING);
}

const TiXmlElement* rootOf(bool loaded, const TiXmlDocument& document) {
    return loaded ? document.FirstChildElement() : nullptr;
}

/// The root element is the one that TinyXML makes of the same file. TinyXML itself may only see what was
/// checked to its end, or a text so short and plain that it can neither nest too deeply nor end inside a
/// character.
void compareWithLoadFile(const MemoryFile& file, std::string_view text, const XmlCheck& check) {
    constexpr std::size_t kShort = 4096;
    const std::span<const std::uint8_t> bytes = file.bytes();
    const bool plain =
        bytes.size() <= kShort && std::ranges::all_of(bytes, [](std::uint8_t byte) { return byte < 0x80; });
    if (check.limit != nullptr || (!plain && check.parseable < text.size()) || bytes.empty()) return;
    TiXmlDocument ours;
    TiXmlDocument theirs;
    const TiXmlElement* const root = rootOf(loadXmlSideCar(file.path().c_str(), ours), ours);
    const TiXmlElement* const expected = rootOf(loadFile(bytes, theirs), theirs);
    require((root == nullptr) == (expected == nullptr), "a side-car is used where TinyXML loads it");
    require(root == nullptr || expected == nullptr || sameTree(*root, *expected),
            "the tree is TinyXML's own");
}

/// The host keeps the items: they go into a reader and come back the same.
void handToReader(QMXINFO& info) {
    CMFKrw reader(0);
    require(reader.SetFileInfo(0x3, nullptr, nullptr, nullptr, &info) == status::kOk, "items can be applied");
    QMXINFO back = makeDefaultInfo();
    reader.GetFileInfo(0xFFFFFFFF, nullptr, nullptr, nullptr, &back);
    for (std::size_t i = 0; i < QMXINFO::kTexts; ++i) {
        const bool bothSet = info.texts[i] != nullptr && back.texts[i] != nullptr;
        const bool same =
            bothSet ? std::strcmp(info.texts[i], back.texts[i]) == 0 : info.texts[i] == back.texts[i];
        require(same, "items come back the same");
    }
    qmxInfoDelete(&back);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    beQuiet();
    static MemoryFile xml("clipM01.xml");
    static MemoryFile text("slates/slate.txt");
    xml.assign({data, size});
    text.assign({data, size});

    FoundItems beside("clip.krw");
    require(beside.nothingSet() || isDocument(beside.document()), "items come with a whole document");
    handToReader(beside.info());
    if (size % 4 == 0) { // the path alone makes the difference
        const FoundItems itself(xml.path());
        require(itself.document() == beside.document(), "an XML file and the clip beside it say the same");
    }
    const std::string parsed = asParsed({data, size});
    const XmlCheck check = checkXml(parsed);
    parseAtPageEnd(parsed, check.parseable);
    compareWithLoadFile(xml, parsed, check);

    const FoundItems slate("slates/clip.krw");
    require(isDocument(slate.document()), "a slate gives a whole document");
    static_cast<void>(takeLog());
    return 0;
}
