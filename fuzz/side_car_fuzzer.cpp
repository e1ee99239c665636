// Side-cars: the input stands beside a good clip, once as its XML side-car and once as a text slate. The XML
// parser is a library that sanitizers do not look into, so its input is also parsed at the end of a page
// behind which nothing can be read.
#include "fuzz/fuzz_support.h"
#include "host/info_records.h"
#include "host/memory.h"
#include "metadata/side_car.h"
#include "metadata/xml_limits.h"
#include "plugin/cmfkrw.h"
#include "plugin/status.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <string_view>
#include <sys/mman.h>
#include <tinyxml.h>
#include <unistd.h>

namespace {

constexpr std::string_view kOpening = "<PVDeviceMetadata>\n";
constexpr std::string_view kClosing = "</PVDeviceMetadata>";

/// One file under two names: as an XML side-car in one folder, as a slate in another; removed at exit.
class SideCarFile {
  public:
    SideCarFile() {
        const bool memory = std::filesystem::is_directory("/dev/shm");
        std::string name = (memory ? "/dev/shm" : std::filesystem::temp_directory_path().string());
        name += "/krw-fuzz-XXXXXX";
        require(mkdtemp(name.data()) != nullptr, "a folder can be had");
        m_folder = name;
        m_file = open((name + "/clipM01.xml").c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600);
        std::filesystem::create_directory(m_folder / "slates");
        std::filesystem::create_hard_link(m_folder / "clipM01.xml", m_folder / "slates/slate.txt");
    }
    SideCarFile(const SideCarFile&) = delete;
    SideCarFile& operator=(const SideCarFile&) = delete;
    ~SideCarFile() {
        std::error_code ignored;
        std::filesystem::remove_all(m_folder, ignored);
    }

    void assign(std::span<const std::uint8_t> bytes) const {
        const bool written = ftruncate(m_file, 0) == 0 && pwrite(m_file, bytes.data(), bytes.size(), 0) ==
                                                              static_cast<ssize_t>(bytes.size());
        require(written, "the side-car can be written");
    }
    [[nodiscard]] std::string clipWithXml() const { return m_folder / "clip.krw"; }
    [[nodiscard]] std::string xmlItself() const { return m_folder / "clipM01.xml"; }
    [[nodiscard]] std::string clipWithSlate() const { return m_folder / "slates/clip.krw"; }

  private:
    std::filesystem::path m_folder;
    int m_file = -1;
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

/// Two pages' worth and more of room, ending where nothing is mapped.
class GuardedText {
  public:
    static constexpr std::size_t kRoom = std::size_t{1} << 20;

    GuardedText() {
        const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        void* const block =
            mmap(nullptr, kRoom + page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        require(block != MAP_FAILED, "memory can be had");
        m_end = static_cast<char*>(block) + kRoom;
        require(mprotect(m_end, page, PROT_NONE) == 0, "memory can be closed");
    }
    /// The text, its NUL in the last readable byte.
    [[nodiscard]] const char* place(std::string_view text) const {
        char* const start = m_end - text.size() - 1;
        *std::ranges::copy(text, start).out = '\0';
        return start;
    }

  private:
    char* m_end;
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
    const std::optional<std::size_t> length = parseableLength(text);
    if (!length) return;
    require(*length <= text.size(), "what may be parsed lies inside the text");
    TiXmlDocument tree;
    tree.Parse(guarded.place(std::string_view(text).substr(0, *length)), nullptr, TIXML_DEFAULT_ENCODING);
    require(!tree.Error() || tree.ErrorId() == TiXmlBase::TIXML_ERROR_PARSING_ELEMENT,
            "only double attributes are left for the parser to report");
    require(nesting(tree) <= kMaxXmlNesting, "the parser sees no deeper nesting than the check before it");
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

    const FoundItems slate(file.clipWithSlate());
    require(isDocument(slate.document()), "a slate gives a whole document");
    static_cast<void>(takeLog());
    return 0;
}
