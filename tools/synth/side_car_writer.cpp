// The texts of side-cars. They have the structure that cameras write, also parts that the reader ignores.
#include "tools/synth/side_car_writer.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <stdexcept>
#include <string>

namespace {

constexpr std::string_view kSony = R"(<?xml version="1.0" encoding="UTF-8"?>
<NonRealTimeMeta xmlns="urn:schemas-professionalDisc:nonRealTimeMeta:ver.2.00" lastUpdate="2017-05-06T10:20:31+08:00">
	<!-- Written when recording stopped -->
	<TargetMaterial umidRef="060A2B340101010501010D4313000000A1B2C3D4E5F60718293A4B5C6D7E8F90"/>
	<Duration value="{frames}"/>
	<LtcChangeTable tcFps="{base}" halfStep="false">
		<LtcChange frameCount="0" value="{startDigits}" status="increment"/>
		<LtcChange frameCount="{lastFrame}" value="{endDigits}" status="end"/>
	</LtcChangeTable>
	<CreationDate value="2017-05-06T10:20:30+08:00"/>
	<KlvPacketTable>
		<KlvPacket key="060E2B34010101050301020A02000000" frameCount="0" lengthValue="09010AFFFFFFFFFFFFFF"/>
	</KlvPacketTable>
	<VideoFormat>
		<VideoRecPort port="DIRECT"/>
		<VideoFrame videoCodec="RAW12_{width}_{height}_CLASS1" captureFps="{rate}" formatFps="{rate}"/>
		<VideoLayout pixel="{width}" numOfVerticalLine="{height}" aspectRatio="17:9"/>
	</VideoFormat>
	<AudioFormat numOfChannel="0"/>
	<TypicalUbit value="12345678"/>
	<Device manufacturer="Sony" modelName="CAM-1" serialNo="S042"/>
	<DeviceParts>
		<Element hardware="Main" software="V1.20"/>
	</DeviceParts>
	<RecordingMode type="normal" cacheRec="false"/>
	<AcquisitionRecord>
		<Group name="CameraUnitMetadataSet">
			<Item name="ISOSensitivity" value="800"/>
			<Item name="WhiteBalance" value="5600K"/>
			<Item name="ShutterSpeedAngle" value="18000"/>
			<Item name="NeutralDensityFilterWheelSetting" value="1"/>
			<Item name="RawBlackCodeValue" value="{black}"/>
			<Item name="RawWhiteCodeValue" value="{white}"/>
			<Item name="CameraAttributes" value="CAM-1 0001"/>
		</Group>
		<Group name="LensUnitMetadataSet">
			<Item name="IrisFNumber" value="2.8"/>
			<Item name="FocalLength" value="35.00mm"/>
		</Group>
	</AcquisitionRecord>
	<UserDescriptiveMetadata>
		<Meta name="Project" content="Night Train"/>
		<Meta name="Reel" content="A001"/>
		<Meta name="Scene" content="12"/>
		<Meta name="Shot" content="4"/>
		<Meta name="Take" content="3"/>
		<Meta name="Cut" content="1"/>
		<Meta name="Circle" content="Yes"/>
		<Meta name="CameraIndex" content="A"/>
		<Meta name="Production" content="Northlight"/>
		<Meta name="DirectorName" content="Jo Ann"/>
		<Meta name="DirectorOfPhotographyName" content="R. Lund"/>
	</UserDescriptiveMetadata>
</NonRealTimeMeta>
)";

constexpr std::string_view kPanasonicHead = R"( xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance">
	<ClipContent>
		<ClipName>0001AB</ClipName>
		<GlobalClipID>060A2B340101010501010D2113000000A1B2C3D4E5F60718293A4B5C6D7E8F90</GlobalClipID>
		<Duration>{frames}</Duration>
		<EditUnit>{editUnit}</EditUnit>
		<EssenceList>
			<Video ValidAudioFlag="false">
				<Codec Class="100">RAW</Codec>
				<FrameRate DropFrameFlag="false">{rate}</FrameRate>
				<StartTimecode>{start}</StartTimecode>
			</Video>
		</EssenceList>
		<ClipMetadata>
			<UserClipName>A001C003</UserClipName>
			<DataSource>SHOOTING</DataSource>
			<Access>
				<CreationDate>2017-05-06T10:20:30+08:00</CreationDate>
				<Creator>Jo Ann</Creator>
			</Access>
			<Device>
				<Manufacturer>Panasonic</Manufacturer>
				<SerialNo.>S042</SerialNo.>
				<ModelName>CAM-2</ModelName>
			</Device>
			<Shoot>
				<StartDate>2017-05-06T10:20:30+08:00</StartDate>
				<EndDate>2017-05-06T10:20:31+08:00</EndDate>
			</Shoot>
			<Scenario>
				<ProgramName>Show</ProgramName>
				<SceneNo.>12</SceneNo.>
				<TakeNo.>3</TakeNo.>
			</Scenario>
)";

constexpr std::string_view kP2CameraUnit = R"(			<AcquisitionMetadata>
				<CameraUnitMetadata>
					<ISOSensitivity>800</ISOSensitivity>
					<WhiteBalanceColorTemperature>5600</WhiteBalanceColorTemperature>
					<RGain>1420</RGain>
					<GGain>1000</GGain>
					<BGain>1730</BGain>
					<Gamma>
						<MasterGamma>2200</MasterGamma>
					</Gamma>
				</CameraUnitMetadata>
			</AcquisitionMetadata>
)";

constexpr std::string_view kPanasonicEnd = R"(		</ClipMetadata>
	</ClipContent>
</)";

constexpr std::string_view kXmlHead = "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\"?>\n<";

constexpr std::string_view kSlate = "# Slate\r\n"
                                    "# Key and value of every line are what the operator entered\r\n"
                                    "Project..........: Night Train\r\n"
                                    "Scene............: 12\r\n"
                                    "Shot.............: 4\r\n"
                                    "Take.............: 3\r\n"
                                    "Reel.............: A001\r\n"
                                    "Director.........: Jo Ann\r\n"
                                    "Camera Op........: R. Lund\r\n"
                                    "Lens (mm)........: 35\r\n"
                                    "Date/Time........: 2017/05/06 10.20.30\r\n"
                                    "# end of slate\r\n";

/// A Panasonic text. Only the P2 kind has the white balance of the camera.
std::string panasonic(std::string_view root, std::string_view nameSpace, std::string_view camera) {
    std::string text(kXmlHead);
    text.append(root).append(" xmlns=\"").append(nameSpace).append("\"");
    text.append(kPanasonicHead).append(camera).append(kPanasonicEnd);
    return text.append(root).append(">\n");
}

std::string sideCarText(std::string_view kind) {
    if (kind == "sony") return std::string(kSony);
    if (kind == "p2")
        return panasonic("P2Main", "urn:schemas-Professional-Plug-in:P2:ClipMetadata:v3.1", kP2CameraUnit);
    if (kind == "gh5")
        return panasonic("ClipMain", "urn:schemas-Professional-Plug-in:Semi-Pro:ClipMetadata:v1.0", {});
    if (kind == "slate") return std::string(kSlate);
    throw std::invalid_argument("no such kind of side-car: " + std::string(kind));
}

/// "24p", "23.98p"
std::string rateText(float framesPerSecond) {
    return std::round(framesPerSecond) == framesPerSecond ? fmt::format("{:.0f}p", framesPerSecond)
                                                          : fmt::format("{:.2f}p", framesPerSecond);
}

/// Frames, seconds, minutes and hours, two digits each.
std::string digitsText(TimecodeParts parts) {
    parts.frames = std::min(parts.frames, kLargestTimecodeFrames);
    return fmt::format("{:02x}", fmt::join(timecodeDigits(parts, false), ""));
}

/// Replaces the names in braces by the facts.
std::string filledIn(std::string_view text, const SideCarFacts& facts) {
    const TimecodeCounting counting{
        static_cast<std::uint32_t>(std::max(std::lround(facts.framesPerSecond), 1L)), false};
    const TimecodeParts& start = facts.start;
    const std::uint64_t first =
        ((start.hours * 60ULL + start.minutes) * 60 + start.seconds) * counting.framesPerSecond +
        start.frames;
    const std::uint32_t last = facts.frames - 1;
    const bool whole = static_cast<float>(counting.framesPerSecond) == facts.framesPerSecond;
    using namespace fmt::literals;
    return fmt::format(fmt::runtime(text), "frames"_a = facts.frames, "lastFrame"_a = last,
                       "base"_a = counting.framesPerSecond, "rate"_a = rateText(facts.framesPerSecond),
                       "editUnit"_a = whole ? fmt::format("1/{}", counting.framesPerSecond)
                                            : fmt::format("1001/{}", counting.framesPerSecond * 1000),
                       "start"_a = timecodeText(static_cast<std::uint32_t>(first), counting),
                       "startDigits"_a = digitsText(start),
                       "endDigits"_a = digitsText(timecodeParts(first + last, counting)),
                       "width"_a = facts.width, "height"_a = facts.height, "black"_a = facts.blackLevel,
                       "white"_a = facts.whiteLevel);
}

} // namespace

std::filesystem::path sideCarPath(std::string_view kind, const std::filesystem::path& clipPath) {
    if (kind == "slate") return clipPath.parent_path() / "slate.txt";
    return clipPath.parent_path() / (clipPath.stem().string() + "M01.XML");
}

std::filesystem::path writeSideCar(std::string_view kind, const std::filesystem::path& clipPath,
                                   OutputOptions options, const SideCarFacts& facts) {
    const std::string text = filledIn(sideCarText(kind), facts);
    std::filesystem::path path = sideCarPath(kind, clipPath);
    OutputFile out(path.string(), options);
    out.write({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    out.finish();
    return path;
}
