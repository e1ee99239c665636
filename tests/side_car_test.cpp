// Side-cars beside a clip, through a clip that is opened: which one is read, what it sets, and that none can
// do harm.
#include "metadata/info_items.h"
#include "metadata/side_car.h"
#include "metadata/xml_limits.h"
#include "plugin/cmfkrw.h"
#include "plugin/status.h"
#include "tests/support/clip_builder.h"
#include "tests/support/host_faults.h"
#include "tests/support/temp_dir.h"
#include "tools/side_car_writer.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <sstream>
#include <sys/stat.h>

namespace {

using namespace std::string_literals;

constexpr char kNoDocument[] = "(none)";

/// What a host learns of a clip.
struct Described {
    QMXINFO info = makeDefaultInfo();
    Described() = default;
    Described(const Described&) = delete;
    Described& operator=(const Described&) = delete;
    ~Described() { qmxInfoDelete(&info); }

    [[nodiscard]] std::string text(InfoText item) const {
        return info[item] == nullptr ? kNoDocument : info[item];
    }
    [[nodiscard]] std::string document() const { return text(InfoText::deviceMetadata); }
};

/// A clip of two frames alone in a directory; every opening reads both back.
class SideCar : public testing::Test {
  protected:
    void put(const std::string& name, std::string_view text) const {
        [[maybe_unused]] const std::string path =
            m_directory.write(name, {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    }
    void putXml(std::string_view text) const { put("A001C003M01.xml", text); }

    void open(Described& described, const std::string& clip = {}) const {
        CMFKrw reader(0);
        ASSERT_EQ(reader.Open((clip.empty() ? m_clip : clip).c_str(), 0, 0, nullptr, 0, 0, 0), status::kOk);
        reader.GetFileInfo(0, nullptr, nullptr, nullptr, &described.info);
        for (std::uint32_t frame = 0; frame < m_frames.size(); ++frame) {
            std::vector<std::uint16_t> samples(m_frames[frame].samples.size());
            DFRAME dframe{};
            dframe.picture.buffer = samples.data();
            dframe.picture.bufferSize = static_cast<std::uint32_t>(samples.size() * 2);
            EXPECT_EQ(reader.Read(frame, 1, 1, 1, &dframe, nullptr), status::kOk);
            EXPECT_EQ(samples, m_frames[frame].samples);
        }
    }
    [[nodiscard]] std::string document() const {
        Described described;
        open(described);
        return described.document();
    }

    std::vector<Mosaic> m_frames = randomMosaics(2, 16, 8);
    LogCapture m_log;
    TempDir m_directory;
    std::string m_clip = m_directory.write("A001C003.krw", makeClip({}, m_frames).bytes);
};

std::string wrapped(const std::string& lines) {
    return "<PVDeviceMetadata>\n" + lines + "</PVDeviceMetadata>";
}

std::string ofKind(const std::string& kind, const std::string& lines) {
    return wrapped("\t<PVDeviceMetadataType>" + kind + "</PVDeviceMetadataType>\n" + lines);
}

std::string inRoot(const std::string& root, const std::string& body) {
    return "<" + root + ">" + body + "</" + root + ">";
}

std::string sony(const std::string& body) {
    return inRoot("NonRealTimeMeta", body);
}

TEST_F(SideCar, FirstOfItsKindsIsRead) {
    const std::map<char, std::pair<const char*, const char*>> files = {
        {'x', {"A001C003M01.xml", "<P2Main/>"}},
        {'b', {"A001C003M01.xml", "<P2Main>"}},
        {'r', {"A001C003M01.xml", "<!-- none -->"}},
        {'X', {"A001C003M01.XML", "<NonRealTimeMeta/>"}},
        {'s', {"slate.txt", "a.: 1"}},
        {'S', {"slate.TXT", "b.: 2"}},
        {'n', {"A001C003.xml", "<P2Main/>"}},
        {'k', {"A001C003M01.krw.xml", "<P2Main/>"}}};
    const std::pair<std::string, std::string> rows[] = {
        {"xXsS", ofKind("PANASONICP2", "")},
        {"XsS", ofKind("SONY", "")},
        {"sS", ofKind("KINERAW", "\t<a>1</a>\n")},
        {"S", ofKind("KINERAW", "\t<b>2</b>\n")},
        {"bXs", kNoDocument},
        {"rXs", kNoDocument},
        {"nk", kNoDocument},
    };
    for (const auto& [present, expected] : rows) {
        for (const char file : present)
            put(files.at(file).first, files.at(file).second);
        EXPECT_EQ(document(), expected) << present;
        for (const char file : present)
            std::filesystem::remove(m_directory.path(files.at(file).first));
    }
}

TEST_F(SideCar, RootNamesTheKind) {
    const std::pair<const char*, std::string> rows[] = {
        {"<Other a='1'><Device><Manufacturer>x</Manufacturer></Device></Other>", wrapped("")},
        {"<xP2MainX/>", ofKind("PANASONICP2", "")},
        {"<NonRealTimeMetaClipMainP2Main/>", ofKind("PANASONICP2", "")},
        {"<NonRealTimeMetaClipMain/>", ofKind("PANASONICGH5", "")},
    };
    for (const auto& [xml, expected] : rows) {
        putXml(xml);
        EXPECT_EQ(document(), expected) << xml;
    }
}

TEST_F(SideCar, PathWithXmlInItIsItsOwnSideCar) {
    std::filesystem::create_directory(m_directory.path("cards.XML"));
    const std::string clip = m_directory.path("cards.XML/a.krw");
    std::filesystem::copy(m_clip, clip);
    put("cards.XML/aM01.xml", "<P2Main/>");
    put("cards.XML/slate.txt", "a.: 1");
    Described described;
    open(described, clip);
    EXPECT_EQ(described.document(), kNoDocument) << "a clip is no XML";
    put("good.xml", "<ClipMain/>");
    findMetaData(m_directory.path("good.xml").c_str(), &described.info);
    EXPECT_EQ(described.document(), ofKind("PANASONICGH5", ""));
}

TEST_F(SideCar, LongPathsHaveNone) {
    put("slate.txt", "a.: 1");
    const std::string directory = m_directory.root().string();
    for (const std::string& path : {""s, directory + "/" + std::string(255, 'n') + ".krw",
                                    directory + std::string(4096, '/') + "a.krw"}) {
        Described described;
        EXPECT_EQ(findMetaData(path.c_str(), &described.info), 0);
        EXPECT_EQ(described.document(), kNoDocument);
    }
}

// Element, name and the number of the item that they set: texts below 198, numbers from there on.
constexpr char kSonyItems[] =
    "Item Reel 65 Item Project 19 Item DirectorName 30 Item DirectorOfPhotographyName 49 Item Production 43 "
    "Meta CameraIndex 73 Meta Cut 46 Meta Scene 71 Meta Take 67 Meta Shot 66 Meta Circle 20 "
    "Meta CameraAttributes 69 Item WhiteBalance 239 Item RawBlackCodeValue 220 Item RawWhiteCodeValue 219 "
    "Item ISOSensitivity 241 Item NeutralDensityFilterWheelSetting 218 Item ShutterSpeedAngle 217 "
    "Device modelName 38 Device manufacturer 59 Device serialNo 64 TargetMaterial umidRef 82 "
    "CreationDate value 28 TypicalUbit value 200 TypicalUbit value 202 VideoFrame videoCodec 18 "
    "Element software 58 Camera modelName 38 Camera manufacturer 59 Camera serialNo 64";
constexpr char kPanasonicItems[] =
    "Device Manufacturer 59 Device ModelName 38 Device SerialNo. 64 CameraUnitMetadata RGain 237 "
    "CameraUnitMetadata GGain 242 CameraUnitMetadata BGain 238 Gamma MasterGamma 223 Scenario SceneNo. 71 "
    "Scenario TakeNo. 67 Scenario ProgramName 19";

std::string sonyElement(const std::string& element, const std::string& name, const std::string& value) {
    const bool named = element == "Item" || element == "Meta";
    return "<" + element + " " + (named ? "name='" + name + "' value" : name) + "='" + value + "'/>";
}
std::string panasonicElement(const std::string& element, const std::string& name, const std::string& value) {
    return "<" + element + "><" + name + ">" + value + "</" + name + "></" + element + ">";
}

TEST_F(SideCar, EveryMappedItemIsSet) {
    const auto check = [this](const std::string& root, const char* items, auto makeElement) {
        std::istringstream words(items);
        std::string element;
        std::string name;
        std::uint32_t item = 0;
        while (words >> element >> name >> item) {
            putXml(
                inRoot(root, makeElement(element, name, "first").append(makeElement(element, name, "42K"))));
            Described clip;
            open(clip);
            const bool isText = item < QMXINFO::kFirstNumber;
            EXPECT_EQ(isText ? clip.text(InfoText{item}) : std::to_string(clip.info[InfoNumber{item}]),
                      isText ? "42K" : "42")
                << element << " " << name;
        }
    };
    check("NonRealTimeMeta", kSonyItems, sonyElement);
    check("ClipMain", kPanasonicItems, panasonicElement);
    putXml(sony("<Other serialNo='1'/>"));
    Described clip;
    open(clip);
    EXPECT_EQ(clip.text(InfoText::manufacturer), "Sony");
    EXPECT_EQ(clip.text(InfoText::serialNo), "000001") << "the header's";
}

TEST_F(SideCar, XmlLines) {
    const std::string longText(70, 'v');
    const struct {
        const char* fault;
        std::string xml;
        std::string lines;
    } rows[] = {
        {"Sony example",
         sony("<TargetMaterial umidRef='060A2B34'/>"
              "<Device manufacturer='Sony' modelName='CAM-1' serialNo='S042'/><AcquisitionRecord>"
              "<Group name='CameraUnitMetadataSet'><Item name='ISOSensitivity' value='800'/></Group>"
              "</AcquisitionRecord>"),
         "\t<TargetMaterial-umidRef>060A2B34</TargetMaterial-umidRef>\n"
         "\t<Device-manufacturer>Sony</Device-manufacturer>\n\t<Device-modelName>CAM-1</Device-modelName>\n"
         "\t<Device-serialNo>S042</Device-serialNo>\n"
         "\t<AcquisitionRecord-name>CameraUnitMetadataSet</AcquisitionRecord-name>\n"
         "\t<Item-ISOSensitivity>800</Item-ISOSensitivity>\n"},
        {"P2 example",
         "<P2Main><ClipContent><ClipName>0001AB</ClipName><ClipMetadata><Device>"
         "<Manufacturer>Panasonic</Manufacturer><SerialNo.>S042</SerialNo.><ModelName>CAM-2</ModelName>"
         "</Device><Scenario><ProgramName>Show</ProgramName><SceneNo.>12</SceneNo.><TakeNo.>3</TakeNo.>"
         "</Scenario></ClipMetadata></ClipContent></P2Main>",
         "\t<ClipContent-ClipName>0001AB</ClipContent-ClipName>\n"
         "\t<Device-Manufacturer>Panasonic</Device-Manufacturer>\n"
         "\t<Device-SerialNo.>S042</Device-SerialNo.>\n\t<Device-ModelName>CAM-2</Device-ModelName>\n"
         "\t<Scenario-ProgramName>Show</Scenario-ProgramName>\n"
         "\t<Scenario-SceneNo.>12</Scenario-SceneNo.>\n\t<Scenario-TakeNo.>3</Scenario-TakeNo.>\n"},
        {"one attribute", sony("<Item name='Take'/>"), "\t<Item-Take></Item-Take>\n"},
        {"last value wins", sony("<Meta name='Reel' content='A001' lang='en'/>"),
         "\t<Meta-Reel>en</Meta-Reel>\n"},
        {"empty name", sony("<Meta name='' content='Reel'/>"), "\t<Meta-Reel></Meta-Reel>\n"},
        {"no attributes", sony("<Item/><Device/>"), "\t<Item-></Item->\n"},
        {"cut", sony("<Item n='" + longText + "' v='" + longText + "'/>"),
         "\t<Item-" + longText.substr(7) + ">" + longText.substr(7) + "</Item-" + longText.substr(7) + ">\n"},
        {"other names", sony("<Items a='1'/><MetaData b='&lt;&#38;'/>"),
         "\t<Items-a>1</Items-a>\n\t<MetaData-b><&</MetaData-b>\n"},
        {"no leaf", sony("<Device modelName='x'>text</Device>"),
         "\t<NonRealTimeMeta-modelName>x</NonRealTimeMeta-modelName>\n"},
        {"text and comments", sony("text<!-- c --><![CDATA[d]]><?pi?>"), ""},
        {"P2 empty element", "<P2Main><Device><ModelName/></Device></P2Main>",
         "\t<P2Main-Device>ModelName</P2Main-Device>\n"},
        {"P2 comment", "<P2Main x='1'><Scenario><!--c--></Scenario></P2Main>",
         "\t<P2Main-Scenario>c</P2Main-Scenario>\n"},
        {"P2 root text", "<P2Main>t</P2Main>", "\t<Document-P2Main>t</Document-P2Main>\n"},
        {"CRLF, BOM and bare values",
         "\xEF\xBB\xBF<?xml version='1.0'?>\r\n<NonRealTimeMeta>\r\n<A b=c  />\r\n"
         "</NonRealTimeMeta >\r\n",
         "\t<A-b>c</A-b>\n"},
        {"Latin-1", "<?xml version='1.0' encoding='ISO-8859-1'?>" + sony("<A b='M\xFCller\xE9'/>"),
         "\t<A-b>M\xFCller\xE9</A-b>\n"},
        {"junk behind the root", sony("") + "\x1A\0\0junk"s, ""},
    };
    for (const auto& row : rows) {
        putXml(row.xml);
        const bool p2 = row.xml.starts_with("<P2Main");
        EXPECT_EQ(document(), ofKind(p2 ? "PANASONICP2" : "SONY", row.lines)) << row.fault;
    }
}

TEST_F(SideCar, SlateLines) {
    const struct {
        std::string line;
        std::string expected;
    } rows[] = {
        {"# slate\nScene....: 12\nTake.....: 3\n", "\t<Scene>12</Scene>\n\t<Take>3</Take>\n"},
        {"Camera Op....: Jo Ann", "\t<Camera-Op>Jo-Ann</Camera-Op>\n"},
        {"Date/Time...: 2017/05/06", "\t<Date>2017.05.06</Date>\n"},
        {"Take.: 3\r", "\t<Take>3\r</Take>\n"},
        {"#a.: 1\n#\n", ""},
        {"\n\r\n\n", ""},
        {"NoDot: 5", "\t<NoDot:-5>5</NoDot:-5>\n"},
        {"NoColon.5", "\t<NoColon>oColon.5</NoColon>\n"},
        {"x", "\t<x></x>\n"},
        {"End.:", "\t<End></End>\n"},
        {"a.:1\nb.: x:y", "\t<a></a>\n\t<b>x:y</b>\n"},
        {std::string(30, 'k') + ".: " + std::string(30, 'v'),
         "\t<" + std::string(23, 'k') + ">" + std::string(23, 'v') + "</" + std::string(23, 'k') + ">\n"},
    };
    for (const auto& row : rows) {
        put("slate.txt", row.line);
        const std::string expected = ofKind("KINERAW", row.expected);
        EXPECT_EQ(document(), expected) << row.line;
        EXPECT_THAT(m_log.texts(), testing::Contains(expected + "\n"));
    }
}

std::string repeated(std::size_t count, std::string_view text) {
    std::string result;
    for (std::size_t i = 0; i < count; ++i)
        result += text;
    return result;
}
std::string nested(std::size_t levels) {
    return repeated(levels, "<ClipMain>") + repeated(levels, "</ClipMain>");
}

TEST_F(SideCar, HostileXmlLeavesTheClipAsItIs) {
    const std::string longName(4 << 20, 'n');
    std::string attributes;
    for (int i = 0; i < 500'000; ++i)
        attributes += " a" + std::to_string(i) + "=''";
    const struct {
        const char* what;
        std::string text;
        bool loads = false;
    } rows[] = {
        {"empty", ""},
        {"binary", "\x7F\x45\x02\x01\x01\0\xFF\xFE<\0a\0"s},
        {"as deep as may be", nested(kMaxXmlNesting), true},
        {"one too deep", nested(kMaxXmlNesting + 1)},
        {"100,000 deep", nested(100'000)},
        {"deep behind a quoted comment", repeated(100'000, "<a b='<!--'>")},
        {"deep inside a false reference", "<a>&#x" + repeated(100'000, "<a>") + "x1;</a>"},
        {"attribute of 20 MiB", "<ClipMain a='" + std::string(20 << 20, 'x') + "'/>"},
        {"attribute of 10 MiB", "<ClipMain a='" + std::string(10 << 20, 'x') + "'/>", true},
        {"500,000 attributes to compare", "<ClipMain" + attributes + "/>"},
        {"4,000,000 elements", "<ClipMain>" + repeated(4'000'000, "<a/>") + "</ClipMain>"},
        {"document of terabytes",
         "<ClipMain><" + longName + ">" + repeated(200'000, "<a/>") + "</" + longName + "></ClipMain>"},
        {"unterminated comment", "<ClipMain><!-- "},
        {"the same behind the root", "<ClipMain/><!-- \xEF", true},
        {"NUL in a declaration", "<?xml \0?><ClipMain/>"s},
        {"NUL in a name", "<Clip\0Main/>"s},
        {"character cut by the end", "<?xml?><ClipMain>\xF0"},
        {"byte-order mark for a name", "\xEF\xBB\xBF<\xEF\xBB\xBF"},
        {"reference without an end", "<ClipMain>&#x41</ClipMain>"},
        {"huge and empty references", "<ClipMain>&#99999999999999999999;&#0;&#;</ClipMain>", true},
        {"entity definitions", "<!DOCTYPE a [<!ENTITY b \"&a;&a;\">]><ClipMain>&b;</ClipMain>"},
        {"unknown entity", "<ClipMain>&b;&</ClipMain>", true},
        {"double attribute", "<ClipMain a='1' a='2'/>"},
    };
    put("slate.txt", "a.: 1");
    for (const auto& row : rows) {
        putXml(row.text);
        EXPECT_EQ(document() != kNoDocument, row.loads) << row.what;
    }
}

TEST_F(SideCar, FilesThatAreNone) {
    put("slate.txt", "a.: 1\n" + std::string(50 << 20, 'x'));
    EXPECT_THAT(document(), testing::HasSubstr("\t<a>1</a>\n\t<" + std::string(23, 'x') + ">"));
    std::filesystem::remove(m_directory.path("slate.txt"));
    std::filesystem::create_directory(m_directory.path("slate.txt"));
    EXPECT_EQ(document(), ofKind("KINERAW", ""));
    std::filesystem::create_directory(m_directory.path("A001C003M01.XML"));
    EXPECT_EQ(document(), kNoDocument);
    ASSERT_EQ(::mkfifo(m_directory.path("A001C003M01.xml").c_str(), 0600), 0);
    EXPECT_EQ(document(), kNoDocument);
}

TEST_F(SideCar, UnreadableOnesAreLikeNone) {
    HostFaults faults;
    put("slate.txt", "a.: 1");
    for (const std::string& expected : {ofKind("KINERAW", ""), std::string(kNoDocument)}) {
        for (const HostCall call : {HostCall::open, HostCall::read}) {
            Described clip;
            faults.fail(call, 1);
            findMetaData(m_clip.c_str(), &clip.info);
            EXPECT_EQ(clip.document(), expected);
        }
        putXml("<P2Main/>");
    }
    EXPECT_EQ(faults.openHandles(), 0);
}

TEST_F(SideCar, ItemsStayWholeWhereverMemoryRunsOut) {
    HostFaults faults;
    for (const std::string_view kind : kSideCarKinds) {
        const std::filesystem::path path = writeSideCar(kind, m_clip);
        const std::string whole = document();
        for (const HostCall call : {HostCall::allocation, HostCall::heap}) {
            std::uint64_t calls = 1;
            for (std::uint64_t failing = 1; failing <= calls; ++failing) {
                Described clip;
                setInfoItem(&clip.info[InfoText::deviceMetadata], "before");
                const std::uint64_t before = faults.calls(call);
                faults.fail(call, failing);
                EXPECT_EQ(findMetaData(m_clip.c_str(), &clip.info), 0);
                faults.disarm();
                calls = faults.calls(call) - before;
                EXPECT_THAT(clip.document(), testing::AnyOf(whole, "before", kNoDocument));
            }
        }
        EXPECT_EQ(faults.liveBlocks(), 0);
        EXPECT_EQ(faults.openHandles(), 0);
        std::filesystem::remove(path);
    }
}

TEST_F(SideCar, WrittenKindsAreReadBackAndNothingIsLeftBehind) {
    const struct {
        const char* type;
        InfoText item;
        const char* value;
    } rows[] = {{"SONY", InfoText::reel, "A001"},
                {"PANASONICP2", InfoText::scene, "12"},
                {"PANASONICGH5", InfoText::modelName, "CAM-2"},
                {"KINERAW", InfoText::project, "Test clips"}};
    const HostFaults faults;
    for (std::size_t cycle = 0; cycle < 200; ++cycle) {
        const auto& row = rows[cycle % std::size(rows)];
        const auto path = writeSideCar(kSideCarKinds[cycle % std::size(rows)], m_clip);
        Described clip;
        open(clip);
        EXPECT_NE(clip.document().find("Type>"s + row.type + "<"), std::string::npos);
        EXPECT_EQ(clip.text(row.item), row.value);
        std::filesystem::remove(path);
    }
    EXPECT_EQ(faults.liveBlocks() + faults.liveHeapBlocks() + faults.openHandles(), 0);
}

} // namespace
