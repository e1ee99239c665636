// Hostile and unreadable side-cars, and allocations that fail: the clip opens as without a side-car, or with
// a whole document.
#include "host/error_output.h"
#include "metadata/xml_limits.h"
#include "tests/metadata/side_car_fixture.h"
#include "tools/synth/side_car_writer.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <sys/stat.h>

namespace {

using namespace std::string_literals;

class HostileSideCar : public SideCar {
  protected:
    /// Texts of the warnings logged so far.
    [[nodiscard]] std::vector<std::string> warnings() const {
        std::vector<std::string> texts;
        for (const LogLine& line : m_log.lines())
            if (line.status == kWarningStatus) texts.push_back(line.text);
        return texts;
    }
};

std::string repeated(std::size_t count, std::string_view text) {
    std::string result;
    for (std::size_t i = 0; i < count; ++i)
        result += text;
    return result;
}
std::string nested(std::size_t levels) {
    return repeated(levels, "<ClipMain>") + repeated(levels, "</ClipMain>");
}

std::string withAttributes(int count, std::size_t nameSize = 0) {
    const std::string name = " a" + std::string(nameSize, 'n');
    std::string text = "<ClipMain";
    for (int i = 0; i < count; ++i)
        text.append(name).append(std::to_string(i)).append("=''");
    return text + "/>";
}

TEST_F(HostileSideCar, HostileXmlLeavesTheClipAsItIs) {
    const std::string longName(4 << 20, 'n');
    constexpr const char* kLarge = "larger than 16 MiB";
    constexpr const char* kDeep = "nested deeper than 200";
    constexpr const char* kWork = "more nodes or attributes";
    const struct {
        const char* what;
        std::string text;
        bool loads = false;
        const char* warning = nullptr;
    } rows[] = {
        {"empty", ""},
        {"binary", "\x7F\x45\x02\x01\x01\0\xFF\xFE<\0a\0"s},
        {"as deep as may be", nested(kMaxXmlNesting), true},
        {"one too deep", nested(kMaxXmlNesting + 1), false, kDeep},
        {"100,000 deep", nested(100'000), false, kDeep},
        {"deep behind a quoted comment", repeated(100'000, "<a b='<!--'>"), false, kDeep},
        {"reference that swallows markup", "<a>&#x" + repeated(100'000, "<a>") + "x1;</a>", true},
        {"deep behind a false reference", "<a>&#x" + repeated(100'000, "<a>") + "x1.;</a>"},
        {"attribute of 20 MiB", "<ClipMain a='" + std::string(20 << 20, 'x') + "'/>", false, kLarge},
        {"attribute of 10 MiB", "<ClipMain a='" + std::string(10 << 20, 'x') + "'/>", true},
        {"500,000 attributes to compare", withAttributes(500'000), false, kWork},
        {"300 attributes with names of 50,000 characters", withAttributes(300, 50'000), true},
        {"3,000 attributes with names of 5,000", withAttributes(3'000, 5'000), false, kWork},
        {"10,000 attributes", withAttributes(10'000), true},
        {"4,000,000 elements", "<Other>" + repeated(4'000'000, "<a/>") + "</Other>", false, kWork},
        {"1,000,000 elements", "<Other>" + repeated(1'000'000, "<a/>") + "</Other>", true},
        {"document of terabytes",
         "<ClipMain><" + longName + ">" + repeated(200'000, "<a/>") + "</" + longName + "></ClipMain>", false,
         "larger than 64 MiB"},
        {"unterminated comment", "<ClipMain><!-- "},
        {"the same behind the root", "<ClipMain/><!-- \xEF", true},
        {"NUL in a declaration", "<?xml \0?><ClipMain/>"s},
        {"NUL in a name", "<Clip\0Main/>"s},
        {"character cut by the end", "<?xml?><ClipMain>\xF0"},
        {"byte-order mark for a name", "\xEF\xBB\xBF<\xEF\xBB\xBF"},
        {"reference without an end", "<ClipMain>&#x41</ClipMain>"},
        {"huge and empty references", "<ClipMain>&#99999999999999999999;&#0;&#;</ClipMain>", true},
        {"reference with another inside", "<ClipMain>&#xx41;&#12#65;</ClipMain>", true},
        {"encoding behind references", "<?xml encoding='&#85;TF&#45;8&amp;'?><ClipMain/>", true},
        {"encoding behind a reference without an end", "<?xml encoding='&#85'?><ClipMain/>"},
        {"entity definitions", "<!DOCTYPE a [<!ENTITY b \"&a;&a;\">]><ClipMain>&b;</ClipMain>"},
        {"unknown entity", "<ClipMain>&b;&</ClipMain>", true},
        {"double attribute", "<ClipMain a='1' a='2'/>"},
    };
    put("slate.txt", "a.: 1");
    for (const auto& row : rows) {
        putXml(row.text);
        const std::size_t before = warnings().size();
        EXPECT_EQ(document() != kNoDocument, row.loads) << row.what;
        const std::vector<std::string> logged = warnings();
        ASSERT_EQ(logged.size() - before, row.warning == nullptr ? 0U : 1U) << row.what;
        if (row.warning == nullptr) continue;
        EXPECT_THAT(logged.back(), testing::AllOf(testing::HasSubstr("/A001C003M01.xml: "),
                                                  testing::HasSubstr(row.warning)));
    }
}

TEST_F(HostileSideCar, ReadsAPartOfHugeFilesAndNoDirectoriesOrPipes) {
    put("slate.txt", std::string((16 << 20) - 6, '#') + "\na.: 1");
    EXPECT_THAT(document(), testing::HasSubstr("\t<a>1</a>\n"));
    EXPECT_TRUE(warnings().empty());
    put("slate.txt", "a.: 1\n" + std::string(50 << 20, 'x'));
    EXPECT_THAT(document(), testing::HasSubstr("\t<a>1</a>\n\t<" + std::string(23, 'x') + ">"));
    EXPECT_THAT(warnings(), testing::ElementsAre(testing::HasSubstr("/slate.txt: larger than 16 MiB")));
    std::filesystem::remove(m_directory.path("slate.txt"));
    std::filesystem::create_directory(m_directory.path("slate.txt"));
    EXPECT_EQ(document(), ofKind("KINERAW", ""));
    std::filesystem::create_directory(m_directory.path("A001C003M01.XML"));
    EXPECT_EQ(document(), kNoDocument);
    ASSERT_EQ(::mkfifo(m_directory.path("A001C003M01.xml").c_str(), 0600), 0);
    EXPECT_EQ(document(), kNoDocument);
}

TEST_F(HostileSideCar, UnreadableFilesCountAsMissing) {
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

TEST_F(HostileSideCar, ItemsStayWholeWhereverMemoryRunsOut) {
    HostFaults faults;
    for (const std::string_view kind : kSideCarKinds) {
        const std::filesystem::path path = writeSideCar(kind, m_clip, {.existing = Existing::replace});
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

} // namespace
