// Side-cars: the one that is read, and the items and the document that it gives.
#include "tests/metadata/side_car_fixture.h"
#include "tools/synth/side_car_writer.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <map>

namespace {

using namespace std::string_literals;

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

constexpr char kSony[] = "NonRealTimeMeta";
constexpr char kPanasonic[] = "ClipMain";

struct MappedElement {
    const char* root;
    std::string_view element; // with '$' in the place of the value
    std::uint32_t item;       // a text below 198, a number from there on
};

constexpr MappedElement kMappedElements[] = {
    {kSony, "<Item name='Reel' value='$'/>", 65},
    {kSony, "<Item name='Project' value='$'/>", 19},
    {kSony, "<Item name='DirectorName' value='$'/>", 30},
    {kSony, "<Item name='DirectorOfPhotographyName' value='$'/>", 49},
    {kSony, "<Item name='Production' value='$'/>", 43},
    {kSony, "<Meta name='CameraIndex' value='$'/>", 73},
    {kSony, "<Meta name='Cut' value='$'/>", 46},
    {kSony, "<Meta name='Scene' value='$'/>", 71},
    {kSony, "<Meta name='Take' value='$'/>", 67},
    {kSony, "<Meta name='Shot' value='$'/>", 66},
    {kSony, "<Meta name='Circle' value='$'/>", 20},
    {kSony, "<Meta name='CameraAttributes' value='$'/>", 69},
    {kSony, "<Item name='WhiteBalance' value='$'/>", 239},
    {kSony, "<Item name='RawBlackCodeValue' value='$'/>", 220},
    {kSony, "<Item name='RawWhiteCodeValue' value='$'/>", 219},
    {kSony, "<Item name='ISOSensitivity' value='$'/>", 241},
    {kSony, "<Item name='NeutralDensityFilterWheelSetting' value='$'/>", 218},
    {kSony, "<Item name='ShutterSpeedAngle' value='$'/>", 217},
    {kSony, "<Device modelName='$'/>", 38},
    {kSony, "<Device manufacturer='$'/>", 59},
    {kSony, "<Device serialNo='$'/>", 64},
    {kSony, "<TargetMaterial umidRef='$'/>", 82},
    {kSony, "<CreationDate value='$'/>", 28},
    {kSony, "<TypicalUbit value='$'/>", 200},
    {kSony, "<TypicalUbit value='$'/>", 202},
    {kSony, "<VideoFrame videoCodec='$'/>", 18},
    {kSony, "<Element software='$'/>", 58},
    {kSony, "<Camera modelName='$'/>", 38},
    {kSony, "<Camera manufacturer='$'/>", 59},
    {kSony, "<Camera serialNo='$'/>", 64},
    {kPanasonic, "<Device><Manufacturer>$</Manufacturer></Device>", 59},
    {kPanasonic, "<Device><ModelName>$</ModelName></Device>", 38},
    {kPanasonic, "<Device><SerialNo.>$</SerialNo.></Device>", 64},
    {kPanasonic, "<CameraUnitMetadata><RGain>$</RGain></CameraUnitMetadata>", 237},
    {kPanasonic, "<CameraUnitMetadata><GGain>$</GGain></CameraUnitMetadata>", 242},
    {kPanasonic, "<CameraUnitMetadata><BGain>$</BGain></CameraUnitMetadata>", 238},
    {kPanasonic, "<Gamma><MasterGamma>$</MasterGamma></Gamma>", 223},
    {kPanasonic, "<Scenario><SceneNo.>$</SceneNo.></Scenario>", 71},
    {kPanasonic, "<Scenario><TakeNo.>$</TakeNo.></Scenario>", 67},
    {kPanasonic, "<Scenario><ProgramName>$</ProgramName></Scenario>", 19},
};

TEST_F(SideCar, EveryMappedItemIsSet) {
    for (const auto& [root, element, item] : kMappedElements) {
        std::string body;
        for (const std::string_view value : {"first", "42K"}) // the later element wins
            body.append(element).replace(body.rfind('$'), 1, value);
        putXml(inRoot(root, body));
        Described clip;
        open(clip);
        const bool isText = item < QMXINFO::kFirstNumber;
        EXPECT_EQ(isText ? clip.text(InfoText{item}) : std::to_string(clip.info[InfoNumber{item}]),
                  isText ? "42K" : "42")
            << root << " " << element;
    }
}

TEST_F(SideCar, SonyIsTheManufacturerUnlessNamed) {
    putXml(sony("<Other serialNo='1'/>"));
    Described clip;
    open(clip);
    EXPECT_EQ(clip.text(InfoText::manufacturer), "Sony");
    EXPECT_EQ(clip.text(InfoText::serialNo), "000001") << "from the header";
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
        {"every line end is one line feed", sony("<A b='1\r\n2\r3\n4\r\r\n5'/>"),
         "\t<A-b>1\n2\n3\n4\n\n5</A-b>\n"},
        {"encoding behind references", "<?xml encoding='&#85;T&#x46;-8'?>" + sony("<A b='&#x2200;'/>"),
         "\t<A-b>\xE2\x88\x80</A-b>\n"},
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
        const auto path =
            writeSideCar(kSideCarKinds[cycle % std::size(rows)], m_clip, {.existing = Existing::replace});
        Described clip;
        open(clip);
        EXPECT_NE(clip.document().find("Type>"s + row.type + "<"), std::string::npos);
        EXPECT_EQ(clip.text(row.item), row.value);
        std::filesystem::remove(path);
    }
    EXPECT_EQ(faults.liveBlocks() + faults.liveHeapBlocks() + faults.openHandles(), 0);
}

} // namespace
