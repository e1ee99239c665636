// A clip with side-cars beside it, and what opening the clip makes of them.
#pragma once

#include "metadata/info_items.h"
#include "metadata/side_car.h"
#include "plugin/cmfkrw.h"
#include "plugin/status.h"
#include "tests/support/clip_builder.h"
#include "tests/support/host_faults.h"
#include "tests/support/temp_dir.h"

#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

inline constexpr char kNoDocument[] = "(none)";

/// The information that a host gets of a clip.
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

inline std::string wrapped(const std::string& lines) {
    return "<PVDeviceMetadata>\n" + lines + "</PVDeviceMetadata>";
}

inline std::string ofKind(const std::string& kind, const std::string& lines) {
    return wrapped("\t<PVDeviceMetadataType>" + kind + "</PVDeviceMetadataType>\n" + lines);
}

inline std::string inRoot(const std::string& root, const std::string& body) {
    return "<" + root + ">" + body + "</" + root + ">";
}

inline std::string sony(const std::string& body) {
    return inRoot("NonRealTimeMeta", body);
}
