// Side-cars beside a clip, through a clip that is opened: which one is read, what it sets, and that none can
// do harm.
#include "host/info_records.h"
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
#include <gtest/gtest.h>
#include <map>
#include <optional>
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

std::vector<std::uint16_t> bothFrames() {
    std::vector<std::uint16_t> samples;
    for (const Mosaic& mosaic : randomMosaics(2, 16, 8))
        samples.insert(samples.end(), mosaic.samples.begin(), mosaic.samples.end());
    return samples;
}

const std::vector<std::uint16_t> kFrames = bothFrames();

/// A clip of two frames alone in a directory; every opening reads both back.
class SideCar : public testing::Test {
  protected:
    void put(const std::string& name, std::string_view text) const {
        [[maybe_unused]] const std::string path =
            m_directory.write(name, {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    }
    void putXml(std::string_view text) const { put("A001C003M01.xml", text); }
    void putSlate(std::string_view text) const { put("slate.txt", text); }

    void open(Described& described) const { open(described, m_clip); }
    static void open(Described& described, const std::string& clip) {
        CMFKrw reader(0);
        ASSERT_EQ(reader.Open(clip.c_str(), 0, 0, nullptr, 0, 0, 0), status::kOk);
        reader.GetFileInfo(0, nullptr, nullptr, nullptr, &described.info);
        EXPECT_EQ(readFrames(reader), kFrames);
    }
    [[nodiscard]] std::string document() const {
        Described described;
        open(described);
        return described.document();
    }

    static std::vector<std::uint16_t> readFrames(CMFKrw& reader) {
        std::vector<std::uint16_t> samples(std::size_t{2} * 16 * 8);
        for (std::uint32_t frame = 0; frame < 2; ++frame) {
            DFRAME dframe{};
            dframe.picture.buffer = &samples[std::size_t{frame} * 16 * 8];
            dframe.picture.bufferSize = 16 * 8 * 2;
            EXPECT_EQ(reader.Read(frame, 1, 1, 1, &dframe, nullptr), status::kOk);
        }
        return samples;
    }

    TempDir m_directory;
    std::string m_clip = m_directory.write("A001C003.krw", makeClip(2).bytes);
};

std::string wrapped(const std::string& lines) {
    return "<PVDeviceMetadata>\n" + lines + "</PVDeviceMetadata>";
}

std::string ofKind(const std::string& kind, const std::string& lines) {
    return wrapped("\t<PVDeviceMetadataType>" + kind + "</PVDeviceMetadataType>\n" + lines);
}

std::string sony(const std::string& body) {
    return "<NonRealTimeMeta>" + body + "</NonRealTimeMeta>";
}

TEST_F(SideCar, SonyExample) {
    putXml(R"(<?xml version="1.0" encoding="UTF-8"?>
<NonRealTimeMeta xmlns="urn:x">
  <TargetMaterial umidRef="060A2B34"/>
  <Device manufacturer="Sony" modelName="CAM-1" serialNo="S042"/>
  <AcquisitionRecord><Group name="CameraUnitMetadataSet"><Item name="ISOSensitivity" value="800"/></Group>
  </AcquisitionRecord>
</NonRealTimeMeta>)");
    Described clip;
    open(clip);
    EXPECT_EQ(clip.document(), ofKind("SONY", "\t<TargetMaterial-umidRef>060A2B34</TargetMaterial-umidRef>\n"
                                              "\t<Device-manufacturer>Sony</Device-manufacturer>\n"
                                              "\t<Device-modelName>CAM-1</Device-modelName>\n"
                                              "\t<Device-serialNo>S042</Device-serialNo>\n"
                                              "\t<AcquisitionRecord-name>CameraUnitMetadataSet"
                                              "</AcquisitionRecord-name>\n"
                                              "\t<Item-ISOSensitivity>800</Item-ISOSensitivity>\n"));
    EXPECT_EQ(clip.text(InfoText::materialUmid), "060A2B34");
    EXPECT_EQ(clip.text(InfoText::manufacturer), "Sony");
    EXPECT_EQ(clip.text(InfoText::modelName), "CAM-1");
    EXPECT_EQ(clip.text(InfoText::serialNo), "S042");
    EXPECT_EQ(clip.info[InfoNumber::isoSensitivity], 800U);
    EXPECT_EQ(clip.text(InfoText::project), "Test clips")
        << "the header's, of which the side-car says nothing";
}

TEST_F(SideCar, PanasonicExample) {
    putXml("<P2Main><ClipContent><ClipName>0001AB</ClipName><ClipMetadata><Device>"
           "<Manufacturer>Panasonic</Manufacturer><SerialNo.>S042</SerialNo.><ModelName>CAM-2</ModelName>"
           "</Device><Scenario><ProgramName>Show</ProgramName><SceneNo.>12</SceneNo.><TakeNo.>3</TakeNo.>"
           "</Scenario></ClipMetadata></ClipContent></P2Main>");
    Described clip;
    open(clip);
    EXPECT_EQ(clip.document(),
              ofKind("PANASONICP2", "\t<ClipContent-ClipName>0001AB</ClipContent-ClipName>\n"
                                    "\t<Device-Manufacturer>Panasonic</Device-Manufacturer>\n"
                                    "\t<Device-SerialNo.>S042</Device-SerialNo.>\n"
                                    "\t<Device-ModelName>CAM-2</Device-ModelName>\n"
                                    "\t<Scenario-ProgramName>Show</Scenario-ProgramName>\n"
                                    "\t<Scenario-SceneNo.>12</Scenario-SceneNo.>\n"
                                    "\t<Scenario-TakeNo.>3</Scenario-TakeNo.>\n"));
    EXPECT_EQ(clip.text(InfoText::manufacturer), "Panasonic");
    EXPECT_EQ(clip.text(InfoText::scene), "12");
}

TEST_F(SideCar, SlateExample) {
    putSlate("# slate\nScene....: 12\nTake.....: 3\n");
    const LogCapture log;
    const std::string expected = ofKind("KINERAW", "\t<Scene>12</Scene>\n\t<Take>3</Take>\n");
    EXPECT_EQ(document(), expected);
    EXPECT_EQ(log.texts(), std::vector<std::string>{expected + "\n"});
}

TEST_F(SideCar, FirstOfItsKindsIsRead) {
    struct File {
        const char* name;
        const char* text;
    };
    constexpr File kGood{"A001C003M01.xml", "<P2Main/>"};
    constexpr File kBroken{"A001C003M01.xml", "<P2Main>"};
    constexpr File kUpper{"A001C003M01.XML", "<NonRealTimeMeta/>"};
    constexpr File kSlate{"slate.txt", "a.: 1"};
    constexpr File kUpperSlate{"slate.TXT", "b.: 2"};
    const std::string slate = ofKind("KINERAW", "\t<a>1</a>\n");
    const struct {
        std::vector<File> files;
        std::string expected;
    } rows[] = {
        {{}, kNoDocument},
        {{kGood, kUpper, kSlate}, ofKind("PANASONICP2", "")},
        {{kUpper, kSlate, kUpperSlate}, ofKind("SONY", "")},
        {{kSlate, kUpperSlate}, slate},
        {{kUpperSlate}, ofKind("KINERAW", "\t<b>2</b>\n")},
        {{kBroken, kUpper, kSlate}, kNoDocument},
        {{{"A001C003.xml", "<P2Main/>"}, {"A001C003M01.krw.xml", "<P2Main/>"}}, kNoDocument},
        {{{"A001C003M01.xml", "<!-- no root -->"}, kSlate}, kNoDocument},
        {{{"A001C003M01.xml", "<Other a='1'><Device><Manufacturer>x</Manufacturer></Device></Other>"}},
         wrapped("")},
        {{{"A001C003M01.xml", "<xP2MainX/>"}}, ofKind("PANASONICP2", "")},
        {{{"A001C003M01.xml", "<NonRealTimeMetaClipMain/>"}}, ofKind("PANASONICGH5", "")},
        {{{"A001C003M01.xml", "<nonrealtimemeta/>"}}, wrapped("")},
    };
    for (const auto& row : rows) {
        for (const File& file : row.files)
            put(file.name, file.text);
        EXPECT_EQ(document(), row.expected) << (row.files.empty() ? "" : row.files.front().text);
        for (const File& file : row.files)
            std::filesystem::remove(m_directory.path(file.name));
    }
}

TEST_F(SideCar, PathWithXmlInItIsItsOwnSideCar) {
    const LogCapture log;
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
    const std::string names[] = {std::string(252, 'n') + ".krw", std::string(4000, 'n') + ".krw",
                                 std::string(5000, '/') + "a.krw", ""};
    for (const std::string& name : names) {
        Described described;
        const std::string path = name.empty() ? name : "/nowhere/" + name;
        EXPECT_EQ(findMetaData(path.c_str(), &described.info), 0);
        EXPECT_EQ(described.document(), kNoDocument);
    }
}

using Item = std::variant<InfoText, InfoNumber>;

struct MappedCase {
    std::string xml;
    Item item;
    const char* value;
};

std::string named(const char* name, const char* value) {
    return sony("<Item name='Reel' value='before'/><Item name='"s + name + "' value='" + value + "'/>");
}
std::string attribute(const char* element, const char* name, const char* value) {
    return sony("<"s + element + " " + name + "='" + value + "'/>");
}
std::string content(const char* parent, const char* element, const char* value) {
    return "<ClipMain><"s + parent + "><" + element + ">first</" + element + "><" + element + ">" + value +
           "</" + element + "></" + parent + "></ClipMain>";
}

TEST_F(SideCar, EveryMappedItemIsSet) {
    using T = InfoText;
    using N = InfoNumber;
    const MappedCase rows[] = {
        {named("Reel", "r"), T::reel, "r"},
        {named("Project", "p"), T::project, "p"},
        {named("DirectorName", "d"), T::directorName, "d"},
        {named("DirectorOfPhotographyName", "o"), T::directorOfPhotography, "o"},
        {named("Production", "n"), T::production, "n"},
        {named("CameraIndex", "i"), T::cameraIndex, "i"},
        {named("Cut", "c"), T::cut, "c"},
        {named("Scene", "s"), T::scene, "s"},
        {named("Take", "t"), T::take, "t"},
        {named("Shot", "h"), T::shot, "h"},
        {named("Circle", "l"), T::circle, "l"},
        {named("CameraAttributes", "a"), T::cameraAttributes, "a"},
        {named("WhiteBalance", "5600K"), N::whiteBalance, "5600"},
        {named("RawBlackCodeValue", "256"), N::rawBlackCodeValue, "256"},
        {named("RawWhiteCodeValue", "4095"), N::rawWhiteCodeValue, "4095"},
        {named("ISOSensitivity", "800"), N::isoSensitivity, "800"},
        {named("NeutralDensityFilterWheelSetting", "2"), N::ndFilter, "2"},
        {named("ShutterSpeedAngle", "18000"), N::shutterAngle, "18000"},
        {attribute("Device", "modelName", "m"), T::modelName, "m"},
        {attribute("Device", "manufacturer", "u"), T::manufacturer, "u"},
        {attribute("Device", "serialNo", "1"), T::serialNo, "1"},
        {attribute("TargetMaterial", "umidRef", "06"), T::materialUmid, "06"},
        {attribute("CreationDate", "value", "2017"), T::creationDate, "2017"},
        {attribute("TypicalUbit", "value", "1A2B3C4D"), N::userBits, "1"},
        {attribute("TypicalUbit", "value", "12"), N::userBitsCopy, "12"},
        {attribute("VideoFrame", "videoCodec", "v"), T::videoCodec, "v"},
        {attribute("Element", "software", "w"), T::software, "w"},
        {attribute("Camera", "modelName", "x"), T::modelName, "x"},
        {attribute("Camera", "manufacturer", "y"), T::manufacturer, "y"},
        {attribute("Camera", "serialNo", "z"), T::serialNo, "z"},
        {sony(""), T::manufacturer, "Sony"},
        {content("Device", "Manufacturer", "m"), T::manufacturer, "m"},
        {content("Device", "ModelName", "n"), T::modelName, "n"},
        {content("Device", "SerialNo.", "s"), T::serialNo, "s"},
        {content("CameraUnitMetadata", "RGain", "256"), N::rGain, "256"},
        {content("CameraUnitMetadata", "GGain", "0x1F"), N::gGain, "0"},
        {content("CameraUnitMetadata", "BGain", "1730"), N::bGain, "1730"},
        {content("Gamma", "MasterGamma", "1800"), N::masterGamma, "1800"},
        {content("Scenario", "SceneNo.", "12"), T::scene, "12"},
        {content("Scenario", "TakeNo.", "3"), T::take, "3"},
        {content("Scenario", "ProgramName", "p"), T::project, "p"},
        {content("Device", "RGain", "256"), N::rGain, "1000"}, // what opening sets: not the right parent
    };
    for (const MappedCase& row : rows) {
        putXml(row.xml);
        Described clip;
        open(clip);
        const auto* text = std::get_if<InfoText>(&row.item);
        EXPECT_EQ(text != nullptr ? clip.text(*text)
                                  : std::to_string(clip.info[std::get<InfoNumber>(row.item)]),
                  row.value)
            << row.xml;
    }
}

TEST_F(SideCar, XmlLines) {
    const std::string longText(70, 'v');
    const struct {
        const char* fault;
        std::string xml;
        std::string lines;
    } rows[] = {
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
    const LogCapture log;
    const struct {
        std::string line;
        std::string expected;
    } rows[] = {
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
        putSlate(row.line);
        EXPECT_EQ(document(), ofKind("KINERAW", row.expected)) << row.line;
    }
}

std::string repeated(std::size_t count, std::string_view text) {
    std::string result;
    result.reserve(count * text.size());
    for (std::size_t i = 0; i < count; ++i)
        result += text;
    return result;
}
std::string nested(std::size_t levels) {
    return repeated(levels, "<ClipMain>") + repeated(levels, "</ClipMain>");
}
/// Opens as no document, or as the one of these lines when the limits let it through.
struct HostileCase {
    const char* name;
    std::string (*text)();
    bool loads = false;
};

class HostileXml : public SideCar, public testing::WithParamInterface<HostileCase> {};

TEST_P(HostileXml, LeavesClipAsItIs) {
    putXml(GetParam().text());
    putSlate("a.: 1");
    EXPECT_EQ(document() != kNoDocument, GetParam().loads);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, HostileXml,
    testing::Values(
        HostileCase{"Empty", [] { return ""s; }},
        HostileCase{"Binary",
                    [] {
                        return "\x7F"
                               "ELF\x02\x01\x01\0\xFF\xFE<\0a\0"s;
                    }},
        HostileCase{"DeepestAllowed", [] { return nested(kMaxXmlNesting); }, true},
        HostileCase{"OneTooDeep", [] { return nested(kMaxXmlNesting + 1); }},
        HostileCase{"HundredThousandDeep", [] { return nested(100'000); }},
        HostileCase{"DeepBehindAQuotedComment", [] { return repeated(100'000, "<a b='<!--'>"); }},
        HostileCase{"DeepBehindAFalseReference",
                    [] { return "<a>&#x" + repeated(100'000, "<a>") + "x1;</a>"; }},
        HostileCase{"AttributeOf20MiB",
                    [] { return attribute("A", "b", std::string(20 << 20, 'x').c_str()); }},
        HostileCase{"AttributeOf10MiB",
                    [] { return attribute("A", "b", std::string(10 << 20, 'x').c_str()); }, true},
        HostileCase{"HalfAMillionAttributes",
                    [] {
                        std::string text = "<ClipMain";
                        for (int i = 0; i < 500'000; ++i)
                            text += " a" + std::to_string(i) + "=''";
                        return text + "/>";
                    }},
        HostileCase{"FourMillionElements",
                    [] { return "<ClipMain>" + repeated(4'000'000, "<a/>") + "</ClipMain>"; }},
        HostileCase{"DocumentOfTerabytes",
                    [] {
                        const std::string name(4 << 20, 'n');
                        return "<ClipMain><" + name + ">" + repeated(200'000, "<a/>") + "</" + name +
                               "></ClipMain>";
                    }},
        HostileCase{"UnterminatedComment", [] { return "<ClipMain><!-- "s; }},
        HostileCase{"UnterminatedCommentBehindTheRoot", [] { return "<ClipMain/><!-- \xEF"s; }, true},
        HostileCase{"UnterminatedCharacterData", [] { return "<ClipMain><![CDATA["s; }},
        HostileCase{"UnterminatedDeclaration", [] { return "<?xml "s; }},
        HostileCase{"NulInDeclaration", [] { return "<?xml \0?><ClipMain/>"s; }},
        HostileCase{"NulInName", [] { return "<Clip\0Main/>"s; }},
        HostileCase{"CharacterCutByTheEnd", [] { return "<?xml?><ClipMain>\xF0"s; }},
        HostileCase{"ByteOrderMarkForAName", [] { return "\xEF\xBB\xBF<\xEF\xBB\xBF"s; }},
        HostileCase{"ByteOrderMarkAlone", [] { return "\xEF\xBB\xBF"s; }},
        HostileCase{"Utf16", [] { return "\xFF\xFE<\0C\0/\0>\0"s; }},
        HostileCase{"ReferenceWithoutEnd", [] { return "<ClipMain>&#x41</ClipMain>"s; }},
        HostileCase{"HugeReference", [] { return "<ClipMain>&#99999999999999999999;&#0;&#;</ClipMain>"s; },
                    true},
        HostileCase{"EntityDefinitions",
                    [] { return "<!DOCTYPE a [<!ENTITY b \"&a;&a;\">]><ClipMain>&b;</ClipMain>"s; }},
        HostileCase{"UnknownEntity", [] { return "<ClipMain>&b;&</ClipMain>"s; }, true},
        HostileCase{"DoubleAttribute", [] { return "<ClipMain a='1' a='2'/>"s; }}),
    [](const auto& row) { return row.param.name; });

TEST_F(SideCar, FilesThatAreNone) {
    const LogCapture log;
    const std::string emptySlate = ofKind("KINERAW", "");
    putSlate("a.: 1\n" + std::string(50 << 20, 'x'));
    EXPECT_EQ(document(), ofKind("KINERAW", "\t<a>1</a>\n\t<" + std::string(23, 'x') + ">" +
                                                std::string(23, 'x') + "</" + std::string(23, 'x') + ">\n"));
    std::filesystem::remove(m_directory.path("slate.txt"));
    std::filesystem::create_directory(m_directory.path("slate.txt"));
    EXPECT_EQ(document(), emptySlate);
    std::filesystem::create_directory(m_directory.path("A001C003M01.XML"));
    EXPECT_EQ(document(), kNoDocument);
    ASSERT_EQ(::mkfifo(m_directory.path("A001C003M01.xml").c_str(), 0600), 0);
    EXPECT_EQ(document(), kNoDocument);
}

TEST_F(SideCar, UnreadableOnesAreLikeNone) {
    HostFaults faults;
    const LogCapture log;
    const auto afterFault = [&](HostCall call) {
        Described clip;
        faults.fail(call, 1);
        findMetaData(m_clip.c_str(), &clip.info);
        EXPECT_EQ(faults.openHandles(), 0);
        return clip.document();
    };
    putSlate("a.: 1");
    EXPECT_EQ(afterFault(HostCall::open), ofKind("KINERAW", ""));
    EXPECT_EQ(afterFault(HostCall::read), ofKind("KINERAW", ""));
    putXml("<P2Main/>");
    EXPECT_EQ(afterFault(HostCall::open), kNoDocument);
    EXPECT_EQ(afterFault(HostCall::read), kNoDocument);
}

TEST_F(SideCar, ItemsStayWholeWhereverMemoryRunsOut) {
    HostFaults faults;
    for (const std::string_view kind : kSideCarKinds) {
        const std::filesystem::path path = writeSideCar(kind, m_clip);
        const LogCapture log;
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
                const std::string document = clip.document();
                EXPECT_TRUE(document == whole || document == "before" || document == kNoDocument) << document;
            }
        }
        EXPECT_EQ(faults.liveBlocks(), 0);
        EXPECT_EQ(faults.openHandles(), 0);
        std::filesystem::remove(path);
    }
}

TEST_F(SideCar, WrittenKindsAreReadBack) {
    const LogCapture log;
    const struct {
        std::string_view kind;
        const char* type;
        MappedCase item;
    } rows[] = {{"sony", "SONY", {"AcquisitionRecord-name", InfoText::reel, "A001"}},
                {"p2", "PANASONICP2", {"CameraUnitMetadata-BGain", InfoText::scene, "12"}},
                {"gh5", "PANASONICGH5", {"Scenario-TakeNo.", InfoText::modelName, "CAM-2"}},
                {"slate", "KINERAW", {"Camera-Op", InfoText::project, "Test clips"}}};
    for (const auto& row : rows) {
        const std::filesystem::path path = writeSideCar(row.kind, m_clip);
        Described clip;
        open(clip);
        EXPECT_NE(clip.document().find("Type>"s + row.type + "<"), std::string::npos);
        EXPECT_NE(clip.document().find(row.item.xml), std::string::npos) << clip.document();
        EXPECT_EQ(clip.text(std::get<InfoText>(row.item.item)), row.item.value);
        std::filesystem::remove(path);
    }
}

TEST_F(SideCar, NothingIsLeftBehind) {
    const HostFaults faults;
    const LogCapture log;
    for (int cycle = 0; cycle < 200; ++cycle) {
        const std::filesystem::path path = writeSideCar(kSideCarKinds[cycle % kSideCarKinds.size()], m_clip);
        EXPECT_NE(document(), kNoDocument);
        std::filesystem::remove(path);
    }
    EXPECT_EQ(faults.liveBlocks(), 0);
    EXPECT_EQ(faults.liveHeapBlocks(), 0);
    EXPECT_EQ(faults.openHandles(), 0);
}

} // namespace
