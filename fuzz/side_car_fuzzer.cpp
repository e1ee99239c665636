// Side-cars: the input stands beside a good clip, once as its XML side-car and once as a text slate. The XML
// parser is a library that sanitizers do not look into, so its input is also parsed at the end of a page
// behind which nothing can be read.
#include "fuzz/fuzz_support.h"
#include "host/info_records.h"
#include "host/memory.h"
#include "metadata/side_car.h"
#include "metadata/xml_limits.h"
#include "metadata/xml_side_car.h"
#include "plugin/cmfkrw.h"
#include "plugin/status.h"
#include "tests/support/guarded_bytes.h"
#include "tests/support/temp_dir.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <string_view>
#include <tinyxml.h>
#include <unistd.h>

namespace {

constexpr std::string_view kOpening = "<PVDeviceMetadata>\n";
constexpr std::string_view kClosing = "</PVDeviceMetadata>";

/// One file under two names: as an XML side-car in one folder, as a slate in another; removed at exit.
class SideCarFile {
  public:
    SideCarFile() : m_file(open(xmlItself().c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600)) {
        std::filesystem::create_directory(m_folder.path("slates"));
        std::filesystem::create_hard_link(xmlItself(), m_folder.path("slates/slate.txt"));
    }

    void assign(std::span<const std::uint8_t> bytes) const {
        const bool written = ftruncate(m_file, 0) == 0 && pwrite(m_file, bytes.data(), bytes.size(), 0) ==
                                                              static_cast<ssize_t>(bytes.size());
        require(written, "the side-car can be written");
    }
    [[nodiscard]] std::string clipWithXml() const { return m_folder.path("clip.krw"); }
    [[nodiscard]] std::string xmlItself() const { return m_folder.path("clipM01.xml"); }
    [[nodiscard]] std::string clipWithSlate() const { return m_folder.path("slates/clip.krw"); }

  private:
    static std::filesystem::path fastestParent() {
        const std::filesystem::path memory = "/dev/shm";
        return is_directory(memory) ? memory : std::filesystem::temp_directory_path();
    }

    TempDir m_folder{fastestParent()};
    int m_file;
};

/// What the side-car search makes of a fresh information record.
class FoundItems {
  public:
    explicit FoundItems(std::string path) {
        require(findMetaData(path.data(), &m_info) == 0, "the search has no failures");
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

void parseAtPageEnd(std::span<const std::uint8_t> bytes) {
    static const GuardedText guarded;
    if (bytes.size() >= GuardedText::kRoom) return;
    const std::string text = asParsed(bytes);
    const std::size_t length = checkXml(text).parseable;
    if (length == 0) return;
    require(length <= text.size(), "what may be parsed lies inside the text");
    TiXmlDocument tree;
    tree.Parse(guarded.place(std::string_view(text).substr(0, length)), nullptr, TIXML_DEFAULT_ENCODING);
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

const TiXmlElement* rootOf(bool loaded, const TiXmlDocument& document) {
    return loaded ? document.FirstChildElement() : nullptr;
}

/// The root element is the one that TinyXML makes of the same file. TinyXML itself may only see what was
/// checked to its end, or a text so short and plain that it can neither nest too deeply nor end inside a
/// character.
void compareWithLoadFile(const std::string& path, std::span<const std::uint8_t> bytes) {
    constexpr std::size_t kShort = 4096;
    const std::string text = asParsed(bytes);
    const XmlCheck check = checkXml(text);
    const bool plain =
        bytes.size() <= kShort && std::ranges::all_of(bytes, [](std::uint8_t byte) { return byte < 0x80; });
    if (check.limit != nullptr || (!plain && check.parseable < text.size()) || bytes.empty()) return;
    TiXmlDocument ours;
    TiXmlDocument theirs;
    const TiXmlElement* const root = rootOf(loadXmlSideCar(path.c_str(), ours), ours);
    const TiXmlElement* const expected =
        rootOf(theirs.LoadFile(path.c_str(), TIXML_DEFAULT_ENCODING), theirs);
    require((root == nullptr) == (expected == nullptr), "a side-car is used where TinyXML loads it");
    require(root == nullptr || sameTree(*root, *expected), "the tree is TinyXML's own");
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
    static const SideCarFile file;
    file.assign({data, size});

    FoundItems beside(file.clipWithXml());
    require(beside.nothingSet() || isDocument(beside.document()), "items come with a whole document");
    handToReader(beside.info());
    const FoundItems itself(file.xmlItself());
    require(itself.document() == beside.document(), "an XML file and the clip beside it say the same");
    parseAtPageEnd({data, size});
    compareWithLoadFile(file.xmlItself(), {data, size});

    const FoundItems slate(file.clipWithSlate());
    require(isDocument(slate.document()), "a slate gives a whole document");
    static_cast<void>(takeLog());
    return 0;
}
